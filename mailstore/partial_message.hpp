// Partial messages: a message kept without its attachment bodies, as <id>.partial.emlx.
//
// Every attachment leaf keeps its headers, loses its body and gains an X-Apple-Content-Length
// field with the size the body had in the message; the decoded bodies are kept as files under
// Attachments/<id>/<part number>/<file name>. Plain functions: safe from any thread.
#pragma once

#include <filesystem>
#include <optional>
#include <string>
#include <string_view>
#include <vector>

#include "foundation/error.hpp"

namespace trovadex::mailstore {

inline constexpr const char* kStrippedLengthHeader = "X-Apple-Content-Length";

struct StrippedPart {
  std::string partNumber;  // "2", "1.2"
  std::string fileName;    // safe as a single file name
  std::string body;        // decoded
};

struct PartialMessage {
  std::string message;  // the message without attachment bodies
  std::vector<StrippedPart> parts;
};

// The partial form of a message; nothing when it has no attachment body to strip, and an
// Unparseable error when it is no message.
foundation::Result<std::optional<PartialMessage>> makePartialMessage(std::string_view bytes);

// Writes each part's body to attachmentsFolder/<part number>/<file name>.
foundation::Status writeStrippedParts(const std::filesystem::path& attachmentsFolder,
                                      const std::vector<StrippedPart>& parts);

}  // namespace trovadex::mailstore
