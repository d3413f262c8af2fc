// ScriptGate: a point in a scripted search at which the query's thread waits for the test.
//
// A test puts a gate step into a fake query's script, waits until the query's thread has reached
// it, does its main-thread work, then releases the gate; so deliveries and commands interleave
// in one fixed order. A released gate stays open. Cancelling the query also lets its thread
// past. Safe from any thread.
#pragma once

#include <atomic>
#include <chrono>
#include <condition_variable>
#include <cstddef>
#include <mutex>

namespace trovadex::platform::fake {

class ScriptGate {
 public:
  void release();
  bool isReleased() const;
  // Waits until query threads have reached the gate arrivals times in all; false on timeout.
  bool waitUntilReached(std::chrono::milliseconds timeout, std::size_t arrivals = 1) const;
  std::size_t arrivals() const;

  // The query thread's side: counts the arrival, then waits until the gate is released or
  // interrupted holds. Whoever sets interrupted calls wakeWaiters() afterwards.
  void passWhenReleased(const std::atomic<bool>& interrupted);
  void wakeWaiters();

 private:
  mutable std::mutex mutex_;
  mutable std::condition_variable changed_;
  // Guarded by mutex_.
  bool released_ = false;
  std::size_t arrivals_ = 0;
};

}  // namespace trovadex::platform::fake
