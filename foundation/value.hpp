// Value: one property-list value, the currency of every message, payload and defaults entry.
//
// A Value is a String, Bool, Integer (int64), Unsigned (uint64), Real, Date, Data, Array or
// Dictionary, or it is empty, which stands for nil. Containers never hold an empty Value: a nil
// element or entry is simply left out. Equality follows the platform's isEqual: numbers compare
// by numeric value whatever their kind (true equals 1), strings by content, containers deeply.
// Reading a value as the wrong kind never fails: it yields nil, false or 0.
//
// Values are immutable; containers share their contents, so copies are cheap and a Value may be
// read from any number of threads at once.
#pragma once

#include <cstdint>
#include <map>
#include <memory>
#include <string>
#include <string_view>
#include <variant>
#include <vector>

#include "foundation/date.hpp"

namespace trovadex::foundation {

class Value {
 public:
  enum class Kind { Nil, String, Bool, Integer, Unsigned, Real, Date, Data, Array, Dictionary };

  using Array = std::vector<Value>;
  using Dictionary = std::map<std::string, Value, std::less<>>;
  using Bytes = std::vector<std::uint8_t>;

  // nil
  Value() = default;

  // Strings and containers convert implicitly, so that literals read naturally:
  // Value::Dictionary{{"uniqueName", "q1"}}. Nil elements and entries are dropped.
  Value(std::string text);       // NOLINT(google-explicit-constructor)
  Value(std::string_view text);  // NOLINT(google-explicit-constructor)
  Value(const char* text);       // NOLINT(google-explicit-constructor); nullptr gives nil
  Value(Array elements);         // NOLINT(google-explicit-constructor)
  Value(Dictionary entries);     // NOLINT(google-explicit-constructor)
  Value(Date date);              // NOLINT(google-explicit-constructor)

  // Numbers, booleans and data are made explicitly, so that no overload guesses a kind.
  static Value boolean(bool flag);
  static Value integer(std::int64_t number);
  static Value unsignedInteger(std::uint64_t number);
  static Value real(double number);
  static Value data(Bytes bytes);

  Kind kind() const;
  bool isNil() const { return kind() == Kind::Nil; }
  bool isString() const { return kind() == Kind::String; }
  bool isNumber() const;  // Bool, Integer, Unsigned or Real
  bool isArray() const { return kind() == Kind::Array; }
  bool isDictionary() const { return kind() == Kind::Dictionary; }
  bool isDate() const { return kind() == Kind::Date; }
  bool isData() const { return kind() == Kind::Data; }
  explicit operator bool() const { return !isNil(); }

  // Typed access: a pointer to the content, or nullptr when the value is of another kind.
  const std::string* asString() const;
  const Array* asArray() const;
  const Dictionary* asDictionary() const;
  const Bytes* asData() const;
  const Date* asDate() const;

  // The platform's readings. Anything but a number or a string reads as false / 0.
  //
  // Numbers: boolValue is "not zero" (NaN reads as true). integerValue truncates reals toward
  // zero and clamps them to the int64 range (NaN reads as 0); an Unsigned above INT64_MAX reads
  // as INT64_MAX. unsignedLongLongValue gives a negative Integer as its two's complement (as C
  // converts it), clamps reals above the uint64 range, and reads a negative real like the
  // Integer it truncates to. doubleValue converts.
  //
  // Strings: blanks are space, tab, newline, carriage return, vertical tab and form feed.
  // boolValue is true when, after optional blanks, the text starts with Y, y, T or t, or with an
  // optional sign, any number of '0's and then a digit 1-9 ("01", "-3" and "+1" are true; "0",
  // "-0" and "0.5" are false). integerValue reads optional blanks, an optional sign and decimal
  // digits up to the first non-digit, clamping at the int64 range; no digits read as 0.
  // unsignedLongLongValue reads the same way, clamping at UINT64_MAX; a negative number gives the
  // two's complement of what integerValue reads. doubleValue reads optional blanks and a decimal
  // number in the C locale (as strtod, without hexadecimal), 0 when there is none.
  bool boolValue() const;
  std::int64_t integerValue() const;
  std::int64_t longLongValue() const { return integerValue(); }
  std::uint64_t unsignedLongLongValue() const;
  double doubleValue() const;

  // Dictionary look-up; nil when this is not a dictionary or the key is absent.
  const Value& operator[](std::string_view key) const;
  // Array element; nil when this is not an array or the index is out of range.
  const Value& at(std::size_t index) const;
  // Element count of an array or dictionary, byte count of data, 0 otherwise.
  std::size_t count() const;

  // The platform's isEqual:. Numbers compare exactly by mathematical value across Bool,
  // Integer, Unsigned and Real (Unsigned UINT64_MAX is not Integer -1; Real 2^63 is not
  // INT64_MAX); a NaN equals a NaN, so that every value equals itself. Dates compare by time,
  // data by bytes, strings byte by byte. Different kinds are never equal otherwise.
  bool isEqual(const Value& other) const;
  friend bool operator==(const Value& a, const Value& b) { return a.isEqual(b); }

  // What %@ prints: strings as they are, numbers in decimal (Bool as 1 or 0; reals in the
  // shortest form that reads back exactly: "0.5", "3", "1e+20", "nan", "inf"), dates as
  // "2026-11-22 19:05:13 +0000", data as "<0a1b2c3d 4e5f>" (groups of four bytes). Nil describes
  // as "(null)".
  //
  // Arrays and dictionaries use the platform's layout: "(\n    a,\n    b\n)" and
  // "{\n    key = value;\n}", four blanks per level, keys in sorted order; a nested container
  // starts with its own level's indentation, so it reads "key =     (" and, inside an array,
  // "        {". Empty ones print as "()" and "{}". Inside containers, strings, keys and dates
  // are quoted unless they consist only of [A-Za-z0-9_$./:] (the empty string prints as ""); in
  // the quotes, '"' and '\' are escaped with '\', newline, tab and carriage return print as \n,
  // \t and \r, and other control and all non-ASCII characters as \Uxxxx (UTF-16, lowercase hex).
  std::string description() const;

 private:
  using Storage = std::variant<std::monostate, std::string, bool, std::int64_t, std::uint64_t,
                               double, Date, std::shared_ptr<const Bytes>,
                               std::shared_ptr<const Array>, std::shared_ptr<const Dictionary>>;
  explicit Value(Storage storage) : storage_(std::move(storage)) {}
  void describeInto(std::string& out, int indent) const;

  Storage storage_;
};

// Convenience for handlers: the string under key, or nullptr when absent or not a string.
const std::string* stringForKey(const Value& dictionary, std::string_view key);

}  // namespace trovadex::foundation
