// JSON text of property-list values, for find's JSON Lines output.
//
// Strings become JSON strings (control characters escaped, text that is not valid UTF-8
// repaired with U+FFFD), numbers JSON numbers (non-finite reals null), booleans true and false,
// dates ISO 8601 strings in UTC ("2024-03-05T14:07:09Z", with fractions of a second when there
// are any), data base64 strings, arrays and dictionaries arrays and objects, nil null. Pure
// functions: safe from any thread.
#pragma once

#include <string>
#include <string_view>

#include "foundation/value.hpp"

namespace trovadex::host {

std::string jsonText(const foundation::Value& value);
std::string jsonString(std::string_view text);

}  // namespace trovadex::host
