// Dispatcher: the main queue, the default-priority global queue, and perform-on-main.
//
// Work given to the main queue runs on the main thread, in submission order, on a later pass of
// its loop, never inside the submitting call. Work given to the global queue runs on a pool
// thread. Safe from any thread.
#pragma once

#include <functional>

namespace trovadex::platform {

class Dispatcher {
 public:
  virtual ~Dispatcher();
  virtual void dispatchAsyncMain(std::function<void()> work) = 0;
  virtual void dispatchAsyncGlobal(std::function<void()> work) = 0;
  // The platform's performSelectorOnMainThread: without waiting; like dispatchAsyncMain, it runs
  // on a later pass of the main loop.
  virtual void performOnMainThread(std::function<void()> work) = 0;
};

}  // namespace trovadex::platform
