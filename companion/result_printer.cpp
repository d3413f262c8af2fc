#include "companion/result_printer.hpp"

#include <glib.h>

#include <array>
#include <map>

#include "companion/json_writer.hpp"
#include "companion/wire_vocabulary.hpp"

namespace trovadex::companion {

using foundation::Value;

namespace {

constexpr std::size_t kDateWidth = 16;
constexpr std::size_t kFromWidth = 24;
constexpr std::size_t kSubjectWidth = 40;

// The attributes a column shows, first present wins.
constexpr std::array<std::string_view, 3> kDateAttributes{
    "com_apple_mail_dateReceived", "kMDItemContentCreationDate", "kMDItemFSContentChangeDate"};
constexpr std::array<std::string_view, 3> kFromAttributes{
    "kMDItemAuthors", "kMDItemAuthorEmailAddresses", "kMDItemAuthorAddresses"};
constexpr std::array<std::string_view, 2> kSubjectAttributes{"kMDItemSubject",
                                                             "kMDItemDisplayName"};

// The first value of the attributes: an array gives its first element.
template <std::size_t N>
const Value& firstAttribute(const FoundMessage& message,
                            const std::array<std::string_view, N>& names) {
  for (std::string_view name : names) {
    const Value& value = message.attribute(name);
    if (value.isArray() && value.count() > 0) return value.at(0);
    if (!value.isNil() && !value.isArray()) return value;
  }
  static const Value nil;
  return nil;
}

std::string cellText(const Value& value) {
  if (const std::string* text = value.asString()) return *text;
  if (const auto* date = value.asDate()) {
    // "2026-11-22T19:05:13Z" shown as "2026-11-22 19:05".
    std::string text = iso8601Text(*date);
    if (text.size() >= kDateWidth) {
      text[10] = ' ';
      text.resize(kDateWidth);
    }
    return text;
  }
  return value.isNil() ? std::string() : value.description();
}

}  // namespace

std::string tableCell(const std::string& text, std::size_t width) {
  // Make the text valid UTF-8 first, so that counting characters is safe.
  std::string clean;
  {
    gchar* valid = g_utf8_make_valid(text.data(), static_cast<gssize>(text.size()));
    clean = valid;
    g_free(valid);
  }
  std::string cell;
  std::size_t characters = 0;
  const char* cursor = clean.c_str();
  const std::size_t length = static_cast<std::size_t>(g_utf8_strlen(cursor, -1));
  while (*cursor != '\0' && characters < width) {
    const char* next = g_utf8_next_char(cursor);
    if (characters + 1 == width && length > width) {
      cell += "\xE2\x80\xA6";  // …
    } else if (static_cast<unsigned char>(*cursor) < 0x20 || *cursor == 0x7f) {
      cell += ' ';
    } else {
      cell.append(cursor, next);
    }
    ++characters;
    cursor = next;
  }
  cell.append(width - characters, ' ');
  return cell;
}

ResultPrinter::ResultPrinter(std::ostream& out, OutputFormat format, bool live)
    : out_(out), format_(format), live_(live) {}

void ResultPrinter::printTableHeaderOnce() {
  if (headerPrinted_) return;
  headerPrinted_ = true;
  if (live_) out_ << "  ";
  out_ << tableCell("DATE", kDateWidth) << "  " << tableCell("FROM", kFromWidth) << "  "
       << tableCell("SUBJECT", kSubjectWidth) << "  PATH\n";
}

std::string ResultPrinter::tableRow(const FoundMessage& message) const {
  return tableCell(cellText(firstAttribute(message, kDateAttributes)), kDateWidth) + "  " +
         tableCell(cellText(firstAttribute(message, kFromAttributes)), kFromWidth) + "  " +
         tableCell(cellText(firstAttribute(message, kSubjectAttributes)), kSubjectWidth) + "  " +
         message.path.value_or("");
}

void ResultPrinter::printFound(const std::vector<FoundMessage>& messages) {
  for (const auto& message : messages) {
    switch (format_) {
      case OutputFormat::Table:
        printTableHeaderOnce();
        out_ << (live_ ? "+ " : "") << tableRow(message) << '\n';
        break;
      case OutputFormat::Json:
        out_ << jsonText(message.record) << '\n';
        break;
      case OutputFormat::Paths:
        if (message.path) out_ << *message.path << '\n';
        break;
    }
  }
  out_.flush();
}

void ResultPrinter::printRemoved(const std::vector<std::string>& identifiers,
                                 const std::vector<FoundMessage>& known) {
  std::map<std::string, const FoundMessage*, std::less<>> byIdentifier;
  for (const auto& message : known) {
    if (auto identifier = message.itemIdentifier()) byIdentifier[*identifier] = &message;
  }
  for (const auto& identifier : identifiers) {
    auto found = byIdentifier.find(identifier);
    const FoundMessage* message = found != byIdentifier.end() ? found->second : nullptr;
    switch (format_) {
      case OutputFormat::Table:
        printTableHeaderOnce();
        out_ << "- "
             << (message != nullptr ? tableRow(*message)
                                    : tableCell("", kDateWidth) + "  " +
                                          tableCell("(message " + identifier + ")", kFromWidth))
             << '\n';
        break;
      case OutputFormat::Json: {
        Value::Dictionary line{{"removed", identifier}};
        if (message != nullptr && message->path) line.emplace(key::kPath, *message->path);
        out_ << jsonText(line) << '\n';
        break;
      }
      case OutputFormat::Paths:
        out_ << "- " << (message != nullptr && message->path ? *message->path : identifier) << '\n';
        break;
    }
  }
  out_.flush();
}

}  // namespace trovadex::companion
