#include "foundation/value.hpp"

#include <locale.h>
#include <charconv>
#include <clocale>
#include <cmath>
#include <cstdlib>
#include <limits>

namespace trovadex::foundation {
namespace {

constexpr std::int64_t kInt64Max = std::numeric_limits<std::int64_t>::max();
constexpr std::int64_t kInt64Min = std::numeric_limits<std::int64_t>::min();
constexpr std::uint64_t kUInt64Max = std::numeric_limits<std::uint64_t>::max();
// 2^63 and 2^64 as doubles (both exact).
constexpr double kTwoTo63 = 9223372036854775808.0;
constexpr double kTwoTo64 = 18446744073709551616.0;

const Value& nilValue() {
  static const Value nil;
  return nil;
}

bool isBlank(char c) {
  return c == ' ' || c == '\t' || c == '\n' || c == '\r' || c == '\v' || c == '\f';
}

std::size_t skipBlanks(std::string_view text, std::size_t i = 0) {
  while (i < text.size() && isBlank(text[i])) ++i;
  return i;
}

// The platform's boolValue of a string.
bool stringBool(std::string_view text) {
  std::size_t i = skipBlanks(text);
  if (i == text.size()) return false;
  const char first = text[i];
  if (first == 'Y' || first == 'y' || first == 'T' || first == 't') return true;
  if (first == '+' || first == '-') ++i;
  while (i < text.size() && text[i] == '0') ++i;
  return i < text.size() && text[i] >= '1' && text[i] <= '9';
}

// Optional blanks, optional sign, decimal digits; stops at the first non-digit. The magnitude
// saturates at UINT64_MAX; `negative` tells the sign.
struct ParsedInteger {
  bool negative = false;
  std::uint64_t magnitude = 0;
};

ParsedInteger parseInteger(std::string_view text) {
  ParsedInteger parsed;
  std::size_t i = skipBlanks(text);
  if (i < text.size() && (text[i] == '+' || text[i] == '-')) {
    parsed.negative = text[i] == '-';
    ++i;
  }
  for (; i < text.size() && text[i] >= '0' && text[i] <= '9'; ++i) {
    const auto digit = static_cast<std::uint64_t>(text[i] - '0');
    parsed.magnitude =
        parsed.magnitude > (kUInt64Max - digit) / 10 ? kUInt64Max : parsed.magnitude * 10 + digit;
  }
  return parsed;
}

std::int64_t stringInteger(std::string_view text) {
  const ParsedInteger parsed = parseInteger(text);
  if (parsed.negative) {
    if (parsed.magnitude >= static_cast<std::uint64_t>(kInt64Max) + 1) return kInt64Min;
    return -static_cast<std::int64_t>(parsed.magnitude);
  }
  if (parsed.magnitude > static_cast<std::uint64_t>(kInt64Max)) return kInt64Max;
  return static_cast<std::int64_t>(parsed.magnitude);
}

std::uint64_t stringUnsigned(std::string_view text) {
  const ParsedInteger parsed = parseInteger(text);
  if (parsed.negative) {
    // As an Integer would read: the signed value (clamped at INT64_MIN) in two's complement.
    if (parsed.magnitude >= static_cast<std::uint64_t>(kInt64Max) + 1) {
      return static_cast<std::uint64_t>(kInt64Min);
    }
    return static_cast<std::uint64_t>(-static_cast<std::int64_t>(parsed.magnitude));
  }
  return parsed.magnitude;
}

double stringDouble(std::string_view text) {
  std::size_t start = skipBlanks(text);
  // from_chars takes a '-' but no '+'; "+-1" reads as nothing, as strtod has it.
  if (start < text.size() && text[start] == '+') {
    ++start;
    if (start < text.size() && text[start] == '-') return 0;
  }
  const bool negative = start < text.size() && text[start] == '-';
  double result = 0;
  const char* first = text.data() + start;
  const char* last = text.data() + text.size();
  const auto [end, error] = std::from_chars(first, last, result, std::chars_format::general);
  if (error == std::errc::result_out_of_range) {
    // from_chars leaves the result alone when out of range; strtod in the C locale tells an
    // overflow (HUGE_VAL) from an underflow (a tiny number or zero).
    static const locale_t cLocale = newlocale(LC_ALL_MASK, "C", static_cast<locale_t>(nullptr));
    const std::string copy(first, end);
    if (cLocale != static_cast<locale_t>(nullptr)) return strtod_l(copy.c_str(), nullptr, cLocale);
    return negative ? -HUGE_VAL : HUGE_VAL;
  }
  if (error != std::errc()) return 0;
  return result;
}

// Real to int64: truncation toward zero, clamped at the int64 range; NaN reads as 0.
std::int64_t realToInteger(double number) {
  if (std::isnan(number)) return 0;
  if (number >= kTwoTo63) return kInt64Max;
  if (number < -kTwoTo63) return kInt64Min;
  return static_cast<std::int64_t>(number);
}

std::uint64_t realToUnsigned(double number) {
  if (std::isnan(number)) return 0;
  if (number >= kTwoTo64) return kUInt64Max;
  if (number > -1.0 && number < kTwoTo64) {
    return number <= 0 ? 0 : static_cast<std::uint64_t>(number);
  }
  return static_cast<std::uint64_t>(realToInteger(number));
}

// Exact comparisons between the three numeric representations.
bool equalSignedUnsigned(std::int64_t a, std::uint64_t b) {
  return a >= 0 && static_cast<std::uint64_t>(a) == b;
}

bool equalRealSigned(double a, std::int64_t b) {
  if (!(a >= -kTwoTo63 && a < kTwoTo63) || std::trunc(a) != a) return false;
  return static_cast<std::int64_t>(a) == b;
}

bool equalRealUnsigned(double a, std::uint64_t b) {
  if (!(a >= 0 && a < kTwoTo64) || std::trunc(a) != a) return false;
  return static_cast<std::uint64_t>(a) == b;
}

// A number in one of three representations.
struct Number {
  enum class Form { Signed, Unsigned, Real } form;
  std::int64_t signedValue = 0;
  std::uint64_t unsignedValue = 0;
  double realValue = 0;
};

bool equalNumbers(const Number& a, const Number& b) {
  using Form = Number::Form;
  switch (a.form) {
    case Form::Signed:
      switch (b.form) {
        case Form::Signed:
          return a.signedValue == b.signedValue;
        case Form::Unsigned:
          return equalSignedUnsigned(a.signedValue, b.unsignedValue);
        case Form::Real:
          return equalRealSigned(b.realValue, a.signedValue);
      }
      break;
    case Form::Unsigned:
      switch (b.form) {
        case Form::Signed:
          return equalSignedUnsigned(b.signedValue, a.unsignedValue);
        case Form::Unsigned:
          return a.unsignedValue == b.unsignedValue;
        case Form::Real:
          return equalRealUnsigned(b.realValue, a.unsignedValue);
      }
      break;
    case Form::Real:
      switch (b.form) {
        case Form::Signed:
          return equalRealSigned(a.realValue, b.signedValue);
        case Form::Unsigned:
          return equalRealUnsigned(a.realValue, b.unsignedValue);
        // NaN equals NaN, so that a value always equals itself (as CFNumber compares).
        case Form::Real:
          return a.realValue == b.realValue || (std::isnan(a.realValue) && std::isnan(b.realValue));
      }
      break;
  }
  return false;
}

void appendSpaces(std::string& out, int indent) {
  out.append(static_cast<std::size_t>(indent) * 4, ' ');
}

// Strings inside containers are quoted unless they consist only of [A-Za-z0-9_$./:] (and are not
// empty). Inside the quotes, '"' and '\' are escaped with a backslash, newline, tab and carriage
// return print as \n \t \r, other control characters and every non-ASCII character print as
// \Uxxxx with lowercase hex UTF-16 code units, as the platform's old-style layout does.
bool needsQuotes(std::string_view text) {
  if (text.empty()) return true;
  for (const char c : text) {
    const bool plain = (c >= 'A' && c <= 'Z') || (c >= 'a' && c <= 'z') || (c >= '0' && c <= '9') ||
                       c == '_' || c == '$' || c == '.' || c == '/' || c == ':';
    if (!plain) return true;
  }
  return false;
}

void appendUnitEscape(std::string& out, std::uint32_t unit) {
  static constexpr char kHex[] = "0123456789abcdef";
  out += "\\U";
  for (int shift = 12; shift >= 0; shift -= 4) out += kHex[(unit >> shift) & 0xF];
}

// Decodes one UTF-8 code point at text[i]; advances i. Malformed input yields U+FFFD for one byte.
std::uint32_t decodeUtf8(std::string_view text, std::size_t& i) {
  const auto lead = static_cast<unsigned char>(text[i]);
  auto continuation = [&](std::size_t at) {
    return at < text.size() && (static_cast<unsigned char>(text[at]) & 0xC0) == 0x80;
  };
  auto bits = [&](std::size_t at) { return static_cast<std::uint32_t>(text[at]) & 0x3F; };
  if (lead < 0x80) {
    ++i;
    return lead;
  }
  if (lead >= 0xC2 && lead <= 0xDF && continuation(i + 1)) {
    const std::uint32_t cp = ((lead & 0x1Fu) << 6) | bits(i + 1);
    i += 2;
    return cp;
  }
  if (lead >= 0xE0 && lead <= 0xEF && continuation(i + 1) && continuation(i + 2)) {
    const std::uint32_t cp = ((lead & 0x0Fu) << 12) | (bits(i + 1) << 6) | bits(i + 2);
    if (cp >= 0x800 && (cp < 0xD800 || cp > 0xDFFF)) {
      i += 3;
      return cp;
    }
  }
  if (lead >= 0xF0 && lead <= 0xF4 && continuation(i + 1) && continuation(i + 2) &&
      continuation(i + 3)) {
    const std::uint32_t cp =
        ((lead & 0x07u) << 18) | (bits(i + 1) << 12) | (bits(i + 2) << 6) | bits(i + 3);
    if (cp >= 0x10000 && cp <= 0x10FFFF) {
      i += 4;
      return cp;
    }
  }
  ++i;
  return 0xFFFD;
}

void appendQuotedIfNeeded(std::string& out, std::string_view text) {
  if (!needsQuotes(text)) {
    out += text;
    return;
  }
  out += '"';
  for (std::size_t i = 0; i < text.size();) {
    const char c = text[i];
    if (c == '"' || c == '\\') {
      out += '\\';
      out += c;
      ++i;
    } else if (c == '\n') {
      out += "\\n";
      ++i;
    } else if (c == '\t') {
      out += "\\t";
      ++i;
    } else if (c == '\r') {
      out += "\\r";
      ++i;
    } else if (static_cast<unsigned char>(c) >= 0x20 && static_cast<unsigned char>(c) < 0x7F) {
      out += c;
      ++i;
    } else {
      const std::uint32_t cp = decodeUtf8(text, i);
      if (cp >= 0x10000) {
        appendUnitEscape(out, 0xD800 + ((cp - 0x10000) >> 10));
        appendUnitEscape(out, 0xDC00 + ((cp - 0x10000) & 0x3FF));
      } else {
        appendUnitEscape(out, cp);
      }
    }
  }
  out += '"';
}

std::string realDescription(double number) {
  if (std::isnan(number)) return "nan";
  if (std::isinf(number)) return number > 0 ? "inf" : "-inf";
  char buffer[64];
  const auto result = std::to_chars(buffer, buffer + sizeof buffer, number);
  return std::string(buffer, result.ptr);
}

}  // namespace

Value::Value(std::string text) : storage_(std::move(text)) {}
Value::Value(std::string_view text) : storage_(std::string(text)) {}
Value::Value(const char* text) {
  if (text != nullptr) storage_ = std::string(text);
}

Value::Value(Array elements) {
  std::erase_if(elements, [](const Value& element) { return element.isNil(); });
  storage_ = std::make_shared<const Array>(std::move(elements));
}

Value::Value(Dictionary entries) {
  std::erase_if(entries, [](const auto& entry) { return entry.second.isNil(); });
  storage_ = std::make_shared<const Dictionary>(std::move(entries));
}

Value::Value(Date date) : storage_(date) {}

Value Value::boolean(bool flag) { return Value(Storage(flag)); }
Value Value::integer(std::int64_t number) { return Value(Storage(number)); }
Value Value::unsignedInteger(std::uint64_t number) { return Value(Storage(number)); }
Value Value::real(double number) { return Value(Storage(number)); }
Value Value::data(Bytes bytes) {
  return Value(Storage(std::make_shared<const Bytes>(std::move(bytes))));
}

Value::Kind Value::kind() const {
  switch (storage_.index()) {
    case 1:
      return Kind::String;
    case 2:
      return Kind::Bool;
    case 3:
      return Kind::Integer;
    case 4:
      return Kind::Unsigned;
    case 5:
      return Kind::Real;
    case 6:
      return Kind::Date;
    case 7:
      return Kind::Data;
    case 8:
      return Kind::Array;
    case 9:
      return Kind::Dictionary;
    default:
      return Kind::Nil;
  }
}

bool Value::isNumber() const {
  const Kind k = kind();
  return k == Kind::Bool || k == Kind::Integer || k == Kind::Unsigned || k == Kind::Real;
}

const std::string* Value::asString() const { return std::get_if<std::string>(&storage_); }

const Value::Array* Value::asArray() const {
  const auto* shared = std::get_if<std::shared_ptr<const Array>>(&storage_);
  return shared != nullptr ? shared->get() : nullptr;
}

const Value::Dictionary* Value::asDictionary() const {
  const auto* shared = std::get_if<std::shared_ptr<const Dictionary>>(&storage_);
  return shared != nullptr ? shared->get() : nullptr;
}

const Value::Bytes* Value::asData() const {
  const auto* shared = std::get_if<std::shared_ptr<const Bytes>>(&storage_);
  return shared != nullptr ? shared->get() : nullptr;
}

const Date* Value::asDate() const { return std::get_if<Date>(&storage_); }

bool Value::boolValue() const {
  switch (kind()) {
    case Kind::Bool:
      return std::get<bool>(storage_);
    case Kind::Integer:
      return std::get<std::int64_t>(storage_) != 0;
    case Kind::Unsigned:
      return std::get<std::uint64_t>(storage_) != 0;
    case Kind::Real:
      return std::get<double>(storage_) != 0;  // NaN reads as true, "not zero"
    case Kind::String:
      return stringBool(std::get<std::string>(storage_));
    default:
      return false;
  }
}

std::int64_t Value::integerValue() const {
  switch (kind()) {
    case Kind::Bool:
      return std::get<bool>(storage_) ? 1 : 0;
    case Kind::Integer:
      return std::get<std::int64_t>(storage_);
    case Kind::Unsigned: {
      const std::uint64_t number = std::get<std::uint64_t>(storage_);
      return number > static_cast<std::uint64_t>(kInt64Max) ? kInt64Max
                                                            : static_cast<std::int64_t>(number);
    }
    case Kind::Real:
      return realToInteger(std::get<double>(storage_));
    case Kind::String:
      return stringInteger(std::get<std::string>(storage_));
    default:
      return 0;
  }
}

std::uint64_t Value::unsignedLongLongValue() const {
  switch (kind()) {
    case Kind::Bool:
      return std::get<bool>(storage_) ? 1 : 0;
    case Kind::Integer:
      return static_cast<std::uint64_t>(std::get<std::int64_t>(storage_));
    case Kind::Unsigned:
      return std::get<std::uint64_t>(storage_);
    case Kind::Real:
      return realToUnsigned(std::get<double>(storage_));
    case Kind::String:
      return stringUnsigned(std::get<std::string>(storage_));
    default:
      return 0;
  }
}

double Value::doubleValue() const {
  switch (kind()) {
    case Kind::Bool:
      return std::get<bool>(storage_) ? 1.0 : 0.0;
    case Kind::Integer:
      return static_cast<double>(std::get<std::int64_t>(storage_));
    case Kind::Unsigned:
      return static_cast<double>(std::get<std::uint64_t>(storage_));
    case Kind::Real:
      return std::get<double>(storage_);
    case Kind::String:
      return stringDouble(std::get<std::string>(storage_));
    default:
      return 0;
  }
}

const Value& Value::operator[](std::string_view key) const {
  const Dictionary* dictionary = asDictionary();
  if (dictionary == nullptr) return nilValue();
  const auto found = dictionary->find(key);
  return found == dictionary->end() ? nilValue() : found->second;
}

const Value& Value::at(std::size_t index) const {
  const Array* array = asArray();
  if (array == nullptr || index >= array->size()) return nilValue();
  return (*array)[index];
}

std::size_t Value::count() const {
  if (const Array* array = asArray()) return array->size();
  if (const Dictionary* dictionary = asDictionary()) return dictionary->size();
  if (const Bytes* bytes = asData()) return bytes->size();
  return 0;
}

bool Value::isEqual(const Value& other) const {
  if (isNumber() && other.isNumber()) {
    auto number = [](const Value& v) {
      Number n{Number::Form::Signed};
      switch (v.kind()) {
        case Kind::Bool:
          n.signedValue = std::get<bool>(v.storage_) ? 1 : 0;
          break;
        case Kind::Integer:
          n.signedValue = std::get<std::int64_t>(v.storage_);
          break;
        case Kind::Unsigned:
          n.form = Number::Form::Unsigned;
          n.unsignedValue = std::get<std::uint64_t>(v.storage_);
          break;
        default:
          n.form = Number::Form::Real;
          n.realValue = std::get<double>(v.storage_);
          break;
      }
      return n;
    };
    return equalNumbers(number(*this), number(other));
  }
  const Kind k = kind();
  if (k != other.kind()) return false;
  switch (k) {
    case Kind::Nil:
      return true;
    case Kind::String:
      return std::get<std::string>(storage_) == std::get<std::string>(other.storage_);
    case Kind::Date:
      return std::get<Date>(storage_) == std::get<Date>(other.storage_);
    case Kind::Data:
      return *asData() == *other.asData();
    case Kind::Array: {
      const Array& a = *asArray();
      const Array& b = *other.asArray();
      if (&a == &b) return true;
      if (a.size() != b.size()) return false;
      for (std::size_t i = 0; i < a.size(); ++i) {
        if (!a[i].isEqual(b[i])) return false;
      }
      return true;
    }
    case Kind::Dictionary: {
      const Dictionary& a = *asDictionary();
      const Dictionary& b = *other.asDictionary();
      if (&a == &b) return true;
      if (a.size() != b.size()) return false;
      for (auto i = a.begin(), j = b.begin(); i != a.end(); ++i, ++j) {
        if (i->first != j->first || !i->second.isEqual(j->second)) return false;
      }
      return true;
    }
    default:
      return false;
  }
}

std::string Value::description() const {
  std::string out;
  describeInto(out, 0);
  return out;
}

// `indent` is the nesting level. A container at level n > 0 starts with n * 4 blanks before its
// opening bracket, exactly as the platform lays out nested collections.
void Value::describeInto(std::string& out, int indent) const {
  switch (kind()) {
    case Kind::Nil:
      out += "(null)";
      return;
    case Kind::String:
      // Only elements of containers are described at a level above 0; they are quoted as needed.
      if (indent > 0) {
        appendQuotedIfNeeded(out, std::get<std::string>(storage_));
      } else {
        out += std::get<std::string>(storage_);
      }
      return;
    case Kind::Bool:
      out += std::get<bool>(storage_) ? '1' : '0';
      return;
    case Kind::Integer:
      out += std::to_string(std::get<std::int64_t>(storage_));
      return;
    case Kind::Unsigned:
      out += std::to_string(std::get<std::uint64_t>(storage_));
      return;
    case Kind::Real:
      out += realDescription(std::get<double>(storage_));
      return;
    case Kind::Date:
      if (indent > 0) {
        appendQuotedIfNeeded(out, std::get<Date>(storage_).description());
      } else {
        out += std::get<Date>(storage_).description();
      }
      return;
    case Kind::Data: {
      static constexpr char kHex[] = "0123456789abcdef";
      const Bytes& bytes = *asData();
      out += '<';
      for (std::size_t i = 0; i < bytes.size(); ++i) {
        if (i > 0 && i % 4 == 0) out += ' ';
        out += kHex[bytes[i] >> 4];
        out += kHex[bytes[i] & 0xF];
      }
      out += '>';
      return;
    }
    case Kind::Array: {
      const Array& array = *asArray();
      appendSpaces(out, indent);
      if (array.empty()) {
        out += "()";
        return;
      }
      out += "(\n";
      for (std::size_t i = 0; i < array.size(); ++i) {
        appendSpaces(out, indent + 1);
        array[i].describeInto(out, indent + 1);
        out += i + 1 < array.size() ? ",\n" : "\n";
      }
      appendSpaces(out, indent);
      out += ')';
      return;
    }
    case Kind::Dictionary: {
      const Dictionary& dictionary = *asDictionary();
      appendSpaces(out, indent);
      if (dictionary.empty()) {
        out += "{}";
        return;
      }
      out += "{\n";
      for (const auto& [key, value] : dictionary) {
        appendSpaces(out, indent + 1);
        appendQuotedIfNeeded(out, key);
        out += " = ";
        value.describeInto(out, indent + 1);
        out += ";\n";
      }
      appendSpaces(out, indent);
      out += '}';
      return;
    }
  }
}

const std::string* stringForKey(const Value& dictionary, std::string_view key) {
  return dictionary[key].asString();
}

}  // namespace trovadex::foundation
