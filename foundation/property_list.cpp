#include "foundation/property_list.hpp"

#include <plist/plist.h>

#include <cmath>
#include <cstdlib>
#include <cstring>
#include <limits>
#include <memory>
#include <optional>

#include "foundation/binary_property_list.hpp"
#include "foundation/property_list_text.hpp"

namespace trovadex::foundation {
namespace {

constexpr int kMaximumDepth = kPropertyListMaximumDepth;

struct PlistDeleter {
  void operator()(void* node) const { plist_free(static_cast<plist_t>(node)); }
};
using PlistPtr = std::unique_ptr<void, PlistDeleter>;  // a root owns its whole tree

struct MallocDeleter {
  void operator()(void* memory) const { std::free(memory); }
};

Error codingError(std::string message) { return propertyListEncodingError(std::move(message)); }

Error readingError(std::string message) { return propertyListDecodingError(std::move(message)); }

constexpr std::int64_t kInt64Max = std::numeric_limits<std::int64_t>::max();

// ---- libplist 2.2 work-arounds ----
//
// libplist 2.2 keeps a date as a double (seconds since 2001) but its API takes and gives only
// int32 seconds plus microseconds, and its getter drops the sign of the microseconds and casts
// out-of-range seconds. Its integers carry a hidden width: 8 bytes (signed in both formats) or
// 16 bytes (only made by its readers, for values above INT64_MAX). The helpers below reach the
// exact values through libplist's own readers and writers, so nothing depends on its internals.

// A date node holding exactly `seconds`, made by reading a one-object binary property list.
PlistPtr exactDateNode(double seconds) {
  std::uint64_t bits = 0;
  std::memcpy(&bits, &seconds, sizeof bits);
  unsigned char bytes[8 + 9 + 1 + 32] = {'b', 'p', 'l', 'i', 's', 't', '0', '0', 0x33};
  for (int i = 0; i < 8; ++i) bytes[9 + i] = static_cast<unsigned char>(bits >> (56 - 8 * i));
  bytes[17] = 8;  // offset table: the only object starts at byte 8
  unsigned char* trailer = bytes + 18;
  trailer[6] = 1;    // offset size
  trailer[7] = 1;    // object reference size
  trailer[15] = 1;   // one object
  trailer[31] = 17;  // the offset table starts at byte 17 (top object 0)
  plist_t node = nullptr;
  plist_from_bin(reinterpret_cast<const char*>(bytes), sizeof bytes, &node);
  return PlistPtr(node);
}

// The exact seconds of a date node, read back from its binary form.
double exactDateSeconds(plist_t node) {
  std::int32_t seconds = 0;
  std::int32_t micro = 0;
  plist_get_date_val(node, &seconds, &micro);
  // The common case, whole or simple positive fractions: the getter's pair rebuilds the value.
  PlistPtr candidate(plist_new_date(seconds, micro));
  if (candidate && plist_compare_node_value(node, candidate.get())) {
    return static_cast<double>(seconds) + static_cast<double>(micro) / 1000000;
  }
  PlistPtr copy(plist_copy(node));
  char* buffer = nullptr;
  std::uint32_t length = 0;
  if (copy) plist_to_bin(copy.get(), &buffer, &length);
  std::unique_ptr<char, MallocDeleter> owner(buffer);
  if (buffer == nullptr || length < 17 || static_cast<unsigned char>(buffer[8]) != 0x33) {
    return static_cast<double>(seconds) + static_cast<double>(micro) / 1000000;
  }
  std::uint64_t bits = 0;
  for (int i = 0; i < 8; ++i) bits = (bits << 8) | static_cast<unsigned char>(buffer[9 + i]);
  double exact = 0;
  std::memcpy(&exact, &bits, sizeof exact);
  return exact;
}

// An integer node of 16 bytes for a value above INT64_MAX, which both writers then keep unsigned
// (plist_new_uint makes 8-byte nodes that are written as negative numbers).
PlistPtr wideIntegerNode(std::uint64_t number) {
  const std::string xml =
      "<plist version=\"1.0\"><integer>" + std::to_string(number) + "</integer></plist>";
  plist_t node = nullptr;
  plist_from_xml(xml.data(), static_cast<std::uint32_t>(xml.size()), &node);
  return PlistPtr(node);
}

// Whether an integer node whose bit pattern is above INT64_MAX is a 16-byte (unsigned) integer
// rather than an 8-byte negative one: the XML writer prints the first without a sign.
bool isWideInteger(plist_t node) {
  PlistPtr copy(plist_copy(node));
  char* buffer = nullptr;
  std::uint32_t length = 0;
  if (copy) plist_to_xml(copy.get(), &buffer, &length);
  std::unique_ptr<char, MallocDeleter> owner(buffer);
  if (buffer == nullptr) return false;
  return std::string_view(buffer, length).find("<integer>-") == std::string_view::npos;
}

// XML dates: whole seconds (rounded down), and only years 1000 to 9999, which the XML writer
// prints as four digits.
constexpr double kXmlEarliestDate = -30610224000.0 - kReferenceDateUnixOffset;  // 1000-01-01
constexpr double kXmlLatestDate = 253402300799.0 - kReferenceDateUnixOffset;  // 9999-12-31 23:59:59

// ---- encoding ----

// The XML writer's node tree for a value.
Result<PlistPtr> toPlist(const Value& value, int depth) {
  if (depth > kMaximumDepth) return codingError("The value is nested too deeply to encode.");
  switch (value.kind()) {
    case Value::Kind::Nil:
      return codingError("A nil value cannot be encoded as a property list.");
    case Value::Kind::String: {
      const std::string& text = *value.asString();
      if (auto error = checkPropertyListText(text, "string")) return *error;
      return PlistPtr(plist_new_string(text.c_str()));
    }
    case Value::Kind::Bool:
      return PlistPtr(plist_new_bool(value.boolValue() ? 1 : 0));
    case Value::Kind::Integer:
      // The formats hold signed 64-bit integers; libplist takes their bit pattern.
      return PlistPtr(plist_new_uint(static_cast<std::uint64_t>(value.integerValue())));
    case Value::Kind::Unsigned: {
      const std::uint64_t number = value.unsignedLongLongValue();
      if (number <= static_cast<std::uint64_t>(kInt64Max)) return PlistPtr(plist_new_uint(number));
      PlistPtr wide = wideIntegerNode(number);
      if (!wide)
        return codingError("libplist could not make the integer " + std::to_string(number) + ".");
      return wide;
    }
    case Value::Kind::Real:
      return PlistPtr(plist_new_real(value.doubleValue()));
    case Value::Kind::Date: {
      const double seconds = value.asDate()->timeIntervalSinceReferenceDate();
      if (!std::isfinite(seconds))
        return codingError("A date that is not finite cannot be encoded.");
      // XML keeps whole seconds of the years 1000 to 9999.
      const double whole = std::floor(seconds);
      if (whole < kXmlEarliestDate || whole > kXmlLatestDate) {
        return codingError("The date " + value.asDate()->description() +
                           " is outside the years 1000 to 9999 that an XML property list holds.");
      }
      PlistPtr node = exactDateNode(whole);
      if (!node)
        return codingError("libplist could not make the date " + value.asDate()->description() +
                           ".");
      return node;
    }
    case Value::Kind::Data: {
      const Value::Bytes& bytes = *value.asData();
      return PlistPtr(plist_new_data(reinterpret_cast<const char*>(bytes.data()), bytes.size()));
    }
    case Value::Kind::Array: {
      PlistPtr array(plist_new_array());
      for (const Value& element : *value.asArray()) {
        Result<PlistPtr> item = toPlist(element, depth + 1);
        if (!item) return item.error();
        plist_array_append_item(array.get(), std::move(item).value().release());  // array owns it
      }
      return array;
    }
    case Value::Kind::Dictionary: {
      PlistPtr dictionary(plist_new_dict());
      for (const auto& [key, element] : *value.asDictionary()) {
        if (auto error = checkPropertyListText(key, "dictionary key")) return *error;
        Result<PlistPtr> item = toPlist(element, depth + 1);
        if (!item) return item.error();
        plist_dict_set_item(dictionary.get(), key.c_str(), std::move(item).value().release());
      }
      return dictionary;
    }
  }
  return codingError("Unknown value kind.");
}

// ---- decoding ----

Result<Value> fromPlist(plist_t node, int depth) {
  if (depth > kMaximumDepth) return readingError("The property list is nested too deeply.");
  switch (plist_get_node_type(node)) {
    case PLIST_BOOLEAN: {
      std::uint8_t flag = 0;
      plist_get_bool_val(node, &flag);
      return Value::boolean(flag != 0);
    }
    case PLIST_UINT: {
      std::uint64_t number = 0;
      plist_get_uint_val(node, &number);
      // Both formats store signed integers; only a 16-byte integer above INT64_MAX is unsigned.
      if (number > static_cast<std::uint64_t>(kInt64Max) && isWideInteger(node)) {
        return Value::unsignedInteger(number);
      }
      return Value::integer(static_cast<std::int64_t>(number));
    }
    case PLIST_REAL: {
      double number = 0;
      plist_get_real_val(node, &number);
      return Value::real(number);
    }
    case PLIST_STRING:
    case PLIST_KEY: {
      std::uint64_t length = 0;
      const char* text = plist_get_string_ptr(node, &length);
      std::string decoded(text != nullptr ? text : "");
      // libplist's XML reader passes bytes through as they stand; text that is not UTF-8 could
      // be read but never written again, so it is refused here, as the binary reader does.
      if (!isValidUtf8(decoded)) {
        return readingError("The property list has a string that is not valid UTF-8.");
      }
      return Value(std::move(decoded));
    }
    case PLIST_DATE: {
      return Value(Date::withTimeIntervalSinceReferenceDate(exactDateSeconds(node)));
    }
    case PLIST_DATA: {
      std::uint64_t length = 0;
      const char* bytes = plist_get_data_ptr(node, &length);
      const auto* begin = reinterpret_cast<const std::uint8_t*>(bytes);
      return Value::data(bytes != nullptr ? Value::Bytes(begin, begin + length) : Value::Bytes());
    }
    case PLIST_ARRAY: {
      Value::Array elements;
      const std::uint32_t size = plist_array_get_size(node);
      elements.reserve(size);
      for (std::uint32_t i = 0; i < size; ++i) {
        plist_t item = plist_array_get_item(node, i);
        if (item == nullptr) return readingError("The property list has a missing array element.");
        Result<Value> element = fromPlist(item, depth + 1);
        if (!element) return element;
        elements.push_back(std::move(element).value());
      }
      return Value(std::move(elements));
    }
    case PLIST_DICT: {
      Value::Dictionary entries;
      plist_dict_iter iterator = nullptr;
      plist_dict_new_iter(node, &iterator);
      std::unique_ptr<void, MallocDeleter> iteratorOwner(iterator);
      while (iterator != nullptr) {
        char* rawKey = nullptr;
        plist_t item = nullptr;
        plist_dict_next_item(node, iterator, &rawKey, &item);
        std::unique_ptr<char, MallocDeleter> key(rawKey);
        if (item == nullptr || key == nullptr) break;
        if (!isValidUtf8(key.get())) {
          return readingError("The property list has a dictionary key that is not valid UTF-8.");
        }
        Result<Value> element = fromPlist(item, depth + 1);
        if (!element) return element;
        entries.emplace(key.get(), std::move(element).value());
      }
      return Value(std::move(entries));
    }
    case PLIST_UID: {
      // A keyed-archiver reference, shown the way its XML form is commonly read.
      std::uint64_t uid = 0;
      plist_get_uid_val(node, &uid);
      return Value(Value::Dictionary{{"CF$UID", Value::unsignedInteger(uid)}});
    }
    default:
      return readingError("The property list holds a node of an unknown type.");
  }
}

}  // namespace

Result<std::string> encodePropertyList(const Value& value, PropertyListFormat format) {
  if (format == PropertyListFormat::Binary) return encodeBinaryPropertyList(value);
  Result<PlistPtr> root = toPlist(value, 0);
  if (!root) return root.error();
  char* buffer = nullptr;
  std::uint32_t length = 0;
  plist_to_xml(root.value().get(), &buffer, &length);
  if (buffer == nullptr) return codingError("libplist could not write the XML property list.");
  std::string out(buffer, length);
  plist_to_xml_free(buffer);
  return out;
}

Result<Value> decodePropertyList(std::string_view bytes) {
  if (bytes.empty()) return readingError("The data is empty, not a property list.");
  // The binary form never reaches libplist, which aborts on some damaged binary input.
  if (isBinaryPropertyList(bytes)) return decodeBinaryPropertyList(bytes);
  if (bytes.size() > std::numeric_limits<std::uint32_t>::max()) {
    return readingError("The data is too large to be read as a property list.");
  }
  plist_t raw = nullptr;  // must be null on entry: the readers leave it alone on failure
  plist_from_xml(bytes.data(), static_cast<std::uint32_t>(bytes.size()), &raw);
  PlistPtr root(raw);
  if (root == nullptr) return readingError("The data is not a valid binary or XML property list.");
  return fromPlist(root.get(), 0);
}

}  // namespace trovadex::foundation
