#include "companion/json_writer.hpp"

#include <gtest/gtest.h>

#include <cmath>
#include <limits>
#include <string>

namespace trovadex::companion {
namespace {

using foundation::Date;
using foundation::Value;

std::string jsonString(std::string_view text) {
  std::string out;
  appendJsonString(out, text);
  return out;
}

TEST(JsonWriter, EscapesQuotesBackslashesAndControlCharacters) {
  EXPECT_EQ(jsonString("say \"hi\" \\ there"), R"("say \"hi\" \\ there")");
  EXPECT_EQ(jsonString("a\nb\tc\rd\be\ff"), R"("a\nb\tc\rd\be\ff")");
  EXPECT_EQ(jsonString(std::string("nul\0x", 5)), R"("nul\u0000x")");
  EXPECT_EQ(jsonString("\x01\x1f\x7f"), R"("\u0001\u001f\u007f")");
  EXPECT_EQ(jsonString("/slash"), R"("/slash")");
}

TEST(JsonWriter, PassesNonAsciiThroughAndReplacesBytesThatAreNotUtf8) {
  EXPECT_EQ(jsonString("Grüße, 東京 😀"), "\"Grüße, 東京 😀\"");
  EXPECT_EQ(jsonString("bad\xff\xfe end"), "\"bad\xEF\xBF\xBD\xEF\xBF\xBD end\"");
  // A sequence cut short at the end of the text.
  EXPECT_EQ(jsonString("cut\xE6\x9D"), "\"cut\xEF\xBF\xBD\xEF\xBF\xBD\"");
  // An over-long encoding of '/' is not UTF-8 either.
  EXPECT_EQ(jsonString("\xC0\xAF"), "\"\xEF\xBF\xBD\xEF\xBF\xBD\"");
  // Line and paragraph separators would split a JSON line in some readers.
  EXPECT_EQ(jsonString("a\u2028b\u2029c"), R"("a\u2028b\u2029c")");
}

TEST(JsonWriter, WritesNumbersBooleansAndNil) {
  EXPECT_EQ(jsonText(Value::integer(-42)), "-42");
  EXPECT_EQ(jsonText(Value::unsignedInteger(std::numeric_limits<std::uint64_t>::max())),
            "18446744073709551615");
  EXPECT_EQ(jsonText(Value::real(0.5)), "0.5");
  EXPECT_EQ(jsonText(Value::real(-3)), "-3");
  EXPECT_EQ(jsonText(Value::real(1e300)), "1e+300");
  EXPECT_EQ(jsonText(Value::real(std::nan(""))), "null");
  EXPECT_EQ(jsonText(Value::real(-INFINITY)), "null");
  EXPECT_EQ(jsonText(Value::boolean(true)), "true");
  EXPECT_EQ(jsonText(Value::boolean(false)), "false");
  EXPECT_EQ(jsonText(Value()), "null");
}

TEST(JsonWriter, WritesDatesInIso8601AndDataInBase64) {
  EXPECT_EQ(jsonText(Value(Date::withUnixTime(0))), R"("1970-01-01T00:00:00Z")");
  EXPECT_EQ(jsonText(Value(Date::withTimeIntervalSinceReferenceDate(0))),
            R"("2001-01-01T00:00:00Z")");
  EXPECT_EQ(jsonText(Value(Date::withUnixTime(1795374313.25))), R"("2026-11-22T19:05:13.250Z")");
  // Before the epoch the fraction still counts forward from the whole second below.
  EXPECT_EQ(jsonText(Value(Date::withUnixTime(-0.5))), R"("1969-12-31T23:59:59.500Z")");
  EXPECT_EQ(jsonText(Value(Date::withUnixTime(std::nan("")))), "null");
  EXPECT_EQ(jsonText(Value(Date::withUnixTime(1e15))), "null");
  EXPECT_EQ(jsonText(Value::data({0x00, 0xff, 0x10, 0x41})), R"("AP8QQQ==")");
  EXPECT_EQ(jsonText(Value::data({})), R"("")");
}

TEST(JsonWriter, WritesNestedContainersWithSortedKeys) {
  const Value record = Value::Dictionary{
      {"kMDItemPath", "/m/1.emlx"},
      {"attributes",
       Value::Dictionary{{"kMDItemAuthors", Value::Array{"Zoë \"Z\"", "Al"}},
                         {"com_apple_mail_flagged", Value::boolean(false)},
                         {"nested", Value::Array{Value::Dictionary{}, Value::Array{}}}}},
      {"libraryID", Value::integer(7)},
  };
  EXPECT_EQ(jsonText(record),
            R"({"attributes":{"com_apple_mail_flagged":false,"kMDItemAuthors":["Zoë \"Z\"","Al"],)"
            R"("nested":[{},[]]},"kMDItemPath":"/m/1.emlx","libraryID":7})");
  EXPECT_EQ(jsonText(Value::Dictionary{{"a\"key\n", "v"}}), R"({"a\"key\n":"v"})");
}

}  // namespace
}  // namespace trovadex::companion
