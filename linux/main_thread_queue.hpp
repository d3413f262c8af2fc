// MainThreadQueue: work handed to the main loop from any thread, run there in submission order.
//
// Work runs on a later pass of the loop than the one that pushed it. It is handed over under this
// queue's own lock, not GLib's, so ThreadSanitizer sees its captures published to the main
// thread. Construct and destroy on the main thread; push() and close() are safe from any thread.
#pragma once

#include <deque>
#include <functional>
#include <mutex>

#include "linux/glib_ptr.hpp"
#include "platform/console.hpp"

namespace trovadex::linux_platform {

class MainThreadQueue {
 public:
  // console (may be null, must outlive the queue) receives a line for work that throws.
  MainThreadQueue(GMainContext* context, platform::Console* console);
  ~MainThreadQueue();
  MainThreadQueue(const MainThreadQueue&) = delete;
  MainThreadQueue& operator=(const MainThreadQueue&) = delete;

  // Returns false, dropping the work, once the queue is closed.
  bool push(std::function<void()> work);
  // Drops queued work and refuses more. The dropped work is destroyed on the calling thread.
  void close();

 private:
  struct Source;
  void drain();

  platform::Console* const console_;  // Immutable after construction.
  GSource* source_;  // Immutable after construction; its ready time is set under mutex_.

  std::mutex mutex_;
  std::deque<std::function<void()>> work_;  // Guarded by mutex_.
  bool closed_ = false;                     // Guarded by mutex_.
};

}  // namespace trovadex::linux_platform
