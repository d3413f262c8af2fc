// The compact encoding of an item's attribute dictionary, as stored in the index.
//
// Layout: a varint entry count, then per entry the key and the encoded value, each prefixed by
// its byte length, so that a reader can skip the values it does not need. Values are a kind tag
// followed by the payload (varints for lengths and integers, 8 little-endian bytes for reals and
// dates); arrays and dictionaries nest. Decoding never reads past the input: damaged bytes give
// an empty result rather than a crash. Safe from any thread (pure functions).
#pragma once

#include <functional>
#include <string>
#include <string_view>

#include "foundation/value.hpp"

namespace trovadex::spotlight {

std::string encodeAttributes(const foundation::Value::Dictionary& attributes);

// Every entry; nullopt-like empty dictionary when the bytes are damaged.
foundation::Value::Dictionary decodeAttributes(std::string_view bytes);

// Only the entries whose key the filter accepts.
foundation::Value::Dictionary decodeAttributes(
    std::string_view bytes, const std::function<bool(std::string_view key)>& wanted);

// Walks the entries without decoding them: visit gets each key and its encoded value, in key
// order, until it returns false. Returns false when the bytes are damaged.
bool visitEncodedAttributes(
    std::string_view bytes,
    const std::function<bool(std::string_view key, std::string_view encodedValue)>& visit);

// One value as visitEncodedAttributes handed it out; nil when damaged.
foundation::Value decodeAttributeValue(std::string_view encodedValue);

}  // namespace trovadex::spotlight
