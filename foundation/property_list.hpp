// Property-list coding of Values: binary ("bplist00") by the project's own codec
// (binary_property_list.hpp), XML through libplist 2.2.
//
// Kinds are kept: Bool stays Bool, Real stays Real (3.0 decodes as Real 3), strings, data,
// arrays, dictionaries and dates come back as themselves. Integers: both formats store signed
// 64-bit integers, so every Integer round-trips exactly (INT64_MIN to INT64_MAX) and decodes as
// Integer. An Unsigned up to INT64_MAX is written as that integer and so decodes as Integer (equal
// to it by isEqual); an Unsigned above INT64_MAX is written as a 128-bit integer (as the platform
// does) and decodes as Unsigned. Dates: the binary form keeps the exact double, for any finite
// date; the XML form keeps whole seconds (rounded down) and only the years 1000 to 9999, and
// refuses other dates with an error. Real -0.0 loses its sign in XML.
//
// Encoding refuses, with an error: a nil root, a non-finite date, and a string or dictionary key
// that holds a NUL character or is not valid UTF-8 (libplist would silently alter it). Nesting
// deeper than 512 levels is refused both ways. Decoding sniffs the form (binary or XML); malformed
// input, including anything shorter than 8 bytes, yields an error. A keyed-archiver UID decodes as
// the dictionary {"CF$UID" = n}. Safe from any thread.
#pragma once

#include <cstdint>
#include <string>
#include <string_view>

#include "foundation/error.hpp"
#include "foundation/value.hpp"

namespace trovadex::foundation {

enum class PropertyListFormat { Binary, Xml };

// The error domain of coding failures, and its codes.
inline constexpr std::string_view kPropertyListErrorDomain = "TrovadexPropertyListErrorDomain";
inline constexpr std::int64_t kPropertyListEncodingError = 1;  // the value cannot be written
inline constexpr std::int64_t kPropertyListDecodingError = 2;  // the bytes are no property list

// Encodes a value. A nil value cannot be a property list and yields an error.
Result<std::string> encodePropertyList(const Value& value, PropertyListFormat format);

// Decodes a binary or XML property list; anything else yields an error.
Result<Value> decodePropertyList(std::string_view bytes);

}  // namespace trovadex::foundation
