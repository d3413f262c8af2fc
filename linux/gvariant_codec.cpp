#include "linux/gvariant_codec.hpp"

#include <string_view>

namespace trovadex::linux_platform {
namespace {

using foundation::Error;
using foundation::Result;
using foundation::Value;

// D-Bus strings are UTF-8 without NUL; anything else is repaired rather than refused, so that
// one odd byte in a subject line never loses a whole batch announcement.
GVariant* newString(const std::string& text) {
  if (g_utf8_validate_len(text.data(), text.size(), nullptr)) {
    return g_variant_new_string(text.c_str());
  }
  GCharPtr repaired(g_utf8_make_valid(text.data(), static_cast<gssize>(text.size())));
  return g_variant_new_string(repaired.get());
}

std::string keyForDecoding(GVariant* key) {
  gsize length = 0;
  const gchar* text = g_variant_get_string(key, &length);
  return std::string(text, length);
}

// Where a dropped part sat, for the problems list; a long key is shortened there.
std::string entryPath(const std::string& where, const std::string& key) {
  constexpr std::size_t kShownKeyLength = 60;
  if (key.size() <= kShownKeyLength) return where + "." + key;
  return where + "." + key.substr(0, kShownKeyLength) + "...";
}

class Encoder {
 public:
  // A floating reference, or null with error_ set.
  GVariant* encode(const Value& value, int depth) {
    switch (value.kind()) {
      case Value::Kind::Nil:
        return fail("nil has no bus form");
      case Value::Kind::String:
        return newString(*value.asString());
      case Value::Kind::Bool:
        return g_variant_new_boolean(value.boolValue());
      case Value::Kind::Integer:
        return g_variant_new_int64(value.integerValue());
      case Value::Kind::Unsigned:
        return g_variant_new_uint64(value.unsignedLongLongValue());
      case Value::Kind::Real:
        return g_variant_new_double(value.doubleValue());
      case Value::Kind::Date: {
        GVariant* seconds = g_variant_new_double(value.asDate()->unixTime());
        return g_variant_new_tuple(&seconds, 1);
      }
      case Value::Kind::Data: {
        const Value::Bytes& bytes = *value.asData();
        static const guint8 kNoBytes = 0;
        return g_variant_new_fixed_array(G_VARIANT_TYPE_BYTE,
                                         bytes.empty() ? &kNoBytes : bytes.data(), bytes.size(), 1);
      }
      case Value::Kind::Array:
        return encodeArray(*value.asArray(), depth + 1);
      case Value::Kind::Dictionary:
        return encodeDictionary(*value.asDictionary(), depth + 1);
    }
    return fail("unknown value kind");
  }

  GVariant* encodeArray(const Value::Array& elements, int depth) {
    if (depth > kMaximumEncodeDepth) return fail("containers nested too deeply");
    GVariantBuilder builder;
    g_variant_builder_init(&builder, G_VARIANT_TYPE("av"));
    for (const Value& element : elements) {
      GVariant* encoded = encode(element, depth);
      if (encoded == nullptr) {
        g_variant_builder_clear(&builder);
        return nullptr;
      }
      g_variant_builder_add_value(&builder, g_variant_new_variant(encoded));
    }
    return g_variant_builder_end(&builder);
  }

  GVariant* encodeDictionary(const Value::Dictionary& entries, int depth) {
    if (depth > kMaximumEncodeDepth) return fail("containers nested too deeply");
    GVariantBuilder builder;
    g_variant_builder_init(&builder, G_VARIANT_TYPE("a{sv}"));
    for (const auto& [key, entry] : entries) {
      GVariant* encoded = encode(entry, depth);
      if (encoded == nullptr) {
        g_variant_builder_clear(&builder);
        return nullptr;
      }
      g_variant_builder_add_value(
          &builder, g_variant_new_dict_entry(newString(key), g_variant_new_variant(encoded)));
    }
    return g_variant_builder_end(&builder);
  }

  const std::string& error() const { return error_; }

 private:
  GVariant* fail(const char* reason) {
    if (error_.empty()) error_ = reason;
    return nullptr;
  }
  std::string error_;
};

Result<GVariantPtr> finish(GVariant* floating, const Encoder& encoder) {
  if (floating == nullptr) {
    return Error{kBusCodingErrorDomain, 1, "Value cannot be sent on the bus: " + encoder.error()};
  }
  return adoptVariant(floating);
}

class Decoder {
 public:
  explicit Decoder(std::vector<std::string>& problems) : problems_(problems) {}

