// Clock: where "now" comes from, for log ages, trims and query-time periods.
//
// Production code reads SystemClock; tests hand in a ManualClock and move time by hand, so that no
// test has to wait for an hour to pass. Both are safe from any thread.
#pragma once

#include <atomic>

#include "foundation/date.hpp"

namespace trovadex::foundation {

class Clock {
 public:
  virtual ~Clock() = default;
  virtual Date now() const = 0;
};

class SystemClock final : public Clock {
 public:
  Date now() const override;
};

class ManualClock final : public Clock {
 public:
  explicit ManualClock(Date start = Date::withTimeIntervalSinceReferenceDate(800000000.0))
      : seconds_(start.timeIntervalSinceReferenceDate()) {}
  Date now() const override { return Date::withTimeIntervalSinceReferenceDate(seconds_.load()); }
  void set(Date date) { seconds_.store(date.timeIntervalSinceReferenceDate()); }
  void advance(double seconds) { seconds_.store(seconds_.load() + seconds); }

 private:
  std::atomic<double> seconds_;
};

}  // namespace trovadex::foundation
