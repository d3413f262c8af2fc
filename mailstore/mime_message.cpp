#include "mailstore/mime_message.hpp"

#include <gmime/gmime.h>

#include <algorithm>
#include <cctype>
#include <cstring>
#include <memory>

#include "mailstore/gmime_support.hpp"
#include "mailstore/header_text.hpp"
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

struct ParserOptionsFree {
  void operator()(GMimeParserOptions* options) const { g_mime_parser_options_free(options); }
};
using ParserOptionsPtr = std::unique_ptr<GMimeParserOptions, ParserOptionsFree>;

// How this message's header fields are decoded where GMime's own reading falls short: joined
// adjacent encoded words, and undeclared 8-bit bytes in the charset the message's text declares.
struct HeaderDecoding {
  ParserOptionsPtr charsetOptions;  // null: GMime's defaults (UTF-8, else ISO 8859-1)

  GMimeParserOptions* options() const { return charsetOptions.get(); }

  // The raw value as GMime should read it, when GMime's own reading of raw would be wrong.
  std::optional<std::string> rewritten(const char* raw) const {
    if (!raw) return std::nullopt;
    std::string joined = joinAdjacentEncodedWords(raw);
    if (joined != raw || (charsetOptions && hasEightBitBytes(joined))) return joined;
    return std::nullopt;
  }

  std::string text(const std::string& raw) const {
    GCharPtr unfolded(g_mime_utils_header_unfold(raw.c_str()));
    return validText(GCharPtr(g_mime_utils_header_decode_text(options(), unfolded.get())).get());
  }
};

const char* rawHeader(GMimeObject* object, const char* name) {
  GMimeHeaderList* list = g_mime_object_get_header_list(object);
  GMimeHeader* header = list ? g_mime_header_list_get_header(list, name) : nullptr;
  return header ? g_mime_header_get_raw_value(header) : nullptr;
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
          {collapsedWhiteSpace(validText(internet_address_get_name(address))),
           validText(internet_address_mailbox_get_addr(INTERNET_ADDRESS_MAILBOX(address)))});
    }
  }
}

// The addresses of every field called name: as GMime read them (parsedByGMime), or read again
// from the rewritten raw values when GMime's reading of one of them would be wrong.
void collectAddressField(GMimeObject* object, const char* name, InternetAddressList* parsedByGMime,
                         const HeaderDecoding& decoding, std::vector<MailAddress>& out) {
  GMimeHeaderList* list = g_mime_object_get_header_list(object);
  const int count = list ? g_mime_header_list_get_count(list) : 0;
  std::vector<std::string> values;
  bool rewritten = false;
  for (int index = 0; index < count; ++index) {
    GMimeHeader* header = g_mime_header_list_get_header_at(list, index);
    if (g_ascii_strcasecmp(g_mime_header_get_name(header), name) != 0) continue;
    const char* raw = g_mime_header_get_raw_value(header);
    if (auto better = decoding.rewritten(raw)) {
      values.push_back(std::move(*better));
      rewritten = true;
    } else {
      values.emplace_back(raw ? raw : "");
    }
  }
  if (!rewritten) {
    collectAddresses(parsedByGMime, out);
    return;
  }
  for (const auto& value : values) {
    GObjectPtr<InternetAddressList> parsed(
        internet_address_list_parse(decoding.options(), value.c_str()));
    collectAddresses(parsed.get(), out);
  }
}

std::string subjectOf(GMimeMessage* message, const HeaderDecoding& decoding) {
  if (auto raw = decoding.rewritten(rawHeader(GMIME_OBJECT(message), "Subject"))) {
    std::string subject = decoding.text(*raw);
    g_strstrip(subject.data());
    return subject.c_str();
  }
  return validText(g_mime_message_get_subject(message));
}