  Value decode(GVariant* variant, const std::string& where, int depth) {
    if (depth > kMaximumDecodeDepth) {
      return drop(where, "nested more than " + std::to_string(kMaximumDecodeDepth) + " deep");
    }
    switch (g_variant_classify(variant)) {
      case G_VARIANT_CLASS_BOOLEAN:
        return Value::boolean(g_variant_get_boolean(variant) != FALSE);
      case G_VARIANT_CLASS_BYTE:
        return Value::unsignedInteger(g_variant_get_byte(variant));
      case G_VARIANT_CLASS_UINT16:
        return Value::unsignedInteger(g_variant_get_uint16(variant));
      case G_VARIANT_CLASS_UINT32:
        return Value::unsignedInteger(g_variant_get_uint32(variant));
      case G_VARIANT_CLASS_UINT64:
        return Value::unsignedInteger(g_variant_get_uint64(variant));
      case G_VARIANT_CLASS_INT16:
        return Value::integer(g_variant_get_int16(variant));
      case G_VARIANT_CLASS_INT32:
        return Value::integer(g_variant_get_int32(variant));
      case G_VARIANT_CLASS_INT64:
        return Value::integer(g_variant_get_int64(variant));
      case G_VARIANT_CLASS_DOUBLE:
        return Value::real(g_variant_get_double(variant));
      case G_VARIANT_CLASS_STRING:
      case G_VARIANT_CLASS_OBJECT_PATH:
      case G_VARIANT_CLASS_SIGNATURE: {
        gsize length = 0;
        const gchar* text = g_variant_get_string(variant, &length);
        return Value(std::string(text, length));
      }
      case G_VARIANT_CLASS_VARIANT: {
        GVariantPtr content(g_variant_get_variant(variant));
        return decode(content.get(), where, depth + 1);
      }
      case G_VARIANT_CLASS_ARRAY:
        return decodeArray(variant, where, depth);
      case G_VARIANT_CLASS_TUPLE:
        if (g_variant_is_of_type(variant, G_VARIANT_TYPE("(d)"))) {
          double seconds = 0;
          g_variant_get(variant, "(d)", &seconds);
          return Value(foundation::Date::withUnixTime(seconds));
        }
        return drop(where, "a structure of type " + typeString(variant) + " is not a date (d)");
      case G_VARIANT_CLASS_HANDLE:
      case G_VARIANT_CLASS_MAYBE:
      case G_VARIANT_CLASS_DICT_ENTRY:
        break;
    }
    return drop(where, "type " + typeString(variant) + " has no property-list reading");
  }

 private:
  Value decodeArray(GVariant* array, const std::string& where, int depth) {
    if (g_variant_is_of_type(array, G_VARIANT_TYPE_BYTESTRING)) {
      gsize length = 0;
      const auto* bytes =
          static_cast<const std::uint8_t*>(g_variant_get_fixed_array(array, &length, 1));
      return Value::data(Value::Bytes(bytes, bytes + length));
    }
    const GVariantType* element = g_variant_type_element(g_variant_get_type(array));
    if (g_variant_type_is_dict_entry(element)) return decodeDictionary(array, where, depth);

    Value::Array elements;
    const gsize count = g_variant_n_children(array);
    elements.reserve(count);
    for (gsize i = 0; i < count; ++i) {
      GVariantPtr child(g_variant_get_child_value(array, i));
      Value decoded = decode(child.get(), where + "[" + std::to_string(i) + "]", depth + 1);
      if (!decoded.isNil()) elements.push_back(std::move(decoded));
    }
    return Value(std::move(elements));
  }

  Value decodeDictionary(GVariant* dictionary, const std::string& where, int depth) {
    const GVariantType* keyType =
        g_variant_type_key(g_variant_type_element(g_variant_get_type(dictionary)));
    const bool stringKeys = g_variant_type_equal(keyType, G_VARIANT_TYPE_STRING) ||
                            g_variant_type_equal(keyType, G_VARIANT_TYPE_OBJECT_PATH) ||
                            g_variant_type_equal(keyType, G_VARIANT_TYPE_SIGNATURE);
    if (!stringKeys) {
      return drop(where,
                  "a dictionary of type " + typeString(dictionary) + " does not have string keys");
    }
    Value::Dictionary entries;
    const gsize count = g_variant_n_children(dictionary);
    for (gsize i = 0; i < count; ++i) {
      GVariantPtr entry(g_variant_get_child_value(dictionary, i));
      GVariantPtr key(g_variant_get_child_value(entry.get(), 0));
      GVariantPtr content(g_variant_get_child_value(entry.get(), 1));
      std::string name = keyForDecoding(key.get());
      Value decoded = decode(content.get(), entryPath(where, name), depth + 1);
      if (!decoded.isNil()) entries.insert_or_assign(std::move(name), std::move(decoded));
    }
    return Value(std::move(entries));
  }

  static std::string typeString(GVariant* variant) { return g_variant_get_type_string(variant); }

  Value drop(const std::string& where, const std::string& reason) {
    problems_.push_back("dropped " + where + ": " + reason);
    return Value();
  }

  std::vector<std::string>& problems_;
};

}  // namespace

Result<GVariantPtr> encodeValue(const Value& value) {
  Encoder encoder;
  GVariant* encoded = encoder.encode(value, 0);
  return finish(encoded, encoder);
}

Result<GVariantPtr> encodeDictionary(const Value& dictionary) {
  Encoder encoder;
  if (dictionary.isNil()) return finish(encoder.encodeDictionary({}, 1), encoder);
  if (!dictionary.isDictionary()) {
    return Error{kBusCodingErrorDomain, 2, "Value cannot be sent on the bus: not a dictionary"};
  }
  return finish(encoder.encodeDictionary(*dictionary.asDictionary(), 1), encoder);
}

Value decodeVariant(GVariant* variant, std::vector<std::string>& problems,
                    const std::string& where) {
  if (variant == nullptr) return Value();
  Decoder decoder(problems);
  return decoder.decode(variant, where, 0);
}

}  // namespace trovadex::linux_platform
