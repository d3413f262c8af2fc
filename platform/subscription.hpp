// Subscription: an RAII handle on an observer registration.
//
// Destroying (or resetting) the handle removes the observer; after reset() returns, the handler
// is not called again by the centre that issued the handle. Move-only. A handle must be reset on
// the thread that the issuing centre names for removal (the main thread for every centre here).
#pragma once

#include <functional>
#include <utility>

namespace trovadex::platform {

class Subscription {
 public:
  Subscription() = default;
  explicit Subscription(std::function<void()> remove) : remove_(std::move(remove)) {}
  Subscription(Subscription&& other) noexcept : remove_(std::exchange(other.remove_, nullptr)) {}
  Subscription& operator=(Subscription&& other) noexcept {
    if (this != &other) {
      reset();
      remove_ = std::exchange(other.remove_, nullptr);
    }
    return *this;
  }
  Subscription(const Subscription&) = delete;
  Subscription& operator=(const Subscription&) = delete;
  ~Subscription() { reset(); }

  void reset() {
    if (auto remove = std::exchange(remove_, nullptr)) remove();
  }
  bool active() const { return static_cast<bool>(remove_); }

 private:
  std::function<void()> remove_;
};

}  // namespace trovadex::platform