// A parameter of the Content-Disposition or Content-Type field, decoded.
std::string parameterOf(GMimeObject* object, const char* field, const char* parameter,
                        const HeaderDecoding& decoding) {
  const bool disposition = g_ascii_strcasecmp(field, "Content-Disposition") == 0;
  if (auto raw = decoding.rewritten(rawHeader(object, field))) {
    if (disposition) {
      GObjectPtr<GMimeContentDisposition> parsed(
          g_mime_content_disposition_parse(decoding.options(), raw->c_str()));
      return validText(parsed ? g_mime_content_disposition_get_parameter(parsed.get(), parameter)
                              : nullptr);
    }
    GObjectPtr<GMimeContentType> parsed(
        g_mime_content_type_parse(decoding.options(), raw->c_str()));
    return validText(parsed ? g_mime_content_type_get_parameter(parsed.get(), parameter) : nullptr);
  }
  return validText(disposition ? g_mime_object_get_content_disposition_parameter(object, parameter)
                               : g_mime_object_get_content_type_parameter(object, parameter));
}

std::string fileNameOf(GMimeObject* object, const HeaderDecoding& decoding) {
  std::string name = parameterOf(object, "Content-Disposition", "filename", decoding);
  if (name.empty()) name = parameterOf(object, "Content-Type", "name", decoding);
  return name;
}

