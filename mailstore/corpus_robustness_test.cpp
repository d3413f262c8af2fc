// Real sample mail from the shared corpora, read in place (skipped when this checkout has none),
// checked for what no generated message can hide: every message a mail reader would show is read,
// its encoded header text is whole and readable, and its text yields words.
#include <gmime/gmime.h>
#include <gtest/gtest.h>

#include <algorithm>
#include <fstream>
#include <iterator>
#include <sstream>

#include "mailstore/emlx.hpp"
#include "mailstore/gmime_support.hpp"
#include "mailstore/mime_message.hpp"
#include "mailstore/test_support.hpp"

namespace trovadex::mailstore {
namespace {

constexpr std::string_view kReplacementCharacter = "\xEF\xBF\xBD";

struct CorpusMessage {
  std::string where;
  std::string bytes;
};

std::vector<CorpusMessage> corpusMessages() {
  const auto corpora = testing::corporaFolder();
  std::vector<CorpusMessage> messages;
  for (const char* folder : {"enmime-testdata/mail", "enmime-testdata/low-quality",
                             "python-email-testdata", "emlx-samples"}) {
    if (!std::filesystem::is_directory(corpora / folder)) continue;
    for (const auto& entry : std::filesystem::recursive_directory_iterator(corpora / folder)) {
      const auto& path = entry.path();
      const std::string name = path.filename().string();
      if (!entry.is_regular_file() || name.starts_with("LICENSE") ||
          name.starts_with("COPYRIGHT") ||
          path.string().find("/Attachments/") != std::string::npos) {
        continue;
      }
      std::string bytes;
      if (name.ends_with(".emlx")) {
        auto file = readEmlxFile(path);
        if (!file) continue;  // the broken samples; the emlx tests cover them
        bytes = std::move(file.value().message);
      } else if (name.ends_with(".raw") || name.ends_with(".txt")) {
        std::ifstream in(path, std::ios::binary);
        bytes.assign(std::istreambuf_iterator<char>(in), {});
      } else {
        continue;
      }
      if (bytes.starts_with("From ")) bytes.erase(0, bytes.find('\n') + 1);  // an mbox separator
      messages.push_back({path.string(), std::move(bytes)});
    }
  }
  return messages;
}

// The raw value of the first top-level field called name (case-insensitive), folding kept.
std::optional<std::string> rawField(std::string_view bytes, std::string_view name) {
  std::size_t at = 0;
  while (at < bytes.size() && bytes[at] != '\n' && bytes[at] != '\r') {
    std::size_t end = at;
    do {
      end = bytes.find('\n', end);
      end = end == std::string_view::npos ? bytes.size() : end + 1;
    } while (end < bytes.size() && (bytes[end] == ' ' || bytes[end] == '\t'));
    const std::string_view field = bytes.substr(at, end - at);
    if (field.size() > name.size() && field[name.size()] == ':' &&
        g_ascii_strncasecmp(field.data(), name.data(), name.size()) == 0) {
      return std::string(field.substr(name.size() + 1));
    }
    at = end;
  }
  return std::nullopt;
}

std::string withoutWhiteSpace(std::string_view text) {
  std::string out;
  std::copy_if(text.begin(), text.end(), std::back_inserter(out),
               [](char c) { return !g_ascii_isspace(c); });
  return out;
}

// The texts of the runs of encoded words in raw (adjacent words of one charset as one run),
// decoded independently of the code under test; nothing when a run's bytes are no valid text in
// its charset (then there is nothing a reader could be sure of).
std::optional<std::vector<std::string>> encodedRunTexts(const std::string& raw) {
  std::vector<std::string> texts;
  GRegex* word = g_regex_new("=\\?([^?\\s*]+)(\\*[^?\\s]*)?\\?([BbQq])\\?([^?\\s]*)\\?=(\\s*)",
                             G_REGEX_RAW, GRegexMatchFlags(0), nullptr);
  GMatchInfo* match = nullptr;
  std::string charset, bytes;
  std::size_t runEnd = std::string::npos;
  bool valid = true;
  auto flush = [&] {
    if (charset.empty()) return;
    GError* error = nullptr;
    gchar* text = g_convert(bytes.data(), static_cast<gssize>(bytes.size()), "UTF-8",
                            g_mime_charset_iconv_name(charset.c_str()), nullptr, nullptr, &error);
    if (error) {
      valid = false;
      g_error_free(error);
    } else {
      texts.emplace_back(text);
    }
    g_free(text);
    charset.clear();
    bytes.clear();
  };
  g_regex_match(word, raw.c_str(), GRegexMatchFlags(0), &match);
  for (; g_match_info_matches(match); g_match_info_next(match, nullptr)) {
    gint start = 0, end = 0;
    g_match_info_fetch_pos(match, 0, &start, &end);
    const std::string wordCharset = GCharPtr(g_match_info_fetch(match, 1)).get();
    const char encoding = GCharPtr(g_match_info_fetch(match, 3)).get()[0];
    const std::string payload = GCharPtr(g_match_info_fetch(match, 4)).get();
    if (static_cast<std::size_t>(start) != runEnd ||
        g_ascii_strcasecmp(wordCharset.c_str(), charset.c_str()) != 0) {
      flush();
    }
    charset = wordCharset;
    if (encoding == 'B' || encoding == 'b') {
      gsize length = 0;
      guchar* decoded = g_base64_decode(payload.c_str(), &length);
      bytes.append(reinterpret_cast<const char*>(decoded), length);
      g_free(decoded);
    } else {
      for (std::size_t at = 0; at < payload.size(); ++at) {
        if (payload[at] == '_') {
          bytes += ' ';
        } else if (payload[at] == '=' && at + 2 < payload.size()) {
          bytes += static_cast<char>(std::stoi(payload.substr(at + 1, 2), nullptr, 16));
          at += 2;
        } else {
          bytes += payload[at];
        }
      }
    }
    runEnd = static_cast<std::size_t>(end);
  }
  flush();
  g_match_info_free(match);
  g_regex_unref(word);
  if (!valid) return std::nullopt;
  return texts;
}

bool hasLetterOrDigit(std::string_view text) {
  for (const char* at = text.data(); at < text.data() + text.size(); at = g_utf8_next_char(at)) {
    if (g_unichar_isalnum(g_utf8_get_char(at))) return true;
  }
  return false;
}

// The text GMime itself finds in the message's main text part, to compare the body text with.
std::string gmimeBodyText(const std::string& bytes) {
  ensureGMimeInitialized();
  GObjectPtr<GMimeStream> stream(g_mime_stream_mem_new_with_buffer(bytes.data(), bytes.size()));
  GObjectPtr<GMimeParser> parser(g_mime_parser_new_with_stream(stream.get()));
  GObjectPtr<GMimeMessage> message(g_mime_parser_construct_message(parser.get(), nullptr));
  GMimeObject* body = message ? g_mime_message_get_body(message.get()) : nullptr;
  if (!body || !GMIME_IS_TEXT_PART(body)) return {};
  GMimeContentType* type = g_mime_object_get_content_type(body);
  // Text that comes as a file is an attachment, not the message's text.
  if (!g_mime_content_type_is_type(type, "text", "plain") ||
      g_mime_part_is_attachment(GMIME_PART(body)) || g_mime_part_get_filename(GMIME_PART(body))) {
    return {};
  }
  return takeGString(g_mime_text_part_get_text(GMIME_TEXT_PART(body)));
}

TEST(CorpusRobustness, RealMailReadsWholeAndReadable) {
  const auto messages = corpusMessages();
  if (messages.empty()) GTEST_SKIP() << "no mail corpora at " << testing::corporaFolder();
  std::size_t checkedHeaders = 0;
  for (const auto& [where, bytes] : messages) {
    SCOPED_TRACE(where);
    // A mail reader shows anything that starts with a header field.
    const bool startsWithField = !bytes.empty() && bytes.find(':') < bytes.find('\n');
    auto parsed = parseMessage(bytes);
    if (!startsWithField) continue;
    ASSERT_TRUE(parsed) << parsed.error().description();
    const ParsedMessage& m = parsed.value();

    if (auto raw = rawField(bytes, "Subject"); raw && !withoutWhiteSpace(*raw).empty()) {
      EXPECT_FALSE(m.subject.empty());
      if (auto runs = encodedRunTexts(*raw)) {
        ++checkedHeaders;
        const std::string subject = withoutWhiteSpace(m.subject);
        for (const auto& run : *runs) {
          EXPECT_NE(subject.find(withoutWhiteSpace(run)), std::string::npos)
              << "subject \"" << m.subject << "\" lacks \"" << run << "\"";
        }
        if (g_str_is_ascii(raw->c_str())) {
          EXPECT_EQ(m.subject.find(kReplacementCharacter), std::string::npos) << m.subject;
        }
      }
    }
    if (auto raw = rawField(bytes, "From")) {
      if (auto runs = encodedRunTexts(*raw); runs && !runs->empty()) {
        ++checkedHeaders;
        std::string names;
        for (const auto& address : m.from) names += withoutWhiteSpace(address.name);
        for (const auto& run : *runs) {
          EXPECT_NE(names.find(withoutWhiteSpace(run)), std::string::npos)
              << "names \"" << names << "\" lack \"" << run << "\"";
        }
      }
    }
    for (const auto& [name, value] : m.headers) {
      EXPECT_TRUE(g_utf8_validate(value.c_str(), -1, nullptr)) << name;
    }
    if (hasLetterOrDigit(gmimeBodyText(bytes))) {
      EXPECT_TRUE(hasLetterOrDigit(m.bodyText)) << "no words in the text";
    }
  }
  EXPECT_GT(checkedHeaders, 10u);
}

}  // namespace
}  // namespace trovadex::mailstore
