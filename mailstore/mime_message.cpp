#include "mailstore/mime_message.hpp"

#include <gmime/gmime.h>

#include <algorithm>
#include <cctype>

#include "mailstore/gmime_support.hpp"
#include "mailstore/html_text.hpp"
#include "mailstore/partial_message.hpp"
#include "mailstore/store_error.hpp"

namespace trovadex::mailstore {
namespace {

// UTF-8 text of a GMime string; invalid sequences (raw 8-bit headers in an unknown charset)
// become U+FFFD so that every text leaving the parser is valid UTF-8.
std::string validText(const char* text) {
  if (!text) return {};
  if (g_utf8_validate(text, -1, nullptr)) return text;
  return takeGString(g_utf8_make_valid(text, -1));
}

std::string lowerCase(std::string text) {
  std::transform(text.begin(), text.end(), text.begin(),
                 [](unsigned char c) { return static_cast<char>(std::tolower(c)); });
  return text;
}

// A header field opens the message: a name of printable characters other than ':', then ':'.
bool startsWithHeaderField(std::string_view bytes) {
  std::size_t at = 0;
  while (at < bytes.size() && bytes[at] > 32 && bytes[at] < 127 && bytes[at] != ':') ++at;
  while (at > 0 && at < bytes.size() && (bytes[at] == ' ' || bytes[at] == '\t')) ++at;
  return at > 0 && at < bytes.size() && bytes[at] == ':';
}

void collectAddresses(InternetAddressList* list, std::vector<MailAddress>& out) {
  if (!list) return;
  const int count = internet_address_list_length(list);
  for (int index = 0; index < count; ++index) {
    InternetAddress* address = internet_address_list_get_address(list, index);
    if (INTERNET_ADDRESS_IS_GROUP(address)) {
      collectAddresses(internet_address_group_get_members(INTERNET_ADDRESS_GROUP(address)), out);
    } else if (INTERNET_ADDRESS_IS_MAILBOX(address)) {
      out.push_back(
          {validText(internet_address_get_name(address)),
           validText(internet_address_mailbox_get_addr(INTERNET_ADDRESS_MAILBOX(address)))});
    }
  }
}

std::vector<std::string> parseReferences(const char* text) {
  std::vector<std::string> ids;
  if (!text) return ids;
  GMimeReferences* references = g_mime_references_parse(nullptr, text);
  if (!references) return ids;
  const int count = g_mime_references_length(references);
  for (int index = 0; index < count; ++index) {
    ids.push_back(validText(g_mime_references_get_message_id(references, index)));
  }
  g_mime_references_free(references);
  return ids;
}

std::string mimeTypeOf(GMimeObject* object) {
  GMimeContentType* type = g_mime_object_get_content_type(object);
  if (!type) return "application/octet-stream";
  return lowerCase(takeGString(g_mime_content_type_get_mime_type(type)));
}

std::int64_t encodedLength(GMimePart* part) {
  GMimeDataWrapper* content = g_mime_part_get_content(part);
  if (!content) return 0;
  GMimeStream* stream = g_mime_data_wrapper_get_stream(content);
  const gint64 length = stream ? g_mime_stream_length(stream) : -1;
  return length > 0 ? length : 0;
}

void addAttachment(GMimeObject* object, const std::string& number, ParsedMessage& out) {
  if (!isAttachmentLeaf(object)) return;
  MessageAttachment attachment;
  attachment.mimeType = mimeTypeOf(object);
  attachment.partNumber = number;
  if (GMIME_IS_MESSAGE_PART(object)) {
    const char* fileName = g_mime_object_get_content_disposition_parameter(object, "filename");
    GMimeMessage* inner = g_mime_message_part_get_message(GMIME_MESSAGE_PART(object));
    const char* subject = inner ? g_mime_message_get_subject(inner) : nullptr;
    attachment.name = fileName ? validText(fileName)
                               : (subject && *subject ? validText(subject) + ".eml"
                                                      : std::string("Attached Message.eml"));
    out.attachments.push_back(std::move(attachment));
    return;
  }
  GMimePart* part = GMIME_PART(object);
  const char* fileName = g_mime_part_get_filename(part);
  attachment.name = fileName && *fileName ? validText(fileName) : std::string("Attachment");
  attachment.encodedSize = encodedLength(part);
  if (const char* stripped = g_mime_object_get_header(object, kStrippedLengthHeader)) {
    attachment.bodyStripped = true;
    attachment.encodedSize = g_ascii_strtoll(stripped, nullptr, 10);
  }
  out.attachments.push_back(std::move(attachment));
}

bool isTextOfType(GMimeObject* object, const char* subtype) {
  GMimeContentType* type = g_mime_object_get_content_type(object);
  return type && g_mime_content_type_is_type(type, "text", subtype);
}

// The part that holds the message's text: in an alternative the plain version, else the HTML
// one; in any other multipart the first part that has a text; attachments never.
GMimeTextPart* bodyPartOf(GMimeObject* object) {
  if (GMIME_IS_MULTIPART(object)) {
    GMimeMultipart* multipart = GMIME_MULTIPART(object);
    GMimeContentType* type = g_mime_object_get_content_type(object);
    const bool alternative = type && g_mime_content_type_is_type(type, "multipart", "alternative");
    GMimeTextPart* fallback = nullptr;
    const int count = g_mime_multipart_get_count(multipart);
    for (int index = 0; index < count; ++index) {
      GMimeTextPart* candidate = bodyPartOf(g_mime_multipart_get_part(multipart, index));
      if (!candidate) continue;
      if (!alternative || isTextOfType(GMIME_OBJECT(candidate), "plain")) return candidate;
      if (!fallback) fallback = candidate;
    }
    return fallback;
  }
  if (!GMIME_IS_TEXT_PART(object) || isAttachmentLeaf(object)) return nullptr;
  if (!isTextOfType(object, "plain") && !isTextOfType(object, "html")) return nullptr;
  return GMIME_TEXT_PART(object);
}

std::string bodyTextOf(GMimeMessage* message) {
  GMimeObject* top = g_mime_message_get_mime_part(message);
  GMimeTextPart* body = top ? bodyPartOf(top) : nullptr;
  if (!body) return {};
  std::string text = validText(GCharPtr(g_mime_text_part_get_text(body)).get());
  if (isTextOfType(GMIME_OBJECT(body), "html")) return htmlToText(text);
  return text;
}

std::optional<std::int64_t> priorityFromHeader(const char* value) {
  if (!value) return std::nullopt;
  while (*value == ' ' || *value == '\t') ++value;
  if (*value >= '1' && *value <= '5') return *value - '0';
  return std::nullopt;
}

}  // namespace

foundation::Result<ParsedMessage> parseMessage(std::string_view bytes, ParseOptions options) {
  if (!startsWithHeaderField(bytes)) {
    return storeError(StoreErrorCode::Unparseable, "the data does not start with a header field");
  }
  ensureGMimeInitialized();
  GObjectPtr<GMimeStream> stream(g_mime_stream_mem_new_with_buffer(bytes.data(), bytes.size()));
  GObjectPtr<GMimeParser> parser(g_mime_parser_new_with_stream(stream.get()));
  g_mime_parser_set_format(parser.get(), GMIME_FORMAT_MESSAGE);
  GObjectPtr<GMimeMessage> message(g_mime_parser_construct_message(parser.get(), nullptr));
  if (!message) return storeError(StoreErrorCode::Unparseable, "the message cannot be parsed");

  ParsedMessage parsed;
  GMimeMessage* m = message.get();
  parsed.subject = validText(g_mime_message_get_subject(m));
  collectAddresses(g_mime_message_get_from(m), parsed.from);
  collectAddresses(g_mime_message_get_to(m), parsed.to);
  collectAddresses(g_mime_message_get_cc(m), parsed.cc);
  collectAddresses(g_mime_message_get_bcc(m), parsed.bcc);
  if (GDateTime* date = g_mime_message_get_date(m)) parsed.dateSent = g_date_time_to_unix(date);
  parsed.messageID = validText(g_mime_message_get_message_id(m));
  GMimeObject* object = GMIME_OBJECT(m);
  if (auto ids = parseReferences(g_mime_object_get_header(object, "In-Reply-To")); !ids.empty()) {
    parsed.inReplyTo = ids.front();
  }
  parsed.references = parseReferences(g_mime_object_get_header(object, "References"));
  parsed.priority = priorityFromHeader(g_mime_object_get_header(object, "X-Priority"));

  forEachMimeLeaf(
      g_mime_message_get_mime_part(m),
      [&](GMimeObject* leaf, const std::string& number) { addAttachment(leaf, number, parsed); });
  if (options.bodyText) parsed.bodyText = bodyTextOf(m);
  if (options.headers) {
    GMimeHeaderList* list = g_mime_object_get_header_list(object);
    const int count = list ? g_mime_header_list_get_count(list) : 0;
    parsed.headers.reserve(static_cast<std::size_t>(count));
    for (int index = 0; index < count; ++index) {
      GMimeHeader* header = g_mime_header_list_get_header_at(list, index);
      parsed.headers.emplace_back(validText(g_mime_header_get_name(header)),
                                  validText(g_mime_header_get_value(header)));
    }
  }
  return parsed;
}

const std::string* headerValue(const ParsedMessage& message, std::string_view name) {
  for (const auto& [headerName, value] : message.headers) {
    if (g_ascii_strncasecmp(headerName.c_str(), name.data(), name.size()) == 0 &&
        headerName.size() == name.size()) {
      return &value;
    }
  }
  return nullptr;
}

}  // namespace trovadex::mailstore
