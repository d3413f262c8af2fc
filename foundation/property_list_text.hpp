// What the property-list coders share: their error values and the rules for text they write.
// Internal to foundation/. Safe from any thread (pure functions).
#pragma once

#include <optional>
#include <string>
#include <string_view>

#include "foundation/error.hpp"

namespace trovadex::foundation {

Error propertyListEncodingError(std::string message);
Error propertyListDecodingError(std::string message);

bool isValidUtf8(std::string_view text);

// An encoding error when text cannot be written faithfully: it holds a NUL character or is not
// valid UTF-8. what names the text in the message ("string", "dictionary key").
std::optional<Error> checkPropertyListText(std::string_view text, const char* what);

}  // namespace trovadex::foundation
