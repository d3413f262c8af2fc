#include "host/json_text.hpp"

#include <gtest/gtest.h>

#include <limits>

namespace trovadex::host {
namespace {

using foundation::Date;
using foundation::Value;

TEST(JsonText, WritesEveryKindOfValue) {
  const std::vector<std::pair<Value, std::string>> cases = {
      {Value(), "null"},
      {Value("plain"), "\"plain\""},
      {Value::boolean(true), "true"},
      {Value::integer(-42), "-42"},
      {Value::unsignedInteger(UINT64_MAX), "18446744073709551615"},
      {Value::real(0.5), "0.5"},
      {Value::real(std::numeric_limits<double>::infinity()), "null"},
      {Value(Date::withUnixTime(1709647629)), "\"2024-03-05T14:07:09Z\""},
      {Value(Date::withUnixTime(1709647629.25)), "\"2024-03-05T14:07:09.25Z\""},
      {Value(Date::withUnixTime(-0.5)), "\"1969-12-31T23:59:59.5Z\""},
      {Value::data({0x00, 0xff, 0x10}), "\"AP8Q\""},
      {Value(Value::Array{Value::integer(1), Value("a")}), "[1,\"a\"]"},
      {Value(Value::Dictionary{{"b", Value::integer(2)}, {"a", Value(Value::Array{})}}),
       "{\"a\":[],\"b\":2}"},
  };
  for (const auto& [value, json] : cases) EXPECT_EQ(jsonText(value), json) << json;
}

TEST(JsonText, EscapesControlCharactersAndRepairsBrokenText) {
  EXPECT_EQ(jsonString("say \"hi\"\\\n\t\x01"), "\"say \\\"hi\\\"\\\\\\n\\t\\u0001\"");
  EXPECT_EQ(jsonString("Jos\xc3\xa9"), "\"Jos\xc3\xa9\"");
  EXPECT_EQ(jsonString("bad \xff byte"), "\"bad \xef\xbf\xbd byte\"");
  EXPECT_EQ(jsonString(std::string("nul\0inside", 10)), "\"nul\xef\xbf\xbdinside\"");
}

}  // namespace
}  // namespace trovadex::host
