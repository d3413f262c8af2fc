#include "spotlight/time_expression.hpp"

#include <unicode/calendar.h>
#include <unicode/locid.h>
#include <unicode/timezone.h>

#include <array>
#include <cctype>
#include <cmath>
#include <memory>
#include <utility>

#include "foundation/date.hpp"

namespace trovadex::spotlight {
namespace {

constexpr double kMillisecondsPerSecond = 1000.0;

struct NamedTime {
  std::string_view name;
  TimeName value;
};

constexpr std::array<NamedTime, 12> kTimeNames{{
    {"now", TimeName::Now},
    {"today", TimeName::Today},
    {"yesterday", TimeName::Yesterday},
    {"tomorrow", TimeName::Tomorrow},
    {"this_week", TimeName::ThisWeek},
    {"last_week", TimeName::LastWeek},
    {"next_week", TimeName::NextWeek},
    {"this_month", TimeName::ThisMonth},
    {"next_month", TimeName::NextMonth},
    {"this_year", TimeName::ThisYear},
    {"next_year", TimeName::NextYear},
    {"iso", TimeName::Iso},
}};

// The calendar unit of a period name and the shift its name implies ("yesterday" is today - 1).
struct PeriodShape {
  UCalendarDateFields unit;
  int impliedShift;
};

PeriodShape periodShape(TimeName name) {
  switch (name) {
    case TimeName::Yesterday:
      return {UCAL_DATE, -1};
    case TimeName::Tomorrow:
      return {UCAL_DATE, 1};
    case TimeName::ThisWeek:
      return {UCAL_WEEK_OF_YEAR, 0};
    case TimeName::LastWeek:
      return {UCAL_WEEK_OF_YEAR, -1};
    case TimeName::NextWeek:
      return {UCAL_WEEK_OF_YEAR, 1};
    case TimeName::ThisMonth:
      return {UCAL_MONTH, 0};
    case TimeName::NextMonth:
      return {UCAL_MONTH, 1};
    case TimeName::ThisYear:
      return {UCAL_YEAR, 0};
    case TimeName::NextYear:
      return {UCAL_YEAR, 1};
    default:
      return {UCAL_DATE, 0};
  }
}

std::unique_ptr<icu::Calendar> makeCalendar(const QueryTime& time) {
  UErrorCode status = U_ZERO_ERROR;
  icu::TimeZone* zone =
      time.timeZone.empty()
          ? icu::TimeZone::createDefault()
          : icu::TimeZone::createTimeZone(icu::UnicodeString::fromUTF8(time.timeZone));
  icu::Locale locale =
      time.locale.empty() ? icu::Locale::getDefault() : icu::Locale(time.locale.c_str());
  std::unique_ptr<icu::Calendar> calendar(icu::Calendar::createInstance(zone, locale, status));
  if (U_FAILURE(status)) return nullptr;
  if (time.firstDayOfWeek >= 1 && time.firstDayOfWeek <= 7) {
    calendar->setFirstDayOfWeek(static_cast<UCalendarDaysOfWeek>(time.firstDayOfWeek));
  }
  return calendar;
}

double toAbsolute(UDate milliseconds) {
  return milliseconds / kMillisecondsPerSecond - foundation::kReferenceDateUnixOffset;
}

UDate toUDate(double absolute) {
  return (absolute + foundation::kReferenceDateUnixOffset) * kMillisecondsPerSecond;
}

// Sets the calendar to the start of the period of `unit` that contains its current time.
void truncateTo(icu::Calendar& calendar, UCalendarDateFields unit) {
  UErrorCode status = U_ZERO_ERROR;
  if (unit == UCAL_WEEK_OF_YEAR) {
    const int weekday = calendar.get(UCAL_DAY_OF_WEEK, status);
    const int first = calendar.getFirstDayOfWeek(status);
    const int back = (weekday - first + 7) % 7;
    calendar.add(UCAL_DATE, -back, status);
  } else if (unit == UCAL_MONTH) {
    calendar.set(UCAL_DATE, 1);
  } else if (unit == UCAL_YEAR) {
    calendar.set(UCAL_DAY_OF_YEAR, 1);
  }
  calendar.set(UCAL_HOUR_OF_DAY, 0);
  calendar.set(UCAL_MINUTE, 0);
  calendar.set(UCAL_SECOND, 0);
  calendar.set(UCAL_MILLISECOND, 0);
  (void)calendar.getTime(status);  // recompute all fields
}

int wholeUnits(double offset) { return static_cast<int>(std::trunc(offset)); }

bool readDigits(std::string_view text, std::size_t& i, std::size_t count, int& out) {
  if (i + count > text.size()) return false;
  int value = 0;
  for (std::size_t k = 0; k < count; ++k) {
    const char c = text[i + k];
    if (!std::isdigit(static_cast<unsigned char>(c))) return false;
    value = value * 10 + (c - '0');
  }
  out = value;
  i += count;
  return true;
}

bool expect(std::string_view text, std::size_t& i, char c) {
  if (i < text.size() && text[i] == c) {
    ++i;
    return true;
  }
  return false;
}

int daysInMonth(int year, int month) {
  static constexpr std::array<int, 12> kDays{31, 28, 31, 30, 31, 30, 31, 31, 30, 31, 30, 31};
  const bool leap = (year % 4 == 0 && year % 100 != 0) || year % 400 == 0;
  return month == 2 && leap ? 29 : kDays[static_cast<std::size_t>(month - 1)];
}

}  // namespace

std::optional<TimeName> timeNameFromString(std::string_view name) {
  for (const NamedTime& entry : kTimeNames) {
    if (entry.name == name) return entry.value;
  }
  return std::nullopt;
}

std::optional<IsoDateTime> parseIsoDateTime(std::string_view text) {
  IsoDateTime out;
  std::size_t i = 0;
  if (!readDigits(text, i, 4, out.year) || !expect(text, i, '-') ||
      !readDigits(text, i, 2, out.month) || !expect(text, i, '-') ||
      !readDigits(text, i, 2, out.day)) {
    return std::nullopt;
  }
  if (out.month < 1 || out.month > 12 || out.day < 1 ||
      out.day > daysInMonth(out.year, out.month)) {
    return std::nullopt;
  }
  if (i < text.size() && (text[i] == 'T' || text[i] == ' ') && i + 1 < text.size() &&
      std::isdigit(static_cast<unsigned char>(text[i + 1]))) {
    ++i;
    if (!readDigits(text, i, 2, out.hour) || !expect(text, i, ':') ||
        !readDigits(text, i, 2, out.minute)) {
      return std::nullopt;
    }
    if (expect(text, i, ':')) {
      int whole = 0;
      if (!readDigits(text, i, 2, whole)) return std::nullopt;
      out.second = whole;
      if (expect(text, i, '.')) {
        double scale = 0.1;
        std::size_t digits = 0;
        while (i < text.size() && std::isdigit(static_cast<unsigned char>(text[i]))) {
          out.second += (text[i] - '0') * scale;
          scale /= 10;
          ++i;
          ++digits;
        }
        if (digits == 0) return std::nullopt;
      }
    }
    if (out.hour > 23 || out.minute > 59 || out.second >= 61) return std::nullopt;
  }
  while (i < text.size() && text[i] == ' ') ++i;
  if (i < text.size()) {
    if (text[i] == 'Z') {
      out.zoneOffsetMinutes = 0;
      ++i;
    } else if (text[i] == '+' || text[i] == '-') {
      const int sign = text[i] == '-' ? -1 : 1;
      ++i;
      int hours = 0;
      int minutes = 0;
      if (!readDigits(text, i, 2, hours)) return std::nullopt;
      expect(text, i, ':');
      if (i < text.size() && !readDigits(text, i, 2, minutes)) return std::nullopt;
      if (hours > 23 || minutes > 59) return std::nullopt;
      out.zoneOffsetMinutes = sign * (hours * 60 + minutes);
    }
  }
  if (i != text.size()) return std::nullopt;
  return out;
}

TimeValue resolveTime(const TimeExpression& expression, const QueryTime& time) {
  const double unitSeconds = expression.unit == 'd'   ? 86400.0
                             : expression.unit == 'w' ? 7 * 86400.0
                                                      : 1.0;
  if (expression.name == TimeName::Now) {
    if (expression.unit == '\0') return {time.now + expression.offset, std::nullopt};
    std::unique_ptr<icu::Calendar> calendar = makeCalendar(time);
    if (!calendar) return {time.now + expression.offset * unitSeconds, std::nullopt};
    UErrorCode status = U_ZERO_ERROR;
    calendar->setTime(toUDate(time.now), status);
    calendar->add(UCAL_DATE, wholeUnits(expression.offset * (expression.unit == 'w' ? 7 : 1)),
                  status);
    return {toAbsolute(calendar->getTime(status)), std::nullopt};
  }
  std::unique_ptr<icu::Calendar> calendar = makeCalendar(time);
  if (!calendar) return {time.now, std::nullopt};
  UErrorCode status = U_ZERO_ERROR;
  if (expression.name == TimeName::Iso) {
    const IsoDateTime& iso = expression.iso;
    if (iso.zoneOffsetMinutes) {
      calendar->adoptTimeZone(icu::TimeZone::createTimeZone("UTC"));
    }
    calendar->clear();
    calendar->set(iso.year, iso.month - 1, iso.day, iso.hour, iso.minute, 0);
    double seconds = toAbsolute(calendar->getTime(status)) + iso.second;
    if (iso.zoneOffsetMinutes) seconds -= *iso.zoneOffsetMinutes * 60.0;
    return {seconds, std::nullopt};
  }
  const PeriodShape shape = periodShape(expression.name);
  calendar->setTime(toUDate(time.now), status);
  truncateTo(*calendar, shape.unit);
  // The shift: the name's own, plus the argument in the name's unit or in days or weeks.
  calendar->add(shape.unit == UCAL_WEEK_OF_YEAR ? UCAL_DATE : shape.unit,
                shape.unit == UCAL_WEEK_OF_YEAR ? 7 * shape.impliedShift : shape.impliedShift,
                status);
  if (expression.unit == 'd') {
    calendar->add(UCAL_DATE, wholeUnits(expression.offset), status);
  } else if (expression.unit == 'w') {
    calendar->add(UCAL_DATE, 7 * wholeUnits(expression.offset), status);
  } else if (shape.unit == UCAL_WEEK_OF_YEAR) {
    calendar->add(UCAL_DATE, 7 * wholeUnits(expression.offset), status);
  } else {
    calendar->add(shape.unit, wholeUnits(expression.offset), status);
  }
  const double start = toAbsolute(calendar->getTime(status));
  if (shape.unit == UCAL_WEEK_OF_YEAR) {
    calendar->add(UCAL_DATE, 7, status);
  } else {
    calendar->add(shape.unit, 1, status);
  }
  const double end = toAbsolute(calendar->getTime(status));
  return {start, end};
}

}  // namespace trovadex::spotlight
