#include "foundation/property_list.hpp"

#include <plist/plist.h>

#include <cmath>
#include <cstdlib>
#include <cstring>
#include <limits>
#include <memory>
#include <optional>

namespace trovadex::foundation {
namespace {

// Deeper nesting than this is refused both ways, so that hostile input cannot exhaust the stack.
constexpr int kMaximumDepth = 512;

struct PlistDeleter {
  void operator()(void* node) const { plist_free(static_cast<plist_t>(node)); }
};
using PlistPtr = std::unique_ptr<void, PlistDeleter>;  // a root owns its whole tree

struct MallocDeleter {
  void operator()(void* memory) const { std::free(memory); }
};

Error codingError(std::string message) {
  return Error{std::string(kPropertyListErrorDomain), kPropertyListEncodingError,
               std::move(message)};
}

Error readingError(std::string message) {
  return Error{std::string(kPropertyListErrorDomain), kPropertyListDecodingError,
               std::move(message)};
}

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

// libplist turns malformed UTF-8 into other text in binary, so such strings are refused.
bool isValidUtf8(std::string_view text) {
  for (std::size_t i = 0; i < text.size();) {
    const auto lead = static_cast<unsigned char>(text[i]);
    std::size_t length = 0;
    std::uint32_t cp = 0;
    if (lead < 0x80) {
      ++i;
      continue;
    } else if (lead >= 0xC2 && lead <= 0xDF) {
      length = 2;
      cp = lead & 0x1Fu;
    } else if (lead >= 0xE0 && lead <= 0xEF) {
      length = 3;
      cp = lead & 0x0Fu;
    } else if (lead >= 0xF0 && lead <= 0xF4) {
      length = 4;
      cp = lead & 0x07u;
    } else {
      return false;
    }
    if (i + length > text.size()) return false;
    for (std::size_t k = 1; k < length; ++k) {
      const auto next = static_cast<unsigned char>(text[i + k]);
      if ((next & 0xC0) != 0x80) return false;
      cp = (cp << 6) | (next & 0x3Fu);
    }
    if ((length == 3 && (cp < 0x800 || (cp >= 0xD800 && cp <= 0xDFFF))) ||
        (length == 4 && (cp < 0x10000 || cp > 0x10FFFF))) {
      return false;
    }
    i += length;
  }
  return true;
}

std::optional<Error> checkText(const std::string& text, const char* what) {
  if (text.find('\0') != std::string::npos) {
    return codingError(std::string("A ") + what + " with a NUL character cannot be encoded.");
  }
  if (!isValidUtf8(text)) {
    return codingError(std::string("A ") + what + " that is not valid UTF-8 cannot be encoded.");
  }
  return std::nullopt;
}

// libplist 2.2 aborts the process (a failed assert in plist_get_key_val) when a binary property
// list has a dictionary key with a NUL character, and it cuts string values short at one. Before
// libplist sees binary input, every string object is checked for NUL characters; the walk also
// refuses a trailer or offset table that points outside the data, which libplist would refuse too.
// Returns an error message, or an empty string when the input may go to libplist.
std::string checkBinaryStrings(std::string_view bytes) {
  const auto byteAt = [&](std::size_t at) { return static_cast<unsigned char>(bytes[at]); };
  const auto bigEndian = [&](std::size_t at, std::size_t width) {
    std::uint64_t number = 0;
    for (std::size_t i = 0; i < width; ++i) number = (number << 8) | byteAt(at + i);
    return number;
  };
  constexpr std::size_t kHeader = 8;
  constexpr std::size_t kTrailer = 32;
  if (bytes.size() < kHeader + kTrailer) return "The binary property list is truncated.";
  const std::size_t trailer = bytes.size() - kTrailer;
  const std::size_t offsetSize = byteAt(trailer + 6);
  const std::uint64_t objectCount = bigEndian(trailer + 8, 8);
  const std::uint64_t tableOffset = bigEndian(trailer + 24, 8);
  if (offsetSize < 1 || offsetSize > 8 || tableOffset < kHeader || tableOffset > trailer ||
      objectCount > (trailer - tableOffset) / offsetSize) {
    return "The binary property list has a damaged trailer.";
  }
  for (std::uint64_t object = 0; object < objectCount; ++object) {
    const std::uint64_t offset = bigEndian(tableOffset + object * offsetSize, offsetSize);
    if (offset < kHeader || offset >= tableOffset)
      return "The binary property list has a damaged offset table.";
    const unsigned marker = byteAt(offset);
    const unsigned kind = marker >> 4;
    if (kind != 0x5 && kind != 0x6) continue;  // ASCII and UTF-16 strings only
    std::uint64_t length = marker & 0x0F;
    std::uint64_t start = offset + 1;
    if (length == 0x0F) {
      if (start >= tableOffset || (byteAt(start) >> 4) != 0x1 || (byteAt(start) & 0x0F) > 3) {
        return "The binary property list has a damaged string length.";
      }
      const std::size_t width = std::size_t{1} << (byteAt(start) & 0x0F);
      if (start + 1 + width > tableOffset)
        return "The binary property list has a damaged string length.";
      length = bigEndian(start + 1, width);
      start += 1 + width;
    }
    const std::uint64_t unitSize = kind == 0x6 ? 2 : 1;
    if (length > (tableOffset - start) / unitSize)
      return "The binary property list has a string that runs past its end.";
    for (std::uint64_t unit = 0; unit < length; ++unit) {
      const std::uint64_t at = start + unit * unitSize;
      if (byteAt(at) == 0 && (unitSize == 1 || byteAt(at + 1) == 0)) {
        return "The binary property list has a string with a NUL character, which cannot be read.";
      }
    }
  }
  return {};
}

// XML dates: whole seconds (rounded down), and only years 1000 to 9999, which the XML writer
// prints as four digits.
constexpr double kXmlEarliestDate = -30610224000.0 - kReferenceDateUnixOffset;  // 1000-01-01
constexpr double kXmlLatestDate = 253402300799.0 - kReferenceDateUnixOffset;  // 9999-12-31 23:59:59

// ---- encoding ----

Result<PlistPtr> toPlist(const Value& value, PropertyListFormat format, int depth) {
  if (depth > kMaximumDepth) return codingError("The value is nested too deeply to encode.");
  switch (value.kind()) {
    case Value::Kind::Nil:
      return codingError("A nil value cannot be encoded as a property list.");
    case Value::Kind::String: {
      const std::string& text = *value.asString();
      if (auto error = checkText(text, "string")) return *error;
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
      if (format == PropertyListFormat::Xml) {
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
      // plist_new_date when its int32 seconds and microseconds rebuild the value exactly (it
      // computes sec + usec / 1e6), otherwise a node that holds the exact double.
      const double whole = std::floor(seconds);
      const double micro = std::round((seconds - whole) * 1e6);
      if (whole >= std::numeric_limits<std::int32_t>::min() &&
          whole <= std::numeric_limits<std::int32_t>::max() && micro < 1e6 &&
          whole + micro / 1000000 == seconds) {
        return PlistPtr(
            plist_new_date(static_cast<std::int32_t>(whole), static_cast<std::int32_t>(micro)));
      }
      PlistPtr exact = exactDateNode(seconds);
      if (!exact)
        return codingError("libplist could not make the date " + value.asDate()->description() +
                           ".");
      return exact;
    }
    case Value::Kind::Data: {
      const Value::Bytes& bytes = *value.asData();
      return PlistPtr(plist_new_data(reinterpret_cast<const char*>(bytes.data()), bytes.size()));
    }
    case Value::Kind::Array: {
      PlistPtr array(plist_new_array());
      for (const Value& element : *value.asArray()) {
        Result<PlistPtr> item = toPlist(element, format, depth + 1);
        if (!item) return item.error();
        plist_array_append_item(array.get(), std::move(item).value().release());  // array owns it
      }
      return array;
    }
    case Value::Kind::Dictionary: {
      PlistPtr dictionary(plist_new_dict());
      for (const auto& [key, element] : *value.asDictionary()) {
        if (auto error = checkText(key, "dictionary key")) return *error;
        Result<PlistPtr> item = toPlist(element, format, depth + 1);
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
      return Value(std::string(text != nullptr ? text : ""));
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
  Result<PlistPtr> root = toPlist(value, format, 0);
  if (!root) return root.error();
  char* buffer = nullptr;  // must be null on entry: plist_to_bin does nothing otherwise
  std::uint32_t length = 0;
  if (format == PropertyListFormat::Binary) {
    plist_to_bin(root.value().get(), &buffer, &length);
    if (buffer == nullptr) return codingError("libplist could not write the binary property list.");
    std::string out(buffer, length);
    plist_to_bin_free(buffer);
    return out;
  }
  plist_to_xml(root.value().get(), &buffer, &length);
  if (buffer == nullptr) return codingError("libplist could not write the XML property list.");
  std::string out(buffer, length);
  plist_to_xml_free(buffer);
  return out;
}

Result<Value> decodePropertyList(std::string_view bytes) {
  if (bytes.empty()) return readingError("The data is empty, not a property list.");
  if (bytes.size() > std::numeric_limits<std::uint32_t>::max()) {
    return readingError("The data is too large to be read as a property list.");
  }
  if (plist_is_binary(bytes.data(), static_cast<std::uint32_t>(bytes.size()))) {
    const std::string problem = checkBinaryStrings(bytes);
    if (!problem.empty()) return readingError(problem);
  }
  plist_t raw = nullptr;  // must be null on entry: the readers leave it alone on failure
  plist_from_memory(bytes.data(), static_cast<std::uint32_t>(bytes.size()), &raw);
  PlistPtr root(raw);
  if (root == nullptr) return readingError("The data is not a valid binary or XML property list.");
  return fromPlist(root.get(), 0);
}

}  // namespace trovadex::foundation
