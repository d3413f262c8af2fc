// ParsedMessage: what the store and the indexer read out of an RFC 822 message, through GMime.
//
// Header texts come back decoded to UTF-8 (RFC 2047 words, adjacent ones joined, RFC 2231 file
// names, legacy charsets; undeclared 8-bit bytes as UTF-8, else in the charset the message's text
// declares when they are valid in it, else as ISO 8859-1); display names have single spaces;
// Message-IDs come without their angle brackets. A message counts as parseable when it starts
// with a header field (blanks before its name aside) and GMime can build it; anything else is
// refused with an Unparseable error, so that an importer can report it by name rather than store
// noise. Plain functions: safe from any thread (each call parses its own copy).
#pragma once

#include <cstdint>
#include <optional>
#include <string>
#include <string_view>
#include <utility>
#include <vector>

#include "foundation/error.hpp"

namespace trovadex::mailstore {

struct MailAddress {
  std::string name;     // display name, may be empty
  std::string address;  // "user@example.org"; may be empty for a malformed entry
  friend bool operator==(const MailAddress&, const MailAddress&) = default;
};

// One attached part: a leaf with Content-Disposition "attachment" or with a file name, or an
// attached message.
struct MessageAttachment {
  std::string name;              // decoded file name; "Attachment" when the part names none
  std::string mimeType;          // "application/pdf", lower case
  std::string partNumber;        // the part's MIME path: "2", "1.2"
  std::int64_t encodedSize = 0;  // size of the body as carried in the message
  bool bodyStripped = false;     // the body is kept outside the message (a partial message)
};

struct ParsedMessage {
  std::string subject;
  std::vector<MailAddress> from;
  std::vector<MailAddress> to;
  std::vector<MailAddress> cc;
  std::vector<MailAddress> bcc;
  std::optional<std::int64_t> dateSent;  // Unix seconds, from the Date field when it is readable
  // Unix seconds, from the newest (topmost) Received trace field that carries a readable date.
  std::optional<std::int64_t> dateLastReceived;
  std::string messageID;
  std::string inReplyTo;
  std::vector<std::string> references;
  std::vector<MessageAttachment> attachments;
  std::string
      bodyText;  // the main text part as UTF-8 (HTML reduced to text); empty if asked not to
  std::vector<std::pair<std::string, std::string>> headers;  // name and decoded value, in order
  std::optional<std::int64_t> priority;  // 1 (highest) to 5 from X-Priority, when present
};

struct ParseOptions {
  bool bodyText = true;
  bool headers = true;
};

foundation::Result<ParsedMessage> parseMessage(std::string_view bytes, ParseOptions options = {});

// The first value of a header (case-insensitive name), or nothing.
const std::string* headerValue(const ParsedMessage& message, std::string_view name);

}  // namespace trovadex::mailstore
