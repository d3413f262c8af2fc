// Property-list coding of Values, binary ("bplist00") and XML, through libplist.
//
// Every kind round-trips. Integers up to INT64_MAX are kept exact; the formats store integers
// without a sign flag, so a non-negative integer decodes as Integer and only values above
// INT64_MAX decode as Unsigned (the writer refuses those above INT64_MAX in binary, where other
// readers would see them as negative). Bool is kept as Bool. Dates keep their fraction in the
// binary form; the XML form keeps whole seconds. A dictionary key must be a string. Decoding
// accepts either form and reports malformed input as an Error. Safe from any thread.
#pragma once

#include <string>
#include <string_view>

#include "foundation/error.hpp"
#include "foundation/value.hpp"

namespace trovadex::foundation {

enum class PropertyListFormat { Binary, Xml };

// The error domain of coding failures.
inline constexpr std::string_view kPropertyListErrorDomain = "TrovadexPropertyListErrorDomain";

// Encodes a value. A nil value cannot be a property list and yields an error.
Result<std::string> encodePropertyList(const Value& value, PropertyListFormat format);

// Decodes a binary or XML property list; anything else yields an error.
Result<Value> decodePropertyList(std::string_view bytes);

}  // namespace trovadex::foundation
