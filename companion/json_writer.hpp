// JSON text for property-list values: what `trovadex search --format json` prints.
//
// Strings are escaped as JSON requires (quote, backslash, and every control character; other
// text, non-ASCII included, passes through as UTF-8, and bytes that are not UTF-8 become
// U+FFFD). Dictionaries become objects with their keys in sorted order, arrays arrays, numbers
// numbers (a real that is not finite becomes null), booleans true/false, dates ISO 8601 strings
// in UTC ("2026-11-22T19:05:13Z", with milliseconds when the date has a fraction), data base64
// strings, nil null. Pure functions: safe from any thread.
#pragma once

#include <string>
#include <string_view>

#include "foundation/date.hpp"
#include "foundation/value.hpp"

namespace trovadex::companion {

// The value as one line of JSON (no line breaks outside strings, none inside either).
std::string jsonText(const foundation::Value& value);

// Appends text as a quoted JSON string.
void appendJsonString(std::string& out, std::string_view text);

// "2026-11-22T19:05:13Z", or "2026-11-22T19:05:13.250Z" for a date with a fraction of a second
// (milliseconds, rounded down); the empty string for a date that is not finite or lies outside
// the years 1 to 9999.
std::string iso8601Text(foundation::Date date);

}  // namespace trovadex::companion