// The date of the newest Received trace field (the topmost) whose date can be read.
std::optional<std::int64_t> lastReceivedDate(GMimeObject* object) {
  GMimeHeaderList* list = g_mime_object_get_header_list(object);
  const int count = list ? g_mime_header_list_get_count(list) : 0;
  for (int index = 0; index < count; ++index) {
    GMimeHeader* header = g_mime_header_list_get_header_at(list, index);
    if (g_ascii_strcasecmp(g_mime_header_get_name(header), "Received") != 0) continue;
    const char* raw = g_mime_header_get_raw_value(header);
    const char* semicolon = raw ? std::strrchr(raw, ';') : nullptr;
    if (!semicolon) continue;
    GDateTime* date = g_mime_utils_header_decode_date(semicolon + 1);
    if (!date) continue;
    const std::int64_t time = g_date_time_to_unix(date);
    g_date_time_unref(date);
    return time;
  }
  return std::nullopt;
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

void addAttachment(GMimeObject* object, const std::string& number, const HeaderDecoding& decoding,
                   ParsedMessage& out) {
  if (!isAttachmentLeaf(object)) return;
  MessageAttachment attachment;
  attachment.mimeType = mimeTypeOf(object);
  attachment.partNumber = number;
  if (GMIME_IS_MESSAGE_PART(object)) {
    const std::string fileName = parameterOf(object, "Content-Disposition", "filename", decoding);
    GMimeMessage* inner = g_mime_message_part_get_message(GMIME_MESSAGE_PART(object));
    const std::string subject = inner ? subjectOf(inner, decoding) : std::string();
    attachment.name = !fileName.empty()  ? fileName
                      : !subject.empty() ? subject + ".eml"
                                         : std::string("Attached Message.eml");
    out.attachments.push_back(std::move(attachment));
    return;
  }
  GMimePart* part = GMIME_PART(object);
  const std::string fileName = fileNameOf(object, decoding);
  attachment.name = !fileName.empty() ? fileName : std::string("Attachment");
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

// The header block: everything before the first empty line.
std::string_view headerBlockOf(std::string_view bytes) {
  std::size_t end = bytes.find("\n\n");
  if (const std::size_t crlf = bytes.find("\r\n\r\n"); crlf < end) end = crlf;
  return bytes.substr(0, end);
}

// Decoding for a message whose header fields carry undeclared 8-bit bytes: UTF-8 when they are
// valid UTF-8, else the charset the message's text declares when they are valid in it, else
// ISO 8859-1.
HeaderDecoding headerDecodingFor(std::string_view bytes, GMimeMessage* message) {
  const std::string_view block = headerBlockOf(bytes);
  if (!hasEightBitBytes(block)) return {};
  GMimeObject* top = g_mime_message_get_mime_part(message);
  GMimeTextPart* body = top ? bodyPartOf(top) : nullptr;
  const char* declared =
      body ? g_mime_object_get_content_type_parameter(GMIME_OBJECT(body), "charset") : nullptr;
  if (!declared && top) declared = g_mime_object_get_content_type_parameter(top, "charset");
  if (!declared) return {};
  const char* charset = g_mime_charset_iconv_name(declared);
  if (!charset || g_ascii_strcasecmp(charset, "UTF-8") == 0 ||
      g_ascii_strcasecmp(charset, "iso-8859-1") == 0 ||
      g_ascii_strcasecmp(g_mime_charset_canon_name(declared), "us-ascii") == 0) {
    return {};
  }
  GError* error = nullptr;
  GCharPtr converted(g_convert(block.data(), static_cast<gssize>(block.size()), "UTF-8", charset,
                               nullptr, nullptr, &error));
  if (error) {
    g_error_free(error);
    return {};
  }
  const std::string canonical = g_mime_charset_canon_name(declared);
  const char* fallbacks[] = {"utf-8", canonical.c_str(), "iso-8859-1", nullptr};
  HeaderDecoding decoding;
  decoding.charsetOptions.reset(g_mime_parser_options_new());
  g_mime_parser_options_set_fallback_charsets(decoding.charsetOptions.get(), fallbacks);
  return decoding;
}

std::optional<std::int64_t> priorityFromHeader(const char* value) {
  if (!value) return std::nullopt;
  while (*value == ' ' || *value == '\t') ++value;
  if (*value >= '1' && *value <= '5') return *value - '0';
  return std::nullopt;
}

}  // namespace

foundation::Result<ParsedMessage> parseMessage(std::string_view bytes, ParseOptions options) {
  // Blanks before the first field name (a damaged first line) do not hide the message.
  bytes.remove_prefix(std::min(bytes.find_first_not_of(" \t"), bytes.size()));
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
  GMimeObject* object = GMIME_OBJECT(m);
  const HeaderDecoding decoding = headerDecodingFor(bytes, m);
  parsed.subject = subjectOf(m, decoding);
  collectAddressField(object, "From", g_mime_message_get_from(m), decoding, parsed.from);
  collectAddressField(object, "To", g_mime_message_get_to(m), decoding, parsed.to);
  collectAddressField(object, "Cc", g_mime_message_get_cc(m), decoding, parsed.cc);
  collectAddressField(object, "Bcc", g_mime_message_get_bcc(m), decoding, parsed.bcc);
  if (GDateTime* date = g_mime_message_get_date(m)) parsed.dateSent = g_date_time_to_unix(date);
  parsed.dateLastReceived = lastReceivedDate(object);
  parsed.messageID = validText(g_mime_message_get_message_id(m));
  if (auto ids = parseReferences(g_mime_object_get_header(object, "In-Reply-To")); !ids.empty()) {
    parsed.inReplyTo = ids.front();
  }
  parsed.references = parseReferences(g_mime_object_get_header(object, "References"));
  parsed.priority = priorityFromHeader(g_mime_object_get_header(object, "X-Priority"));

  forEachMimeLeaf(g_mime_message_get_mime_part(m),
                  [&](GMimeObject* leaf, const std::string& number) {
                    addAttachment(leaf, number, decoding, parsed);
                  });
  if (options.bodyText) parsed.bodyText = bodyTextOf(m);
  if (options.headers) {
    GMimeHeaderList* list = g_mime_object_get_header_list(object);
    const int count = list ? g_mime_header_list_get_count(list) : 0;
    parsed.headers.reserve(static_cast<std::size_t>(count));
    for (int index = 0; index < count; ++index) {
      GMimeHeader* header = g_mime_header_list_get_header_at(list, index);
      auto raw = decoding.rewritten(g_mime_header_get_raw_value(header));
      parsed.headers.emplace_back(
          validText(g_mime_header_get_name(header)),
          raw ? decoding.text(*raw) : validText(g_mime_header_get_value(header)));
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
