#include "protocol/name_order.hpp"

#include <gtest/gtest.h>

#include <cmath>
#include <limits>
#include <map>
#include <vector>

#include "foundation/date.hpp"

namespace trovadex::protocol {
namespace {

using foundation::Date;
using foundation::Value;

// Every pair of these values: compareNames is zero exactly when isEqual: holds, and the order is
// antisymmetric and transitive, which is what a std::map key needs.
TEST(NameOrder, AgreesWithIsEqualAndIsAStrictWeakOrder) {
  const double nan = std::numeric_limits<double>::quiet_NaN();
  const std::vector<Value> values{
      Value::integer(-1),
      Value::integer(0),
      Value::real(-0.0),
      Value::boolean(false),
      Value::boolean(true),
      Value::unsignedInteger(1),
      Value::real(1.5),
      Value::integer(std::numeric_limits<std::int64_t>::max()),
      Value::unsignedInteger(9223372036854775808ull),
      Value::real(9223372036854775808.0),
      Value::unsignedInteger(std::numeric_limits<std::uint64_t>::max()),
      Value::real(18446744073709551616.0),
      Value::real(-9223372036854775808.0),
      Value::integer(std::numeric_limits<std::int64_t>::min()),
      Value::real(-1e300),
      Value::real(std::numeric_limits<double>::infinity()),
      Value::real(nan),
      Value(""),
      Value("1"),
      Value("a"),
      Value(Date::withUnixTime(5)),
      Value(Date::withUnixTime(6)),
      Value::data({1, 2}),
      Value::data({1}),
      Value(Value::Array{}),
      Value(Value::Array{Value::integer(1)}),
      Value(Value::Array{Value::real(1.0)}),
      Value(Value::Array{Value::integer(1), "x"}),
      Value(Value::Dictionary{}),
      Value(Value::Dictionary{{"a", Value::integer(1)}}),
      Value(Value::Dictionary{{"a", Value::boolean(true)}}),
      Value(Value::Dictionary{{"a", Value::integer(1)}, {"b", "x"}}),
      Value(Value::Dictionary{{"b", Value::integer(1)}}),
  };
  for (const Value& a : values) {
    for (const Value& b : values) {
      const int ab = compareNames(a, b);
      EXPECT_EQ(ab == 0, a.isEqual(b)) << a.description() << " vs " << b.description();
      EXPECT_EQ(ab<0, compareNames(b, a)> 0) << a.description() << " vs " << b.description();
      for (const Value& c : values) {
        if (ab < 0 && compareNames(b, c) < 0) {
          EXPECT_LT(compareNames(a, c), 0)
              << a.description() << " < " << b.description() << " < " << c.description();
        }
      }
    }
  }
}

TEST(NameOrder, KeysAMapSoThatEqualNamesMeetInOneEntry) {
  std::map<Value, int, NameOrder> registry;
  registry[Value::integer(7)] = 1;
  registry[Value::real(7.0)] += 1;
  registry[Value("7")] = 10;
  registry[Value(Value::Dictionary{{"q", Value::unsignedInteger(2)}})] = 20;
  EXPECT_EQ(registry.size(), 3u);
  EXPECT_EQ(registry.at(Value::unsignedInteger(7)), 2);
  EXPECT_EQ(registry.at(Value(Value::Dictionary{{"q", Value::integer(2)}})), 20);
  EXPECT_FALSE(registry.contains(Value::real(7.5)));
}

}  // namespace
}  // namespace trovadex::protocol
