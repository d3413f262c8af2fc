#include "spotlight/delivery_outbox.hpp"

#include <algorithm>

namespace trovadex::spotlight {

namespace {

DeliveryLimits sane(DeliveryLimits limits) {
  limits.cap = std::max<std::size_t>(limits.cap, 1);
  limits.firstCount = std::clamp<std::size_t>(limits.firstCount, 1, limits.cap);
  limits.count = std::clamp<std::size_t>(limits.count, 1, limits.cap);
  // A full backlog always holds a closed delivery, which the handler side is sure to take.
  limits.backlog = std::max(limits.backlog, limits.cap);
  return limits;
}

}  // namespace

DeliveryOutbox::DeliveryOutbox(DeliveryLimits limits)
    : limits_(sane(limits)), idleSince_(Clock::now()) {}

DeliveryOutbox::Event& DeliveryOutbox::openTail(Kind kind) {
  if (tailOpen_ && events_.back().kind == kind) return events_.back();
  if (tailOpen_) closeTail();
  events_.push_back(Event{kind, {}, {}, std::nullopt});
  tailOpen_ = true;
  tailOpened_ = Clock::now();
  return events_.back();
}

bool DeliveryOutbox::closeTail() {
  if (!tailOpen_) return false;
  tailOpen_ = false;
  if (events_.back().kind == Kind::Found) ++foundDeliveries_;
  return true;
}

bool DeliveryOutbox::readyToStart() {
  if (handlerRunning_ || events_.empty()) return false;
  if (tailOpen_ && events_.size() == 1) return false;
  handlerRunning_ = true;
  return true;
}

bool DeliveryOutbox::tailIsDue() const {
  if (!tailOpen_ || handlerRunning_) return false;
  const Event& tail = events_.back();
  if (tail.kind != Kind::Found) return true;
  const auto now = Clock::now();
  if (foundDeliveries_ == 0) {
    return tail.items.size() >= limits_.firstCount || now - tailOpened_ >= limits_.firstInterval;
  }
  return tail.items.size() >= limits_.count ||
         now - std::max(tailOpened_, idleSince_) >= limits_.interval;
}

bool DeliveryOutbox::addFound(platform::SearchableItem item) {
  std::lock_guard<std::mutex> lock(mutex_);
  Event& tail = openTail(Kind::Found);
  tail.items.push_back(std::move(item));
  ++queuedItems_;
  if (tail.items.size() >= limits_.cap) closeTail();
  return readyToStart();
}

bool DeliveryOutbox::addRemoved(std::string identifier) {
  std::lock_guard<std::mutex> lock(mutex_);
  Event& tail = openTail(Kind::Removed);
  tail.identifiers.push_back(std::move(identifier));
  ++queuedItems_;
  if (tail.identifiers.size() >= limits_.cap) closeTail();
  return readyToStart();
}

bool DeliveryOutbox::addEnd(Kind kind, std::optional<foundation::Error> error) {
  std::lock_guard<std::mutex> lock(mutex_);
  closeTail();
  events_.push_back(Event{kind, {}, {}, std::move(error)});
  return readyToStart();
}

bool DeliveryOutbox::closeIfDue() {
  std::lock_guard<std::mutex> lock(mutex_);
  if (!tailIsDue()) return false;
  closeTail();
  return readyToStart();
}

bool DeliveryOutbox::flush() {
  std::lock_guard<std::mutex> lock(mutex_);
  closeTail();
  return readyToStart();
}

void DeliveryOutbox::waitForRoom(const std::function<bool()>& stop) {
  std::unique_lock<std::mutex> lock(mutex_);
  room_.wait(lock, [&] { return queuedItems_ < limits_.backlog || stop(); });
}

void DeliveryOutbox::wake() {
  std::lock_guard<std::mutex> lock(mutex_);
  room_.notify_all();
}

std::optional<DeliveryOutbox::Event> DeliveryOutbox::take() {
  std::lock_guard<std::mutex> lock(mutex_);
  if (!events_.empty() && tailOpen_ && events_.size() == 1) {
    // The handler just finished: what was found meanwhile goes at once if it is a delivery's
    // worth; otherwise it waits, as the handler is idle from now on.
    const Event& tail = events_.back();
    const std::size_t enough = foundDeliveries_ == 0 ? limits_.firstCount : limits_.count;
    if (tail.kind == Kind::Found && tail.items.size() >= enough) closeTail();
  }
  if (events_.empty() || (tailOpen_ && events_.size() == 1)) {
    handlerRunning_ = false;
    idleSince_ = Clock::now();
    return std::nullopt;
  }
  Event event = std::move(events_.front());
  events_.pop_front();
  queuedItems_ -= event.items.size() + event.identifiers.size();
  room_.notify_all();
  return event;
}

std::size_t DeliveryOutbox::queuedItems() const {
  std::lock_guard<std::mutex> lock(mutex_);
  return queuedItems_;
}

}  // namespace trovadex::spotlight
