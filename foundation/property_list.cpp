#include "foundation/property_list.hpp"

#include <plist/plist.h>

#include <cmath>
#include <cstdlib>
#include <cstring>
#include <limits>
#include <memory>

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
  return Error{std::string(kPropertyListErrorDomain), 1, std::move(message)};
}

constexpr std::int64_t kInt64Max = std::numeric_limits<std::int64_t>::max();

// ---- encoding ----

Result<PlistPtr> toPlist(const Value& value, int depth) {
  if (depth > kMaximumDepth) return codingError("The value is nested too deeply to encode.");
  switch (value.kind()) {
    case Value::Kind::Nil:
      return codingError("A nil value cannot be encoded as a property list.");
    case Value::Kind::String: {
      const std::string& text = *value.asString();
      if (text.find('\0') != std::string::npos) {
        return codingError("A string with a NUL character cannot be encoded as a property list.");
      }
      return PlistPtr(plist_new_string(text.c_str()));
    }
    case Value::Kind::Bool:
      return PlistPtr(plist_new_bool(value.boolValue() ? 1 : 0));
    case Value::Kind::Integer:
      // The formats hold signed 64-bit integers; libplist takes their bit pattern.
      return PlistPtr(plist_new_uint(static_cast<std::uint64_t>(value.integerValue())));
    case Value::Kind::Unsigned: {
      const std::uint64_t number = value.unsignedLongLongValue();
      if (number > static_cast<std::uint64_t>(kInt64Max)) {
        return codingError("An unsigned integer above 9223372036854775807 cannot be encoded.");
      }
      return PlistPtr(plist_new_uint(number));
    }
    case Value::Kind::Real:
      return PlistPtr(plist_new_real(value.doubleValue()));
    case Value::Kind::Date: {
      const double seconds = value.asDate()->timeIntervalSinceReferenceDate();
      double whole = std::floor(seconds);
      double micro = std::round((seconds - whole) * 1e6);
      if (micro >= 1e6) {
        whole += 1;
        micro = 0;
      }
      if (!std::isfinite(seconds) || whole < std::numeric_limits<std::int32_t>::min() ||
          whole > std::numeric_limits<std::int32_t>::max()) {
        return codingError("The date " + value.asDate()->description() +
                           " is outside the range a property list can hold here (1933-2069).");
      }
      return PlistPtr(plist_new_date(static_cast<std::int32_t>(whole), static_cast<std::int32_t>(micro)));
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
        if (key.find('\0') != std::string::npos) {
          return codingError("A key with a NUL character cannot be encoded as a property list.");
        }
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
  if (depth > kMaximumDepth) return codingError("The property list is nested too deeply.");
  switch (plist_get_node_type(node)) {
    case PLIST_BOOLEAN: {
      std::uint8_t flag = 0;
      plist_get_bool_val(node, &flag);
      return Value::boolean(flag != 0);
    }
    case PLIST_UINT: {
      std::uint64_t number = 0;
      plist_get_uint_val(node, &number);
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
      std::int32_t seconds = 0;
      std::int32_t micro = 0;
      plist_get_date_val(node, &seconds, &micro);
      return Value(Date::withTimeIntervalSinceReferenceDate(static_cast<double>(seconds) +
                                                            static_cast<double>(micro) / 1e6));
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
        if (item == nullptr) return codingError("The property list has a missing array element.");
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
      return codingError("The property list holds a node of an unknown type.");
  }
}

}  // namespace

Result<std::string> encodePropertyList(const Value& value, PropertyListFormat format) {
  Result<PlistPtr> root = toPlist(value, 0);
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
  if (bytes.empty()) return codingError("The data is empty, not a property list.");
  if (bytes.size() > std::numeric_limits<std::uint32_t>::max()) {
    return codingError("The data is too large to be read as a property list.");
  }
  plist_t raw = nullptr;  // must be null on entry: the readers leave it alone on failure
  plist_from_memory(bytes.data(), static_cast<std::uint32_t>(bytes.size()), &raw);
  PlistPtr root(raw);
  if (root == nullptr) return codingError("The data is not a valid binary or XML property list.");
  return fromPlist(root.get(), 0);
}

}  // namespace trovadex::foundation
