// The text `trovadex show` prints for a message: its main header fields, its attachments and its
// text body.
//
// Header fields are shown decoded, in the order From, To, Cc, Date, Subject, each only when the
// message has it; then one line per attachment (name, type and size as carried in the message);
// then a blank line and the text body (HTML reduced to text), ending with a line break. Control
// characters other than line breaks and tabs are shown as spaces, so that no message can drive
// the terminal. Pure function: safe from any thread.
#pragma once

#include <string>

#include "mailstore/mime_message.hpp"

namespace trovadex::companion {

std::string messageText(const mailstore::ParsedMessage& message);

// "512 B", "12.3 kB", "4.0 MB": a size for people.
std::string sizeText(std::int64_t bytes);

}  // namespace trovadex::companion
