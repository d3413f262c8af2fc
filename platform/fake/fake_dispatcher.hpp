// FakeDispatcher: a main queue that runs only when the test says so, and a global queue that is
// either held likewise or served by real worker threads.
//
// The thread that constructs the dispatcher is the main thread: runMainUntilIdle() and
// runOneMain() run main work on it, in submission order across dispatchAsyncMain() and
// performOnMainThread(). Work submitted while main work runs goes to the back of the queue and
// runs later in the same runMainUntilIdle() call, never inside the submitting call. In the
// worker mode every global item runs on a thread of its own, which joinGlobalWork() and the
// destructor join. Submission is safe from any thread; the run... calls belong to the main
// thread, except joinGlobalWork(), which may be called from any thread but a worker's own.
#pragma once

#include <chrono>
#include <condition_variable>
#include <cstddef>
#include <deque>
#include <functional>
#include <mutex>
#include <thread>
#include <vector>

#include "platform/dispatcher.hpp"

namespace trovadex::platform::fake {

enum class GlobalQueueMode {
  Queued,   // held until runGlobalUntilIdle(), which runs it on the calling thread
  Workers,  // each item runs at once on a joinable worker thread of its own
};

class FakeDispatcher final : public Dispatcher {
 public:
  // Bounds one run...UntilIdle() call, so that work that keeps resubmitting itself cannot hang a
  // test; the call returns when it has run this many items.
  static constexpr std::size_t kDefaultRunLimit = 100000;

  explicit FakeDispatcher(GlobalQueueMode globalMode = GlobalQueueMode::Queued);
  ~FakeDispatcher() override;
  FakeDispatcher(const FakeDispatcher&) = delete;
  FakeDispatcher& operator=(const FakeDispatcher&) = delete;

  void dispatchAsyncMain(std::function<void()> work) override;
  void dispatchAsyncGlobal(std::function<void()> work) override;
  void performOnMainThread(std::function<void()> work) override;

  // Runs queued main work, oldest first, until the queue is empty (or limit items have run).
  // Returns how many items ran.
  std::size_t runMainUntilIdle(std::size_t limit = kDefaultRunLimit);
  // Runs the oldest queued main item, if any; returns whether one ran.
  bool runOneMain();
  // Queued mode: runs held global work on the calling thread, which counts as off the main
  // thread for the length of each item. Returns how many items ran.
  std::size_t runGlobalUntilIdle(std::size_t limit = kDefaultRunLimit);
  // Workers mode: waits for every global item submitted so far, and for those they submit.
  void joinGlobalWork();

  // Waits until main work is queued; false when timeout passed without any.
  bool waitForMainWork(std::chrono::milliseconds timeout);

  std::size_t pendingMainCount() const;
  std::size_t pendingGlobalCount() const;  // Queued mode: held items; Workers mode: unjoined
  // True on the main thread, except while it runs held global work.
  bool isMainThread() const;
  GlobalQueueMode globalMode() const { return globalMode_; }

 private:
  std::function<void()> popMain();
  std::function<void()> popGlobal();

  // Immutable after construction.
  const GlobalQueueMode globalMode_;
  const std::thread::id mainThread_;

  mutable std::mutex mutex_;
  std::condition_variable mainQueued_;
  // Guarded by mutex_.
  std::deque<std::function<void()>> mainQueue_;
  std::deque<std::function<void()>> globalQueue_;
  std::vector<std::thread> workers_;
};

}  // namespace trovadex::platform::fake
