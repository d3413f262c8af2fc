// $time resolution against a fixed start time, in fixed zones, with a fixed first weekday.
#include "spotlight/time_expression.hpp"

#include <gtest/gtest.h>

#include "spotlight/query_parser.hpp"

namespace trovadex::spotlight {
namespace {

constexpr double kDay = 86400;
// Wednesday 2026-03-04 15:30:00 UTC.
constexpr double kNow = 794331000;
constexpr double kToday = 794275200;        // 2026-03-04 00:00 UTC
constexpr double kMondayStart = 794102400;  // 2026-03-02 00:00 UTC

QueryTime utcMondayWeeks() { return QueryTime{kNow, "UTC", 2, "en_GB"}; }

TimeValue resolve(const std::string& expression, const QueryTime& time = utcMondayWeeks()) {
  ParseResult parsed = parseQuery("a == " + expression);
  EXPECT_TRUE(parsed.ok()) << expression;
  return resolveTime(parsed.tree().value.time, time);
}

void expectPeriod(const TimeValue& value, double start, double end, const std::string& what) {
  ASSERT_TRUE(value.isPeriod()) << what;
  EXPECT_DOUBLE_EQ(value.start, start) << what;
  EXPECT_DOUBLE_EQ(*value.end, end) << what;
}

TEST(TimeExpression, ResolvesDaysWithOffsetsAndUnits) {
  expectPeriod(resolve("$time.today"), kToday, kToday + kDay, "today");
  expectPeriod(resolve("$time.today()"), kToday, kToday + kDay, "today()");
  expectPeriod(resolve("$time.today(-10)"), kToday - 10 * kDay, kToday - 9 * kDay, "today(-10)");
  expectPeriod(resolve("$time.yesterday"), kToday - kDay, kToday, "yesterday");
  expectPeriod(resolve("$time.tomorrow"), kToday + kDay, kToday + 2 * kDay, "tomorrow");
  expectPeriod(resolve("$time.today(+1d)"), kToday + kDay, kToday + 2 * kDay, "today(+1d)");
  expectPeriod(resolve("$time.today(-1w)"), kToday - 7 * kDay, kToday - 6 * kDay, "today(-1w)");
}

TEST(TimeExpression, ResolvesNowAsAnInstant) {
  EXPECT_FALSE(resolve("$time.now").isPeriod());
  EXPECT_DOUBLE_EQ(resolve("$time.now").start, kNow);
  EXPECT_DOUBLE_EQ(resolve("$time.now(-6000)").start, kNow - 6000);
  EXPECT_DOUBLE_EQ(resolve("$time.now(1.5)").start, kNow + 1.5);
  EXPECT_DOUBLE_EQ(resolve("$time.now(-2d)").start, kNow - 2 * kDay);
}

TEST(TimeExpression, StartsWeeksOnTheConfiguredFirstWeekday) {
  expectPeriod(resolve("$time.this_week"), kMondayStart, kMondayStart + 7 * kDay, "this_week");
  expectPeriod(resolve("$time.this_week(-1)"), kMondayStart - 7 * kDay, kMondayStart,
               "this_week(-1)");
  expectPeriod(resolve("$time.last_week"), kMondayStart - 7 * kDay, kMondayStart, "last_week");
  expectPeriod(resolve("$time.next_week"), kMondayStart + 7 * kDay, kMondayStart + 14 * kDay,
               "next_week");
  QueryTime sundayWeeks{kNow, "UTC", 1, "en_US"};
  expectPeriod(resolve("$time.this_week", sundayWeeks), kMondayStart - kDay,
               kMondayStart + 6 * kDay, "this_week from Sunday");
}

TEST(TimeExpression, RollsMonthsAndYearsOverCalendarBoundaries) {
  const double march1 = kToday - 3 * kDay;
  const double april1 = march1 + 31 * kDay;
  expectPeriod(resolve("$time.this_month"), march1, april1, "this_month");
  expectPeriod(resolve("$time.next_month"), april1, april1 + 30 * kDay, "next_month");
  // Three months back from March 2026 is December 2025.
  const double december1 = march1 - (28 + 31 + 31) * kDay;
  expectPeriod(resolve("$time.this_month(-3)"), december1, december1 + 31 * kDay, "this_month(-3)");
  const double year2026 = march1 - (31 + 28) * kDay;
  expectPeriod(resolve("$time.this_year"), year2026, year2026 + 365 * kDay, "this_year");
  expectPeriod(resolve("$time.next_year"), year2026 + 365 * kDay, year2026 + 730 * kDay,
               "next_year");
}

TEST(TimeExpression, MakesTheDaylightSavingDayTwentyThreeHoursLong) {
  // Noon on 2026-03-29 in Berlin, the day clocks go forward.
  QueryTime berlin{796474800, "Europe/Berlin", 2, "de_DE"};
  expectPeriod(resolve("$time.today", berlin), 796431600, 796514400, "DST day");
}

TEST(TimeExpression, ParsesIsoDatesInTheirZoneOrTheQueryZone) {
  EXPECT_DOUBLE_EQ(resolve("$time.iso(2018-10-01T10:00:00Z)").start, 560080800);
  EXPECT_DOUBLE_EQ(resolve("$time.iso(\"2008-08-03 12:22:00 +0800\")").start, 239430120);
  EXPECT_DOUBLE_EQ(resolve("$time.iso(2026-03-04)").start, kToday);
  EXPECT_DOUBLE_EQ(resolve("$time.iso(2026-03-04T00:00:00.250Z)").start, kToday + 0.25);
  QueryTime berlin{kNow, "Europe/Berlin", 2, "de_DE"};
  EXPECT_DOUBLE_EQ(resolve("$time.iso(2026-03-04)", berlin).start, kToday - 3600);
}

}  // namespace
}  // namespace trovadex::spotlight
