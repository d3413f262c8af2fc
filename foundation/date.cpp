#include "foundation/date.hpp"

#include <cmath>
#include <cstdint>
#include <cstdio>

namespace trovadex::foundation {
namespace {

// Days since 1970-01-01 to a proleptic Gregorian civil date (H. Hinnant's algorithm); exact for
// every 64-bit day count that a double's seconds can reach here.
void civilFromDays(std::int64_t days, std::int64_t& year, unsigned& month, unsigned& day) {
  days += 719468;
  const std::int64_t era = (days >= 0 ? days : days - 146096) / 146097;
  const auto dayOfEra = static_cast<unsigned>(days - era * 146097);
  const unsigned yearOfEra =
      (dayOfEra - dayOfEra / 1460 + dayOfEra / 36524 - dayOfEra / 146096) / 365;
  const unsigned dayOfYear = dayOfEra - (365 * yearOfEra + yearOfEra / 4 - yearOfEra / 100);
  const unsigned monthIndex = (5 * dayOfYear + 2) / 153;
  day = dayOfYear - (153 * monthIndex + 2) / 5 + 1;
  month = monthIndex < 10 ? monthIndex + 3 : monthIndex - 9;
  year = static_cast<std::int64_t>(yearOfEra) + era * 400 + (month <= 2 ? 1 : 0);
}

}  // namespace

std::string Date::description() const {
  const double unixSeconds = std::floor(unixTime());
  // Beyond about +-2.9e11 years the day count no longer fits comfortably; such dates (and NaN)
  // print as the platform prints an unrepresentable date: a placeholder rather than garbage.
  if (!std::isfinite(unixSeconds) || std::fabs(unixSeconds) > 9.0e18) {
    return std::isnan(unixSeconds) ? "(invalid date)"
                                   : (unixSeconds > 0 ? "(distant future)" : "(distant past)");
  }
  const auto total = static_cast<std::int64_t>(unixSeconds);
  std::int64_t days = total / 86400;
  std::int64_t rest = total % 86400;
  if (rest < 0) {
    rest += 86400;
    days -= 1;
  }
  std::int64_t year = 0;
  unsigned month = 0;
  unsigned day = 0;
  civilFromDays(days, year, month, day);
  char buffer[64];
  std::snprintf(buffer, sizeof buffer, "%04lld-%02u-%02u %02d:%02d:%02d +0000",
                static_cast<long long>(year), month, day, static_cast<int>(rest / 3600),
                static_cast<int>(rest / 60 % 60), static_cast<int>(rest % 60));
  return buffer;
}

}  // namespace trovadex::foundation
