#include "platform/fake/script_gate.hpp"

namespace trovadex::platform::fake {

void ScriptGate::release() {
  {
    std::lock_guard lock(mutex_);
    released_ = true;
  }
  changed_.notify_all();
}

bool ScriptGate::isReleased() const {
  std::lock_guard lock(mutex_);
  return released_;
}

bool ScriptGate::waitUntilReached(std::chrono::milliseconds timeout, std::size_t arrivals) const {
  std::unique_lock lock(mutex_);
  return changed_.wait_for(lock, timeout, [&] { return arrivals_ >= arrivals; });
}

std::size_t ScriptGate::arrivals() const {
  std::lock_guard lock(mutex_);
  return arrivals_;
}

void ScriptGate::passWhenReleased(const std::atomic<bool>& interrupted) {
  std::unique_lock lock(mutex_);
  ++arrivals_;
  changed_.notify_all();
  // interrupted is read under the gate's lock and wakeWaiters() takes that lock before it
  // notifies, so a flag set before the wake is never missed.
  changed_.wait(lock, [&] { return released_ || interrupted.load(); });
}

void ScriptGate::wakeWaiters() {
  { std::lock_guard lock(mutex_); }
  changed_.notify_all();
}

}  // namespace trovadex::platform::fake
