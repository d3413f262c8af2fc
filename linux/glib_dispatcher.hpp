// GlibDispatcher: the Dispatcher port over the host's main loop and a small worker pool.
//
// Main-queue work runs on the main thread in submission order, on a later pass of the loop than
// the one that submitted it. Global-queue work runs on the pool. shutdown() joins the pool (its
// queued work still runs) and then drops main-queue work and refuses more. Construct, shut down
// and destroy on the main thread; the port's operations are safe from any thread.
#pragma once

#include <functional>
#include <memory>

#include "linux/main_loop.hpp"
#include "linux/main_thread_queue.hpp"
#include "linux/thread_pool.hpp"
#include "platform/console.hpp"
#include "platform/dispatcher.hpp"

namespace trovadex::linux_platform {

class GlibDispatcher final : public platform::Dispatcher {
 public:
  static constexpr int kDefaultPoolThreads = 2;

  // console (may be null) receives a line for work that throws.
  GlibDispatcher(MainLoop& loop, std::shared_ptr<platform::Console> console,
                 int poolThreads = kDefaultPoolThreads);
  ~GlibDispatcher() override;

  void dispatchAsyncMain(std::function<void()> work) override;
  void dispatchAsyncGlobal(std::function<void()> work) override;
  void performOnMainThread(std::function<void()> work) override;

  void shutdown();

 private:
  std::shared_ptr<platform::Console> console_;  // Immutable after construction.
  MainThreadQueue mainQueue_;
  ThreadPool pool_;  // Last: its threads stop before the queue they may push to goes away.
};

}  // namespace trovadex::linux_platform
