// MboxReader: the messages of an mbox file, one at a time, without reading the whole file.
//
// A message starts at a "From " line at the start of the file or after an empty line; the blank
// line before the next "From " line belongs to the separator, not the message. Quoted lines
// (">From ", ">>From ") lose one '>' (the mboxrd convention, which also reads mboxo files).
// One reader belongs to one thread.
#pragma once

#include <cstdint>
#include <filesystem>
#include <fstream>
#include <optional>
#include <string>
#include <string_view>

#include "foundation/error.hpp"

namespace trovadex::mailstore {

struct MboxMessage {
  std::string bytes;         // the message, without its "From " line
  std::string fromLine;      // "From sender@example.org Tue Nov 14 22:13:20 2023"
  std::size_t number = 0;    // 1 for the first message of the file
  std::uint64_t offset = 0;  // byte offset of the "From " line
};

class MboxReader {
 public:
  // Fails when the file cannot be opened or does not start with a "From " line.
  static foundation::Result<MboxReader> open(const std::filesystem::path& path);

  // The next message, nothing at the end of the file, or an error when reading fails.
  foundation::Result<std::optional<MboxMessage>> next();

 private:
  explicit MboxReader(std::filesystem::path path) : path_(std::move(path)) {}
  bool readLine(std::string& line);

  std::filesystem::path path_;
  std::ifstream in_;
  std::uint64_t offset_ = 0;  // of the next unread line
  std::optional<std::string> pendingFromLine_;
  std::uint64_t pendingOffset_ = 0;
  std::size_t count_ = 0;
};

// Whether the data starts like an mbox file.
bool looksLikeMbox(std::string_view start);

// Flag bits from the Status and X-Status fields an mbox writer adds (R read; A answered,
// F flagged, D deleted, T draft).
std::int64_t mboxStatusFlags(std::string_view message);

// The Unix time in a "From " line's date, when it has a readable one.
std::optional<std::int64_t> mboxFromLineTime(std::string_view fromLine);

}  // namespace trovadex::mailstore
