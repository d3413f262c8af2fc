// Time expressions: $time names resolved to instants and periods at the moment a query starts.
//
// An instant is a point (CFAbsoluteTime seconds); a period is [start, end). `now` and `iso` are
// instants, every other name a period of a calendar day, week, month or year in the query's time
// zone, shifted by the argument (in the name's own unit, or in days with "d" and weeks with "w").
// Safe from any thread (each call makes its own calendar).
#pragma once

#include <optional>
#include <string>
#include <string_view>

#include "spotlight/query_syntax.hpp"

namespace trovadex::spotlight {

struct TimeValue {
  double start = 0;
  std::optional<double> end;  // set for periods
  bool isPeriod() const { return end.has_value(); }
};

// When and where a query runs: fixed once when it starts.
struct QueryTime {
  double now = 0;          // CFAbsoluteTime
  std::string timeZone;    // an ICU/Olson id, e.g. "Europe/Berlin"; empty: the host's zone
  int firstDayOfWeek = 0;  // 1 = Sunday ... 7 = Saturday; 0: from the locale below
  std::string locale;      // e.g. "en_US"; empty: the host's default locale
};

// "$time.name": the name's enum value, or none for an unknown name.
std::optional<TimeName> timeNameFromString(std::string_view name);

// YYYY-MM-DD[(T| )hh:mm[:ss[.fff]]][ ][Z|+hh[:]mm|-hh[:]mm]; none when malformed.
std::optional<IsoDateTime> parseIsoDateTime(std::string_view text);

// The value of an expression for a query that started at `time`.
TimeValue resolveTime(const TimeExpression& expression, const QueryTime& time);

}  // namespace trovadex::spotlight
