// ThreadPool: a few worker threads that run submitted work, the default-priority global queue.
//
// Work runs on some pool thread, in no promised order relative to other work. shutdown() stops
// taking work, lets the threads finish what is queued, and joins them; the destructor does the
// same. Work submitted after shutdown is dropped. submit() is safe from any thread; shutdown()
// must not be called from a pool thread.
#pragma once

#include <condition_variable>
#include <deque>
#include <functional>
#include <mutex>
#include <thread>
#include <vector>

#include "platform/console.hpp"

namespace trovadex::linux_platform {

class ThreadPool {
 public:
  // console (may be null) receives a line for work that throws.
  ThreadPool(int threadCount, platform::Console* console);
  ~ThreadPool();
  ThreadPool(const ThreadPool&) = delete;
  ThreadPool& operator=(const ThreadPool&) = delete;

  // Returns false when the pool has shut down and the work was dropped.
  bool submit(std::function<void()> work);
  void shutdown();

 private:
  void workerLoop();

  platform::Console* const console_;  // Immutable after construction.

  std::mutex mutex_;
  std::condition_variable wakeUp_;
  std::deque<std::function<void()>> queue_;  // Guarded by mutex_.
  bool stopping_ = false;                    // Guarded by mutex_.

  std::mutex joinMutex_;              // Serialises shutdown() callers.
  std::vector<std::thread> workers_;  // Guarded by joinMutex_ after construction.
};

}  // namespace trovadex::linux_platform
