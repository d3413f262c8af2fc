#include "companion/message_text.hpp"

#include <array>
#include <cstdio>
#include <string_view>

namespace trovadex::companion {

namespace {

constexpr std::array<std::string_view, 5> kShownFields{"From", "To", "Cc", "Date", "Subject"};

// The text with every control character but line breaks and tabs as a space.
std::string printable(std::string_view text, bool keepLineBreaks) {
  std::string shown;
  shown.reserve(text.size());
  for (char c : text) {
    const auto byte = static_cast<unsigned char>(c);
    const bool lineBreak = c == '\n';
    if ((byte < 0x20 && c != '\t' && !(keepLineBreaks && lineBreak)) || byte == 0x7f) {
      shown += ' ';
    } else {
      shown += c;
    }
  }
  return shown;
}

}  // namespace

std::string sizeText(std::int64_t bytes) {
  if (bytes < 1000) return std::to_string(bytes < 0 ? 0 : bytes) + " B";
  constexpr std::array<const char*, 3> kUnits{"kB", "MB", "GB"};
  double size = static_cast<double>(bytes);
  std::size_t unit = 0;
  size /= 1000;
  while (size >= 1000 && unit + 1 < kUnits.size()) {
    size /= 1000;
    ++unit;
  }
  char text[32];
  std::snprintf(text, sizeof text, "%.1f %s", size, kUnits[unit]);
  return text;
}

std::string messageText(const mailstore::ParsedMessage& message) {
  std::string text;
  for (std::string_view field : kShownFields) {
    const std::string* value = mailstore::headerValue(message, field);
    if (value == nullptr) continue;
    text += std::string(field) + ": " + printable(*value, false) + "\n";
  }
  if (!message.attachments.empty()) {
    text += "Attachments:\n";
    for (const auto& attachment : message.attachments) {
      text +=
          "  " + printable(attachment.name, false) + " (" + printable(attachment.mimeType, false);
      text += attachment.bodyStripped ? ", not in the message file"
                                      : ", " + sizeText(attachment.encodedSize);
      text += ")\n";
    }
  }
  text += "\n";
  std::string body = printable(message.bodyText, true);
  if (!body.empty() && body.back() != '\n') body += '\n';
  return text + body;
}

}  // namespace trovadex::companion
