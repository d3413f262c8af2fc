// MainLoop: the host's main thread, a GLib main loop over a context of its own.
//
// Construct it first, on the thread that will run it: it becomes that thread's default context,
// so every bus subscription and watch made on the main thread afterwards delivers there. run()
// turns the loop until quit(); iterateUntil() turns it until a condition holds or time runs out.
// quit() and wakeUp() are safe from any thread; everything else is main thread only.
#pragma once

#include <chrono>
#include <functional>
#include <thread>
#include <vector>

#include "linux/glib_ptr.hpp"

namespace trovadex::linux_platform {

class MainLoop {
 public:
  MainLoop();
  ~MainLoop();
  MainLoop(const MainLoop&) = delete;
  MainLoop& operator=(const MainLoop&) = delete;

  GMainContext* context() const { return context_.get(); }
  bool isMainThread() const { return std::this_thread::get_id() == mainThread_; }

  // Runs until quit() is called (from a callback or another thread).
  void run();
  void quit();

  // Runs the loop until done() returns true (checked before each pass) or timeout passes.
  // Returns whether done() held. Used where the main thread must wait for an event without
  // blocking the events themselves (orderly shutdown, tests).
  bool iterateUntil(const std::function<bool()>& done, std::chrono::milliseconds timeout);

  // Calls handler(signal) on the main thread when the process receives SIGTERM or SIGINT. The
  // signals are watched from the first call until this loop is destroyed.
  void watchTerminationSignals(std::function<void(int signal)> handler);

 private:
  // Immutable after construction.
  GMainContextPtr context_;
  GMainLoopPtr loop_;
  std::thread::id mainThread_;
  // Main thread only.
  std::function<void(int)> signalHandler_;
  std::vector<GSourcePtr> signalSources_;
};

}  // namespace trovadex::linux_platform
