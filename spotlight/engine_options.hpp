// EngineOptions: how an Engine runs, chosen when it is opened.
//
// Deliveries of found items: the first comes after at most firstDeliveryCount items or
// firstDeliveryInterval, whichever comes first, so the first results arrive early. Later ones,
// while the query's handler is idle, after deliveryCount items or deliveryInterval; while the
// handler is busy, everything found meanwhile waits for it, up to deliveryCap items a delivery,
// and the query's work pauses once deliveryBacklog items wait. Plain values: safe to copy
// between threads.
#pragma once

#include <chrono>
#include <cstddef>
#include <memory>
#include <string>

#include "foundation/clock.hpp"

namespace trovadex::spotlight {

struct EngineOptions {
  // Threads that run queries and call their handlers; index changes have a thread of their own.
  std::size_t queryThreads = 2;
  // Threads that call the queries' handlers, so that a query keeps gathering while its handler
  // runs.
  std::size_t handlerThreads = 2;
  // Where a query's "now" comes from ($time values are fixed when it starts); null: the system.
  std::shared_ptr<const foundation::Clock> clock;
  // The zone, locale and first weekday for $time periods; empty or 0: the host's defaults.
  std::string timeZone;
  std::string locale;
  int firstDayOfWeek = 0;

  std::size_t firstDeliveryCount = 100;
  std::chrono::milliseconds firstDeliveryInterval{10};
  std::size_t deliveryCount = 1000;
  std::chrono::milliseconds deliveryInterval{100};
  // Each waiting item holds its decoded attributes (a few kilobytes with every attribute
  // fetched), so these two bound the memory of a broad search.
  std::size_t deliveryCap = 5000;
  std::size_t deliveryBacklog = 5000;
};

}  // namespace trovadex::spotlight
