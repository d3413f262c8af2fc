#include "protocol/name_order.hpp"

#include <cmath>
#include <cstdint>

namespace trovadex::protocol {

using foundation::Value;

namespace {

template <typename T>
int threeWay(const T& a, const T& b) {
  return a < b ? -1 : (b < a ? 1 : 0);
}

// Kinds that isEqual: never finds equal to each other sort apart, in this order.
int family(const Value& value) {
  switch (value.kind()) {
    case Value::Kind::Nil:
      return 0;
    case Value::Kind::Bool:
    case Value::Kind::Integer:
    case Value::Kind::Unsigned:
    case Value::Kind::Real:
      return 1;
    case Value::Kind::String:
      return 2;
    case Value::Kind::Date:
      return 3;
    case Value::Kind::Data:
      return 4;
    case Value::Kind::Array:
      return 5;
    case Value::Kind::Dictionary:
      return 6;
  }
  return 0;
}

// An integral number widened so that every int64 and uint64 fits.
__int128 wideInteger(const Value& number) {
  return number.kind() == Value::Kind::Unsigned
             ? static_cast<__int128>(number.unsignedLongLongValue())
             : static_cast<__int128>(number.integerValue());
}

// Compares a real with an integer exactly, by mathematical value.
int compareRealWithInteger(double real, __int128 integer) {
  constexpr double kTwoTo64 = 18446744073709551616.0;
  constexpr double kMinusTwoTo63 = -9223372036854775808.0;
  if (real >= kTwoTo64) return 1;  // above every uint64, infinity included
  if (real < kMinusTwoTo63) return -1;
  const double whole = std::trunc(real);
  const int order = threeWay(static_cast<__int128>(whole), integer);
  if (order != 0) return order;
  return threeWay(real - whole, 0.0);
}

// NaN equals NaN and sorts above every other number.
int compareReals(double a, double b) {
  if (std::isnan(a) || std::isnan(b)) return threeWay(std::isnan(a), std::isnan(b));
  return threeWay(a, b);
}

int compareNumbers(const Value& a, const Value& b) {
  const bool aReal = a.kind() == Value::Kind::Real;
  const bool bReal = b.kind() == Value::Kind::Real;
  if (aReal && bReal) return compareReals(a.doubleValue(), b.doubleValue());
  if (aReal) {
    if (std::isnan(a.doubleValue())) return 1;
    return compareRealWithInteger(a.doubleValue(), wideInteger(b));
  }
  if (bReal) {
    if (std::isnan(b.doubleValue())) return -1;
    return -compareRealWithInteger(b.doubleValue(), wideInteger(a));
  }
  return threeWay(wideInteger(a), wideInteger(b));
}

}  // namespace

int compareNames(const Value& a, const Value& b) {
  if (const int order = threeWay(family(a), family(b)); order != 0) return order;
  switch (family(a)) {
    case 1:
      return compareNumbers(a, b);
    case 2:
      return threeWay(*a.asString(), *b.asString());
    case 3:
      return compareReals(a.asDate()->timeIntervalSinceReferenceDate(),
                          b.asDate()->timeIntervalSinceReferenceDate());
    case 4:
      return threeWay(*a.asData(), *b.asData());
    case 5: {
      const Value::Array& left = *a.asArray();
      const Value::Array& right = *b.asArray();
      for (std::size_t i = 0; i < left.size() && i < right.size(); ++i) {
        if (const int order = compareNames(left[i], right[i]); order != 0) return order;
      }
      return threeWay(left.size(), right.size());
    }
    case 6: {
      const Value::Dictionary& left = *a.asDictionary();
      const Value::Dictionary& right = *b.asDictionary();
      auto l = left.begin();
      auto r = right.begin();
      for (; l != left.end() && r != right.end(); ++l, ++r) {
        if (const int order = threeWay(l->first, r->first); order != 0) return order;
        if (const int order = compareNames(l->second, r->second); order != 0) return order;
      }
      return threeWay(left.size(), right.size());
    }
    default:
      return 0;
  }
}

}  // namespace trovadex::protocol
