// DeliveryOutbox: what one query has for its handlers, in the order it happened, and when the
// next delivery is due.
//
// The query's own work (its gather, then its live changes) adds found items, removed
// identifiers, and the end of the gather or the completion; the handler side takes one event at
// a time and calls the handler. Found items go into the open delivery at the tail. While the
// handler side is busy, the open delivery only grows (up to the cap), so a slow handler gets
// fewer, larger deliveries and never a handful of items because of timing. When the handler side
// is idle, the open delivery closes once it holds enough items or has waited long enough: the
// first after a few items or milliseconds, so the first results come early. A handler that
// finishes takes the open delivery at once when it has grown to the usual size meanwhile. The
// producer waits while the outbox holds more than the backlog, so a slow handler bounds memory.
// Safe from any thread.
#pragma once

#include <chrono>
#include <condition_variable>
#include <cstddef>
#include <deque>
#include <functional>
#include <mutex>
#include <optional>
#include <string>
#include <vector>

#include "foundation/error.hpp"
#include "platform/searchable_item.hpp"

namespace trovadex::spotlight {

// The engine fills these from its EngineOptions (engine_options.hpp), where the values are
// chosen; the defaults here are the same.
struct DeliveryLimits {
  std::size_t firstCount = 100;                 // the first delivery closes at this many items ...
  std::chrono::milliseconds firstInterval{10};  // ... or this long after its first item
  std::size_t count = 1000;                     // later ones, with the handler idle, at this many
  std::chrono::milliseconds interval{100};      // ... or this long after the handler went idle
  std::size_t cap = 5000;                       // no delivery holds more
  std::size_t backlog = 5000;                   // the producer waits while this many are queued
};

class DeliveryOutbox {
 public:
  enum class Kind { Found, Removed, GatherEnded, Completion };
  struct Event {
    Kind kind = Kind::Found;
    platform::SearchableItems items;         // Found
    std::vector<std::string> identifiers;    // Removed
    std::optional<foundation::Error> error;  // Completion
  };

  explicit DeliveryOutbox(DeliveryLimits limits);

  // Producer side. Each returns true when the handler side must be started: an event is ready
  // and no handler run is under way or scheduled (the caller then schedules one, and takes()
  // until it returns nothing).
  bool addFound(platform::SearchableItem item);
  bool addRemoved(std::string identifier);
  bool addEnd(Kind kind, std::optional<foundation::Error> error = std::nullopt);
  // Closes the open delivery when it is due by count or by time.
  bool closeIfDue();
  // Closes the open delivery, whatever it holds: nothing more is coming for now.
  bool flush();
  // Blocks while the outbox holds more than the backlog, until the handler side makes room or
  // stop() says to give up (checked after every wake()).
  void waitForRoom(const std::function<bool()>& stop);
  // Wakes a producer in waitForRoom, to look at stop() again.
  void wake();

  // Handler side: the next event that is ready, or nothing, after which the handler side counts
  // as idle until a producer call returns true again.
  std::optional<Event> take();

  // Items waiting in the outbox.
  std::size_t queuedItems() const;

 private:
  using Clock = std::chrono::steady_clock;
  bool closeTail();            // requires mutex_
  bool readyToStart();         // requires mutex_
  bool tailIsDue() const;      // requires mutex_
  Event& openTail(Kind kind);  // requires mutex_

  const DeliveryLimits limits_;
  mutable std::mutex mutex_;
  std::condition_variable room_;
  // Guarded by mutex_.
  std::deque<Event> events_;
  bool tailOpen_ = false;  // whether the last event still takes items
  Clock::time_point tailOpened_;
  std::size_t queuedItems_ = 0;
  std::size_t foundDeliveries_ = 0;  // found deliveries closed so far
  bool handlerRunning_ = false;      // a handler run is scheduled or under way
  Clock::time_point idleSince_;
};

}  // namespace trovadex::spotlight
