// Date: a point in time as seconds since 2001-01-01 00:00:00 UTC, the platform's reference date.
//
// The reference date is what property lists and query literals count from; conversions to and
// from the Unix epoch are provided for the file system and the bus. A plain value: safe to copy
// between threads.
#pragma once

#include <compare>
#include <string>

namespace trovadex::foundation {

// Seconds between 1970-01-01 and 2001-01-01, both UTC.
inline constexpr double kReferenceDateUnixOffset = 978307200.0;

class Date {
 public:
  constexpr Date() = default;
  static constexpr Date withTimeIntervalSinceReferenceDate(double seconds) { return Date(seconds); }
  static constexpr Date withUnixTime(double seconds) {
    return Date(seconds - kReferenceDateUnixOffset);
  }

  constexpr double timeIntervalSinceReferenceDate() const { return seconds_; }
  constexpr double unixTime() const { return seconds_ + kReferenceDateUnixOffset; }
  constexpr double timeIntervalSince(Date other) const { return seconds_ - other.seconds_; }
  constexpr Date addingTimeInterval(double seconds) const { return Date(seconds_ + seconds); }

  // "2026-11-22 19:05:13 +0000" (UTC, as the platform prints dates), rounded down to the whole
  // second (so 0.5 s before the Unix epoch prints 1969-12-31 23:59:59). Proleptic Gregorian
  // calendar; a NaN prints "(invalid date)", a date too far out to count in days "(distant
  // future)" or "(distant past)".
  std::string description() const;

  friend constexpr auto operator<=>(Date, Date) = default;

 private:
  constexpr explicit Date(double seconds) : seconds_(seconds) {}
  double seconds_ = 0;
};

}  // namespace trovadex::foundation
