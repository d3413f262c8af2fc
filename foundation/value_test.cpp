#include "foundation/value.hpp"

#include <gtest/gtest.h>

#include <cmath>
#include <limits>

#include "foundation/clock.hpp"
#include "foundation/date.hpp"
#include "foundation/error.hpp"

namespace trovadex::foundation {
namespace {

constexpr std::int64_t kInt64Max = std::numeric_limits<std::int64_t>::max();
constexpr std::int64_t kInt64Min = std::numeric_limits<std::int64_t>::min();
constexpr std::uint64_t kUInt64Max = std::numeric_limits<std::uint64_t>::max();

Value str(std::string_view text) { return Value(text); }

// ---- kinds and construction ----

TEST(ValueKinds, EachConstructorMakesItsKind) {
  EXPECT_EQ(Value().kind(), Value::Kind::Nil);
  EXPECT_EQ(Value("a").kind(), Value::Kind::String);
  EXPECT_EQ(Value(std::string("a")).kind(), Value::Kind::String);
  EXPECT_EQ(Value::boolean(true).kind(), Value::Kind::Bool);
  EXPECT_EQ(Value::integer(1).kind(), Value::Kind::Integer);
  EXPECT_EQ(Value::unsignedInteger(1).kind(), Value::Kind::Unsigned);
  EXPECT_EQ(Value::real(1).kind(), Value::Kind::Real);
  EXPECT_EQ(Value(Date()).kind(), Value::Kind::Date);
  EXPECT_EQ(Value::data({1}).kind(), Value::Kind::Data);
  EXPECT_EQ(Value(Value::Array{}).kind(), Value::Kind::Array);
  EXPECT_EQ(Value(Value::Dictionary{}).kind(), Value::Kind::Dictionary);
  EXPECT_TRUE(Value::boolean(false).isNumber());
  EXPECT_FALSE(Value("1").isNumber());
}

TEST(ValueKinds, NullCharPointerIsNil) {
  const char* nothing = nullptr;
  EXPECT_TRUE(Value(nothing).isNil());
  EXPECT_FALSE(static_cast<bool>(Value(nothing)));
  EXPECT_TRUE(static_cast<bool>(Value("")));
}

TEST(ValueKinds, ContainersDropNilElementsAndEntries) {
  const Value array(Value::Array{Value(), "a", Value(), Value::integer(2)});
  ASSERT_EQ(array.count(), 2u);
  EXPECT_EQ(*array.at(0).asString(), "a");
  EXPECT_EQ(array.at(1).integerValue(), 2);

  const Value dictionary(Value::Dictionary{{"gone", Value()}, {"kept", "x"}});
  EXPECT_EQ(dictionary.count(), 1u);
  EXPECT_EQ(dictionary.asDictionary()->count("gone"), 0u);
}

TEST(ValueKinds, TypedAccessIsNullForOtherKinds) {
  const Value text("a");
  EXPECT_NE(text.asString(), nullptr);
  EXPECT_EQ(text.asArray(), nullptr);
  EXPECT_EQ(text.asDictionary(), nullptr);
  EXPECT_EQ(text.asData(), nullptr);
  EXPECT_EQ(text.asDate(), nullptr);
  EXPECT_EQ(Value::integer(1).asString(), nullptr);
  EXPECT_EQ(Value::data({1, 2, 3}).count(), 3u);
  EXPECT_EQ(text.count(), 0u);
}

TEST(ValueLookup, MissingKeysAndIndexesGiveNil) {
  const Value dictionary(Value::Dictionary{{"a", "1"}, {"b", Value::Array{"x"}}});
  EXPECT_EQ(*dictionary["a"].asString(), "1");
  EXPECT_TRUE(dictionary["zzz"].isNil());
  EXPECT_TRUE(dictionary["b"].at(1).isNil());
  EXPECT_EQ(*dictionary["b"].at(0).asString(), "x");
  EXPECT_TRUE(Value("text")["a"].isNil());
  EXPECT_TRUE(Value("text").at(0).isNil());
  EXPECT_TRUE(Value()["a"]["b"].at(3).isNil());
}

TEST(ValueLookup, StringForKey) {
  const Value dictionary(Value::Dictionary{{"name", "q1"}, {"count", Value::integer(3)}});
  ASSERT_NE(stringForKey(dictionary, "name"), nullptr);
  EXPECT_EQ(*stringForKey(dictionary, "name"), "q1");
  EXPECT_EQ(stringForKey(dictionary, "count"), nullptr);
  EXPECT_EQ(stringForKey(dictionary, "missing"), nullptr);
  EXPECT_EQ(stringForKey(Value("not a dictionary"), "name"), nullptr);
}

// ---- equality ----

TEST(ValueEquality, NumbersCompareByValueAcrossKinds) {
  EXPECT_EQ(Value::boolean(true), Value::integer(1));
  EXPECT_EQ(Value::boolean(false), Value::integer(0));
  EXPECT_EQ(Value::boolean(true), Value::real(1.0));
  EXPECT_EQ(Value::integer(1), Value::real(1.0));
  EXPECT_EQ(Value::integer(7), Value::unsignedInteger(7));
  EXPECT_EQ(Value::unsignedInteger(3), Value::real(3.0));
  EXPECT_NE(Value::boolean(true), Value::integer(2));
  EXPECT_NE(Value::integer(1), Value::real(1.5));
  EXPECT_NE(Value::real(0.5), Value::boolean(false));
}

TEST(ValueEquality, NumberComparisonsAreExactAtTheEdges) {
  EXPECT_NE(Value::unsignedInteger(kUInt64Max), Value::integer(-1));
  EXPECT_NE(Value::integer(-1), Value::unsignedInteger(kUInt64Max));
  EXPECT_EQ(Value::unsignedInteger(kInt64Max), Value::integer(kInt64Max));
  EXPECT_NE(Value::unsignedInteger(static_cast<std::uint64_t>(kInt64Max) + 1),
            Value::integer(kInt64Min));
  // 2^63 as a double is not INT64_MAX, although a careless conversion would say so.
  EXPECT_NE(Value::real(9223372036854775808.0), Value::integer(kInt64Max));
  EXPECT_EQ(Value::real(9223372036854775808.0), Value::unsignedInteger(9223372036854775808ull));
  EXPECT_EQ(Value::real(-9223372036854775808.0), Value::integer(kInt64Min));
  // 2^53 + 1 has no double; the nearest double must not compare equal to it.
  EXPECT_NE(Value::real(9007199254740992.0), Value::integer(9007199254740993));
  EXPECT_NE(Value::real(18446744073709551616.0), Value::unsignedInteger(kUInt64Max));
  EXPECT_NE(Value::real(std::nan("")), Value::integer(0));
  EXPECT_NE(Value::real(INFINITY), Value::unsignedInteger(kUInt64Max));
  EXPECT_EQ(Value::real(-0.0), Value::integer(0));
}

TEST(ValueEquality, NotANumberEqualsItselfSoValuesAreReflexive) {
  const Value nan = Value::real(std::nan(""));
  EXPECT_EQ(nan, nan);
  EXPECT_EQ(Value(Value::Array{nan}), Value(Value::Array{Value::real(std::nan(""))}));
}

TEST(ValueEquality, StringsNeverEqualNumbers) {
  EXPECT_NE(Value("1"), Value::integer(1));
  EXPECT_NE(Value::integer(1), Value("1"));
  EXPECT_NE(Value("true"), Value::boolean(true));
  EXPECT_EQ(Value("abc"), Value(std::string("abc")));
  EXPECT_NE(Value("abc"), Value("ABC"));
}

TEST(ValueEquality, OtherKinds) {
  EXPECT_EQ(Value(), Value());
  EXPECT_NE(Value(), Value(""));
  EXPECT_NE(Value(), Value::integer(0));
  EXPECT_EQ(Value(Date::withUnixTime(5)), Value(Date::withUnixTime(5)));
  EXPECT_NE(Value(Date::withUnixTime(5)), Value(Date::withUnixTime(5.5)));
  EXPECT_NE(Value(Date::withTimeIntervalSinceReferenceDate(0)), Value::integer(0));
  EXPECT_EQ(Value::data({1, 2}), Value::data({1, 2}));
  EXPECT_NE(Value::data({1, 2}), Value::data({1, 2, 3}));
  EXPECT_NE(Value::data({}), Value(""));
}

TEST(ValueEquality, ContainersCompareDeeply) {
  const Value a(Value::Dictionary{{"list", Value::Array{Value::integer(1), "x"}},
                                  {"flag", Value::boolean(true)}});
  const Value b(Value::Dictionary{{"list", Value::Array{Value::real(1.0), "x"}},
                                  {"flag", Value::integer(1)}});
  const Value c(Value::Dictionary{{"list", Value::Array{Value::integer(1), "y"}},
                                  {"flag", Value::boolean(true)}});
  const Value d(Value::Dictionary{{"list", Value::Array{Value::integer(1), "x"}},
                                  {"other", Value::boolean(true)}});
  EXPECT_EQ(a, b);
  EXPECT_NE(a, c);
  EXPECT_NE(a, d);
  EXPECT_NE(Value(Value::Array{"x"}), Value(Value::Array{"x", "x"}));
  EXPECT_NE(Value(Value::Array{}), Value(Value::Dictionary{}));
  EXPECT_EQ(Value(Value::Array{Value(), "x"}), Value(Value::Array{"x"}));
}

// ---- readings ----

TEST(ValueReadings, BoolValueOfNumbersIsNotZero) {
  EXPECT_TRUE(Value::boolean(true).boolValue());
  EXPECT_FALSE(Value::boolean(false).boolValue());
  EXPECT_TRUE(Value::integer(-3).boolValue());
  EXPECT_FALSE(Value::integer(0).boolValue());
  EXPECT_TRUE(Value::unsignedInteger(kUInt64Max).boolValue());
  EXPECT_TRUE(Value::real(0.25).boolValue());
  EXPECT_FALSE(Value::real(-0.0).boolValue());
}

TEST(ValueReadings, BoolValueOfStringsFollowsThePlatform) {
  for (const char* yes : {"YES", "yes", "  yes", "\t\n y", "Y", "true", "T", "tomato", "1", "9",
                          "007", "01", "-3", "+1", "  42abc", "-007"}) {
    EXPECT_TRUE(str(yes).boolValue()) << yes;
  }
  for (const char* no :
       {"", "   ", "0", "000", "no", "NO", "false", "abc", "-0", "+", "- 1", " x1", "0.5", "N"}) {
    EXPECT_FALSE(str(no).boolValue()) << no;
  }
  // Zeros are skipped, then a '.' is no digit 1-9.
  EXPECT_FALSE(str("0.0001x").boolValue());
}

TEST(ValueReadings, BoolValueOfOtherKindsIsFalse) {
  EXPECT_FALSE(Value().boolValue());
  EXPECT_FALSE(Value(Date::withUnixTime(100)).boolValue());
  EXPECT_FALSE(Value::data({1}).boolValue());
  EXPECT_FALSE(Value(Value::Array{Value::integer(1)}).boolValue());
  EXPECT_FALSE(Value(Value::Dictionary{{"a", "1"}}).boolValue());
}

TEST(ValueReadings, IntegerValueOfNumbers) {
  EXPECT_EQ(Value::boolean(true).integerValue(), 1);
  EXPECT_EQ(Value::integer(kInt64Min).integerValue(), kInt64Min);
  EXPECT_EQ(Value::unsignedInteger(kUInt64Max).integerValue(), kInt64Max);  // clamped
  EXPECT_EQ(Value::unsignedInteger(12).integerValue(), 12);
  EXPECT_EQ(Value::real(3.99).integerValue(), 3);
  EXPECT_EQ(Value::real(-3.99).integerValue(), -3);  // toward zero
  EXPECT_EQ(Value::real(1e300).integerValue(), kInt64Max);
  EXPECT_EQ(Value::real(-1e300).integerValue(), kInt64Min);
  EXPECT_EQ(Value::real(9223372036854775808.0).integerValue(), kInt64Max);
  EXPECT_EQ(Value::real(std::nan("")).integerValue(), 0);
  EXPECT_EQ(Value::integer(-8).longLongValue(), -8);
}

TEST(ValueReadings, IntegerValueOfStrings) {
  EXPECT_EQ(str("  42").integerValue(), 42);
  EXPECT_EQ(str("0").integerValue(), 0);
  EXPECT_EQ(str("007").integerValue(), 7);
  EXPECT_EQ(str("-3").integerValue(), -3);
  EXPECT_EQ(str("+15").integerValue(), 15);
  EXPECT_EQ(str("12abc").integerValue(), 12);
  EXPECT_EQ(str("3.9").integerValue(), 3);
  EXPECT_EQ(str("abc").integerValue(), 0);
  EXPECT_EQ(str("").integerValue(), 0);
  EXPECT_EQ(str("-").integerValue(), 0);
  EXPECT_EQ(str("- 5").integerValue(), 0);
  EXPECT_EQ(str("yes").integerValue(), 0);
  EXPECT_EQ(str("9223372036854775807").integerValue(), kInt64Max);
  EXPECT_EQ(str("-9223372036854775808").integerValue(), kInt64Min);
  EXPECT_EQ(str("9223372036854775808").integerValue(), kInt64Max);
  EXPECT_EQ(str("9999999999999999999999").integerValue(), kInt64Max);
  EXPECT_EQ(str("-9999999999999999999999").integerValue(), kInt64Min);
}

TEST(ValueReadings, IntegerValueOfOtherKindsIsZero) {
  EXPECT_EQ(Value().integerValue(), 0);
  EXPECT_EQ(Value(Date::withUnixTime(1e9)).integerValue(), 0);
  EXPECT_EQ(Value::data({9}).integerValue(), 0);
  EXPECT_EQ(Value(Value::Array{Value::integer(4)}).integerValue(), 0);
  EXPECT_EQ(Value(Value::Dictionary{}).unsignedLongLongValue(), 0u);
  EXPECT_EQ(Value().doubleValue(), 0.0);
}

TEST(ValueReadings, UnsignedLongLongValue) {
  EXPECT_EQ(Value::unsignedInteger(kUInt64Max).unsignedLongLongValue(), kUInt64Max);
  EXPECT_EQ(Value::integer(-1).unsignedLongLongValue(), kUInt64Max);  // two's complement
  EXPECT_EQ(Value::boolean(true).unsignedLongLongValue(), 1u);
  EXPECT_EQ(Value::real(1e30).unsignedLongLongValue(), kUInt64Max);
  EXPECT_EQ(Value::real(0.9).unsignedLongLongValue(), 0u);
  EXPECT_EQ(Value::real(-0.9).unsignedLongLongValue(), 0u);
  EXPECT_EQ(Value::real(-2.5).unsignedLongLongValue(), static_cast<std::uint64_t>(-2));
  EXPECT_EQ(str("18446744073709551615").unsignedLongLongValue(), kUInt64Max);
  EXPECT_EQ(str("99999999999999999999999").unsignedLongLongValue(), kUInt64Max);
  EXPECT_EQ(str("  17x").unsignedLongLongValue(), 17u);
  EXPECT_EQ(str("-3").unsignedLongLongValue(), static_cast<std::uint64_t>(-3));
}

TEST(ValueReadings, DoubleValue) {
  EXPECT_EQ(Value::integer(-4).doubleValue(), -4.0);
  EXPECT_EQ(Value::boolean(true).doubleValue(), 1.0);
  EXPECT_EQ(Value::unsignedInteger(kUInt64Max).doubleValue(), 18446744073709551616.0);
  EXPECT_EQ(str(" 2.5kg").doubleValue(), 2.5);
  EXPECT_EQ(str("+1e3").doubleValue(), 1000.0);
  EXPECT_EQ(str("-0.125").doubleValue(), -0.125);
  EXPECT_EQ(str(".5").doubleValue(), 0.5);
  EXPECT_EQ(str("abc").doubleValue(), 0.0);
  EXPECT_EQ(str("+-1").doubleValue(), 0.0);
  EXPECT_EQ(str("1e999").doubleValue(), HUGE_VAL);
  EXPECT_EQ(str("-1e999").doubleValue(), -HUGE_VAL);
  EXPECT_EQ(str("1e-999").doubleValue(), 0.0);
}

// ---- descriptions ----

TEST(ValueDescription, Scalars) {
  EXPECT_EQ(Value().description(), "(null)");
  EXPECT_EQ(Value("plain text, as is: \"quoted\"").description(), "plain text, as is: \"quoted\"");
  EXPECT_EQ(Value::boolean(true).description(), "1");
  EXPECT_EQ(Value::boolean(false).description(), "0");
  EXPECT_EQ(Value::integer(-42).description(), "-42");
  EXPECT_EQ(Value::integer(kInt64Min).description(), "-9223372036854775808");
  EXPECT_EQ(Value::unsignedInteger(kUInt64Max).description(), "18446744073709551615");
}

TEST(ValueDescription, RealsUseTheShortestRoundTripForm) {
  EXPECT_EQ(Value::real(0.5).description(), "0.5");
  EXPECT_EQ(Value::real(3.0).description(), "3");
  EXPECT_EQ(Value::real(-2.25).description(), "-2.25");
  EXPECT_EQ(Value::real(0.1).description(), "0.1");
  EXPECT_EQ(Value::real(1e20).description(), "1e+20");
  EXPECT_EQ(Value::real(INFINITY).description(), "inf");
  EXPECT_EQ(Value::real(-INFINITY).description(), "-inf");
  EXPECT_EQ(Value::real(std::nan("")).description(), "nan");
}

TEST(ValueDescription, Dates) {
  EXPECT_EQ(Value(Date::withTimeIntervalSinceReferenceDate(0)).description(),
            "2001-01-01 00:00:00 +0000");
  EXPECT_EQ(Value(Date::withUnixTime(1795374313.75)).description(), "2026-11-22 19:05:13 +0000");
  // Whole seconds are taken by rounding down, also before the epoch.
  EXPECT_EQ(Date::withUnixTime(-0.5).description(), "1969-12-31 23:59:59 +0000");
  EXPECT_EQ(Date::withUnixTime(951782400).description(), "2000-02-29 00:00:00 +0000");
  EXPECT_EQ(Date::withUnixTime(-30610224000.0).description(), "1000-01-01 00:00:00 +0000");
  EXPECT_EQ(Date::withUnixTime(253402300799.0).description(), "9999-12-31 23:59:59 +0000");
  EXPECT_EQ(Date::withUnixTime(std::nan("")).description(), "(invalid date)");
  EXPECT_EQ(Date::withUnixTime(INFINITY).description(), "(distant future)");
}

TEST(ValueDescription, DataInGroupsOfFourBytes) {
  EXPECT_EQ(Value::data({}).description(), "<>");
  EXPECT_EQ(Value::data({0x0a}).description(), "<0a>");
  EXPECT_EQ(Value::data({0x0a, 0x1b, 0x2c, 0x3d}).description(), "<0a1b2c3d>");
  EXPECT_EQ(Value::data({0x0a, 0x1b, 0x2c, 0x3d, 0x4e, 0x5f}).description(), "<0a1b2c3d 4e5f>");
  EXPECT_EQ(Value::data({0xff, 0, 0, 0, 1, 2, 3, 4, 5}).description(), "<ff000000 01020304 05>");
}

TEST(ValueDescription, FlatContainers) {
  EXPECT_EQ(Value(Value::Array{}).description(), "()");
  EXPECT_EQ(Value(Value::Dictionary{}).description(), "{}");
  EXPECT_EQ(Value(Value::Array{"a", "b"}).description(), "(\n    a,\n    b\n)");
  EXPECT_EQ(Value(Value::Dictionary{{"key", "value"}}).description(), "{\n    key = value;\n}");
  EXPECT_EQ(Value(Value::Array{Value::integer(-1), Value::real(0.5), Value::boolean(true),
                               Value::data({1})})
                .description(),
            "(\n    -1,\n    0.5,\n    1,\n    <01>\n)");
}

TEST(ValueDescription, DictionariesListKeysInOrder) {
  const Value dictionary(
      Value::Dictionary{{"b", Value::integer(2)}, {"a", Value::integer(1)}, {"C", "3"}});
  EXPECT_EQ(dictionary.description(), "{\n    C = 3;\n    a = 1;\n    b = 2;\n}");
}

TEST(ValueDescription, StringsInContainersAreQuotedUnlessPlain) {
  const Value array(Value::Array{"plain_$./:AZaz09", "", "two words", "a-b", "q\"uote",
                                 "back\\slash", "line\nbreak", "tab\there", "caf\xc3\xa9",
                                 "\xf0\x9f\x98\x80", "50%"});
  EXPECT_EQ(array.description(),
            "(\n"
            "    plain_$./:AZaz09,\n"
            "    \"\",\n"
            "    \"two words\",\n"
            "    \"a-b\",\n"
            "    \"q\\\"uote\",\n"
            "    \"back\\\\slash\",\n"
            "    \"line\\nbreak\",\n"
            "    \"tab\\there\",\n"
            "    \"caf\\U00e9\",\n"
            "    \"\\Ud83d\\Ude00\",\n"
            "    \"50%\"\n"
            ")");
  EXPECT_EQ(Value(Value::Dictionary{{"my key", "v"}, {"", "empty"}}).description(),
            "{\n    \"\" = empty;\n    \"my key\" = v;\n}");
}

TEST(ValueDescription, DatesInContainersAreQuoted) {
  EXPECT_EQ(Value(Value::Array{Value(Date::withTimeIntervalSinceReferenceDate(0))}).description(),
            "(\n    \"2001-01-01 00:00:00 +0000\"\n)");
}

TEST(ValueDescription, NestedContainersUseThePlatformLayout) {
  const Value nested(Value::Dictionary{
      {"list", Value::Array{"a", Value::Dictionary{{"k", Value::integer(1)}}, Value::Array{}}},
      {"map", Value::Dictionary{{"inner", Value::Array{"x"}}}},
      {"none", Value::Dictionary{}},
  });
  EXPECT_EQ(nested.description(),
            "{\n"
            "    list =     (\n"
            "        a,\n"
            "                {\n"
            "            k = 1;\n"
            "        },\n"
            "                ()\n"
            "    );\n"
            "    map =     {\n"
            "        inner =         (\n"
            "            x\n"
            "        );\n"
            "    };\n"
            "    none =     {};\n"
            "}");
}

TEST(ValueDescription, ArrayOfDictionaries) {
  const Value array(Value::Array{Value::Dictionary{{"a", "1"}}, Value::Dictionary{{"b", "2"}}});
  EXPECT_EQ(array.description(),
            "(\n"
            "        {\n"
            "        a = 1;\n"
            "    },\n"
            "        {\n"
            "        b = 2;\n"
            "    }\n"
            ")");
}

// ---- dates, clocks, errors ----

TEST(ValueDateAndClock, ManualClockMovesOnlyWhenTold) {
  ManualClock clock(Date::withTimeIntervalSinceReferenceDate(100));
  EXPECT_EQ(clock.now().timeIntervalSinceReferenceDate(), 100);
  clock.advance(3600);
  EXPECT_EQ(clock.now().timeIntervalSinceReferenceDate(), 3700);
  clock.set(Date::withUnixTime(0));
  EXPECT_EQ(clock.now().unixTime(), 0);
}

TEST(ValueDateAndClock, SystemClockIsNearTheRealTime) {
  const double before = static_cast<double>(std::time(nullptr));
  const double now = SystemClock().now().unixTime();
  EXPECT_GE(now, before - 1);
  EXPECT_LE(now, before + 5);
}

TEST(ValueErrorDescription, LooksLikeThePlatformsError) {
  const Error error{"CSSearchQueryErrorDomain", -2003, "The query was cancelled."};
  EXPECT_EQ(error.description(),
            "Error Domain=CSSearchQueryErrorDomain Code=-2003 \"The query was cancelled.\"");
  EXPECT_EQ(Error{}.description(), "Error Domain= Code=0 \"\"");
}

}  // namespace
}  // namespace trovadex::foundation
