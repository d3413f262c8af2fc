#include "mailstore/mbox_reader.hpp"

#include <gmime/gmime.h>

#include "mailstore/gmime_support.hpp"
#include "mailstore/message_flags.hpp"
#include "mailstore/store_error.hpp"

namespace trovadex::mailstore {
namespace {

constexpr std::string_view kFromPrefix = "From ";

bool isQuotedFrom(std::string_view line) {
  std::size_t at = 0;
  while (at < line.size() && line[at] == '>') ++at;
  return at > 0 && line.substr(at).starts_with(kFromPrefix);
}

// The value of the first header field called name (case-insensitive) in the header block.
std::string_view headerField(std::string_view message, std::string_view name) {
  std::size_t at = 0;
  while (at < message.size()) {
    std::size_t end = message.find('\n', at);
    if (end == std::string_view::npos) end = message.size();
    const std::string_view line = message.substr(at, end - at);
    if (line.empty() || line == "\r") break;
    if (line.size() > name.size() && line[name.size()] == ':' &&
        g_ascii_strncasecmp(line.data(), name.data(), name.size()) == 0) {
      return line.substr(name.size() + 1);
    }
    at = end + 1;
  }
  return {};
}

}  // namespace

bool looksLikeMbox(std::string_view start) { return start.starts_with(kFromPrefix); }

foundation::Result<MboxReader> MboxReader::open(const std::filesystem::path& path) {
  MboxReader reader(path);
  reader.in_.open(path, std::ios::binary);
  if (!reader.in_) return fileSystemError("cannot open", path.string(), errno);
  std::string first;
  if (!reader.readLine(first) || !looksLikeMbox(first)) {
    return storeError(StoreErrorCode::Unparseable,
                      path.string() + ": not an mbox file (no \"From \" line at its start)");
  }
  reader.pendingFromLine_ = std::move(first);
  reader.pendingOffset_ = 0;
  return reader;
}

bool MboxReader::readLine(std::string& line) {
  if (!std::getline(in_, line)) return false;
  offset_ += line.size() + (in_.eof() ? 0 : 1);
  if (!line.empty() && line.back() == '\r') line.pop_back();
  return true;
}

foundation::Result<std::optional<MboxMessage>> MboxReader::next() {
  if (!pendingFromLine_) return std::optional<MboxMessage>();
  MboxMessage message;
  message.fromLine = std::move(*pendingFromLine_);
  message.offset = pendingOffset_;
  message.number = ++count_;
  pendingFromLine_.reset();

  bool previousBlank = false;
  std::string line;
  for (;;) {
    const std::uint64_t lineOffset = offset_;
    if (!readLine(line)) break;
    if (previousBlank && line.starts_with(kFromPrefix)) {
      pendingFromLine_ = std::move(line);
      pendingOffset_ = lineOffset;
      message.bytes.pop_back();  // the separator's blank line
      break;
    }
    previousBlank = line.empty();
    if (isQuotedFrom(line)) line.erase(0, 1);
    message.bytes += line;
    message.bytes += '\n';
  }
  if (in_.bad()) return fileSystemError("cannot read", path_.string(), errno);
  return std::optional<MboxMessage>(std::move(message));
}

std::int64_t mboxStatusFlags(std::string_view message) {
  struct Letter {
    char letter;
    MessageFlag flag;
  };
  constexpr Letter kStatus[] = {{'R', kFlagRead}};
  constexpr Letter kExtendedStatus[] = {
      {'A', kFlagAnswered}, {'F', kFlagFlagged}, {'D', kFlagDeleted}, {'T', kFlagDraft}};
  std::int64_t flags = 0;
  for (const char c : headerField(message, "Status")) {
    for (const auto& entry : kStatus) {
      if (c == entry.letter) flags |= entry.flag;
    }
  }
  for (const char c : headerField(message, "X-Status")) {
    for (const auto& entry : kExtendedStatus) {
      if (c == entry.letter) flags |= entry.flag;
    }
  }
  return flags;
}

std::optional<std::int64_t> mboxFromLineTime(std::string_view fromLine) {
  // "From <sender> <date>": the date is what follows the sender.
  const std::size_t senderEnd = fromLine.find(' ', kFromPrefix.size());
  if (senderEnd == std::string_view::npos) return std::nullopt;
  ensureGMimeInitialized();
  const std::string date(fromLine.substr(senderEnd + 1));
  GDateTime* parsed = g_mime_utils_header_decode_date(date.c_str());
  if (!parsed) return std::nullopt;
  const std::int64_t time = g_date_time_to_unix(parsed);
  g_date_time_unref(parsed);
  return time;
}

}  // namespace trovadex::mailstore
