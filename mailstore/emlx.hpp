// The .emlx file: a byte-count line, the message exactly as received, a trailing property list.
//
// Writing gives "<count, left-justified in 10 columns>\n", the message bytes and an XML property
// list of the message's store properties (flags, dates, remote id, conversation id). Reading is
// lenient, because real files are often damaged: the count may be padded, short or too large (it
// is clamped to the file), the count line may be missing (the message then runs up to an XML
// declaration at a line start), and the property list may be absent or broken (the properties
// are then nil). Only a file with no message bytes at all is refused. Plain functions: safe from
// any thread.
#pragma once

#include <cstdint>
#include <filesystem>
#include <optional>
#include <string>
#include <string_view>

#include "foundation/error.hpp"
#include "foundation/value.hpp"

namespace trovadex::mailstore {

// Keys of the trailing property list. Dates are whole Unix seconds; a last-viewed date of 0 means
// never viewed. Unknown keys found in a file are kept as they are.
inline constexpr std::string_view kEmlxFlagsKey = "flags";
inline constexpr std::string_view kEmlxDateReceivedKey = "date-received";
inline constexpr std::string_view kEmlxDateLastViewedKey = "date-last-viewed";
inline constexpr std::string_view kEmlxDateSentKey = "date-sent";
inline constexpr std::string_view kEmlxRemoteIDKey = "remote-id";
inline constexpr std::string_view kEmlxConversationIDKey = "conversation-id";

struct EmlxFile {
  std::string message;           // the RFC 822 message, byte for byte
  std::string trailer;           // what followed the message: normally the property list
  foundation::Value properties;  // the decoded trailer (a dictionary), or nil
  // Why the framing had to be repaired when reading ("no count line", "count exceeds the file by
  // 120 bytes"), or nothing when the file was well formed.
  std::optional<std::string> framingProblem;

  std::int64_t flags() const;  // 0 when unknown
};

// The whole file for message and properties (a dictionary). Fails only when the properties
// cannot be coded as a property list.
foundation::Result<std::string> encodeEmlx(std::string_view message,
                                           const foundation::Value& properties);

// The whole file for a read file: its message with a fresh count line, and its trailer verbatim.
std::string encodeEmlx(const EmlxFile& file);

// Reads the bytes of a file. Fails (Unparseable) only when no message bytes can be found.
foundation::Result<EmlxFile> decodeEmlx(std::string_view bytes);

foundation::Result<EmlxFile> readEmlxFile(const std::filesystem::path& path);

}  // namespace trovadex::mailstore
