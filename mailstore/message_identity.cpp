#include "mailstore/message_identity.hpp"

#include <glib.h>

#include <array>
#include <limits>

namespace trovadex::mailstore {
namespace {

// Reply and forward markers, in the languages mail clients commonly write them.
constexpr std::array<std::string_view, 9> kSubjectPrefixes{"re", "fwd", "fw", "aw", "wg",
                                                           "sv", "vs",  "tr", "rif"};

std::string digestOf(GChecksumType type, std::string_view bytes) {
  GChecksum* checksum = g_checksum_new(type);
  g_checksum_update(checksum, reinterpret_cast<const guchar*>(bytes.data()),
                    static_cast<gssize>(bytes.size()));
  std::array<guint8, 64> buffer{};
  gsize length = buffer.size();
  g_checksum_get_digest(checksum, buffer.data(), &length);
  g_checksum_free(checksum);
  return std::string(reinterpret_cast<const char*>(buffer.data()), length);
}

// Length of one "Re:" / "Re[2]:" marker with its following blanks at the start of text, or 0.
std::size_t prefixLength(std::string_view text) {
  for (const auto prefix : kSubjectPrefixes) {
    if (text.size() <= prefix.size() ||
        g_ascii_strncasecmp(text.data(), prefix.data(), prefix.size()) != 0) {
      continue;
    }
    std::size_t at = prefix.size();
    if (text[at] == '[') {
      const std::size_t close = text.find(']', at);
      if (close == std::string_view::npos) continue;
      at = close + 1;
    }
    if (at >= text.size() || text[at] != ':') continue;
    ++at;
    while (at < text.size() && (text[at] == ' ' || text[at] == '\t')) ++at;
    return at;
  }
  return 0;
}

}  // namespace

std::int64_t messageIDHash(std::string_view messageID) {
  if (messageID.size() >= 2 && messageID.front() == '<' && messageID.back() == '>') {
    messageID = messageID.substr(1, messageID.size() - 2);
  }
  if (messageID.empty()) return 0;
  const std::string md5 = digestOf(G_CHECKSUM_MD5, messageID);
  std::uint64_t value = 0;
  for (int index = 7; index >= 0; --index) {
    value = (value << 8) | static_cast<std::uint8_t>(md5[static_cast<std::size_t>(index)]);
  }
  return static_cast<std::int64_t>(value);
}

std::string contentDigest(std::string_view bytes) { return digestOf(G_CHECKSUM_SHA256, bytes); }

std::int64_t conversationIDFor(const ParsedMessage& message) {
  const std::string& root = !message.references.empty()  ? message.references.front()
                            : !message.inReplyTo.empty() ? message.inReplyTo
                                                         : message.messageID;
  return messageIDHash(root) & std::numeric_limits<std::int64_t>::max();
}

std::pair<std::string, std::string> splitSubjectPrefix(std::string_view subject) {
  std::size_t at = 0;
  while (const std::size_t length = prefixLength(subject.substr(at))) at += length;
  return {std::string(subject.substr(0, at)), std::string(subject.substr(at))};
}

}  // namespace trovadex::mailstore
