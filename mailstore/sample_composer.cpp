#include "mailstore/sample_composer.hpp"

#include <gmime/gmime.h>

#include <algorithm>
#include <array>
#include <cstdio>
#include <optional>

#include "mailstore/gmime_support.hpp"
#include "mailstore/prng.hpp"

namespace trovadex::mailstore::sample {
namespace {

constexpr std::array<const char*, 7> kWeekdays{"Sun", "Mon", "Tue", "Wed", "Thu", "Fri", "Sat"};
constexpr std::array<const char*, 12> kMonths{"Jan", "Feb", "Mar", "Apr", "May", "Jun",
                                              "Jul", "Aug", "Sep", "Oct", "Nov", "Dec"};
constexpr std::size_t kLineWidth = 72;

// Shapes of real-world mail, drawn from a random stream of their own so that the rest of every
// message (its words, its planted words) is the same with or without them.
constexpr std::uint64_t kWildShapesStream = 0x77696C64;  // "wild"
constexpr double kFoldedEncodedSubjectShare = 0.05;
constexpr double kFoldedEncodedNameShare = 0.05;
constexpr double kMalformedHtmlOnlyShare = 0.3;      // of the messages with an HTML version
constexpr double kForwardedAttachmentsShare = 0.15;  // of the messages with attachments
// Charsets mailers fold headers in; each is an ASCII superset, tried in turn until one can hold
// the text.
constexpr std::array<const char*, 5> kHeaderCharsets{"UTF-8", "ISO-2022-JP", "KOI8-R", "ISO-8859-1",
                                                     "windows-1252"};
constexpr std::size_t kBase64LineWidth = 76;

bool isAscii(std::string_view text) {
  return std::all_of(text.begin(), text.end(),
                     [](char c) { return static_cast<unsigned char>(c) < 128; });
}

std::string mailboxText(const SamplePerson& person) {
  if (person.name.empty()) return person.address;
  GObjectPtr<InternetAddress> address(
      internet_address_mailbox_new(person.name.c_str(), person.address.c_str()));
  return takeGString(internet_address_to_string(address.get(), nullptr, TRUE));
}

// "To: a, b, c\n", folded as a mail client folds it.
std::string addressField(const char* name, const SamplePlan& plan,
                         const std::vector<std::size_t>& people) {
  if (people.empty()) return {};
  GObjectPtr<InternetAddressList> list(internet_address_list_new());
  for (const auto index : people) {
    const SamplePerson& person = plan.people[index];
    GObjectPtr<InternetAddress> address(internet_address_mailbox_new(
        person.name.empty() ? nullptr : person.name.c_str(), person.address.c_str()));
    internet_address_list_add(list.get(), address.get());
  }
  GString* text = g_string_new(name);
  g_string_append(text, ": ");
  internet_address_list_encode(list.get(), nullptr, text);
  return takeGString(g_string_free(text, FALSE));
}

std::string encodedWord(std::string_view text) {
  return "=?UTF-8?B?" +
         takeGString(g_base64_encode(reinterpret_cast<const guchar*>(text.data()), text.size())) +
         "?=";
}

// text as a run of adjacent base64 encoded words in charset, one per word of text (each but the
// first with its leading space), folded one word a line the way many mailers write them.
std::optional<std::string> foldedEncodedWords(std::string_view text, const char* charset) {
  std::string out;
  std::size_t at = 0;
  while (at < text.size()) {
    std::size_t end = text.find(' ', at + 1);
    if (end == std::string_view::npos) end = text.size();
    gsize written = 0;
    GError* error = nullptr;
    GCharPtr bytes(g_convert(text.data() + at, static_cast<gssize>(end - at), charset, "UTF-8",
                             nullptr, &written, &error));
    if (error) {
      g_error_free(error);
      return std::nullopt;
    }
    if (!out.empty()) out += "\n ";
    out += "=?" + std::string(charset) + "?B?" +
           takeGString(g_base64_encode(reinterpret_cast<const guchar*>(bytes.get()), written)) +
           "?=";
    at = end;
  }
  return out;
}

std::optional<std::string> foldedEncodedWords(std::string_view text, Prng& prng) {
  const std::size_t first = prng.below(kHeaderCharsets.size());
  for (std::size_t tried = 0; tried < kHeaderCharsets.size(); ++tried) {
    const char* charset = kHeaderCharsets[(first + tried) % kHeaderCharsets.size()];
    if (auto words = foldedEncodedWords(text, charset)) return words;
  }
  return std::nullopt;
}

// RFC 2231: UTF-8''percent-encoded.
std::string extendedValue(std::string_view text) {
  static constexpr char kHex[] = "0123456789ABCDEF";
  std::string value = "UTF-8''";
  for (const char c : text) {
    const auto byte = static_cast<unsigned char>(c);
    if (g_ascii_isalnum(c) || c == '.' || c == '-' || c == '_') {
      value += c;
    } else {
      value += '%';
      value += kHex[byte >> 4];
      value += kHex[byte & 15];
    }
  }
  return value;
}

std::string base64Lines(std::string_view bytes) {
  const std::string encoded =
      takeGString(g_base64_encode(reinterpret_cast<const guchar*>(bytes.data()), bytes.size()));
  std::string lines;
  lines.reserve(encoded.size() + encoded.size() / kBase64LineWidth + 1);
  for (std::size_t at = 0; at < encoded.size(); at += kBase64LineWidth) {
    lines.append(encoded, at, kBase64LineWidth);
    lines += '\n';
  }
  return lines;
}

std::string htmlEscaped(std::string_view text) {
  std::string out;
  for (const char c : text) {
    switch (c) {
      case '&':
        out += "&amp;";
        break;
      case '<':
        out += "&lt;";
        break;
      case '>':
        out += "&gt;";
        break;
      default:
        out += c;
    }
  }
  return out;
}

class Composer {
 public:
  Composer(const SamplePlan& plan, const MessagePlan& message, std::uint64_t seed)
      : plan_(plan),
        message_(message),
        prng_(Prng::forStream(seed, message.stream)),
        wild_(Prng::forStream(seed ^ kWildShapesStream, message.stream)) {
    foldSubject_ = wild_.chance(kFoldedEncodedSubjectShare);
    foldAuthorName_ = wild_.chance(kFoldedEncodedNameShare);
    malformedHtmlOnly_ = message.html && wild_.chance(kMalformedHtmlOnlyShare);
    // A partial message keeps its attachments at the top, where the store strips them.
    forwardAttachments_ = !message.attachments.empty() && !message.partial &&
                          wild_.chance(kForwardedAttachmentsShare);
  }

  std::string compose() {
    std::string out = headers();
    const std::string boundary = "=_trovadex_" + std::to_string(message_.stream);
    if (message_.attachments.empty()) {
      out += textEntity(boundary + "_a");
      return out;
    }
    out += "Content-Type: multipart/mixed; boundary=\"" + boundary + "\"\n\n";
    out += "This is a multi-part message in MIME format.\n";
    out += "--" + boundary + "\n" + textEntity(boundary + "_a");
    if (forwardAttachments_) {
      out += "\n--" + boundary + "\n" + forwardedMessage(boundary + "_f");
    } else {
      for (const auto& attachment : message_.attachments) {
        out += "\n--" + boundary + "\n" + attachmentEntity(attachment);
      }
    }
    out += "\n--" + boundary + "--\n";
    return out;
  }

 private:
  // The attachments inside an inline attached message, as a forwarding mailer sends them.
  std::string forwardedMessage(const std::string& boundary) {
    const SamplePerson& author = plan_.people[message_.author];
    std::string out = "Content-Type: message/rfc822\nContent-Disposition: inline\n\n";
    out += "From: " + mailboxText(author) + "\nSubject: Files\nMIME-Version: 1.0\n";
    out += "Content-Type: multipart/mixed; boundary=\"" + boundary + "\"\n\n";
    out += "--" + boundary + "\nContent-Type: text/plain; charset=utf-8\n\nThe files.\n";
    for (const auto& attachment : message_.attachments) {
      out += "\n--" + boundary + "\n" + attachmentEntity(attachment);
    }
    return out + "\n--" + boundary + "--\n";
  }

  std::string headers() {
    const SamplePerson& author = plan_.people[message_.author];
    std::optional<std::string> foldedName;
    if (foldAuthorName_ && !author.name.empty()) {
      foldedName = foldedEncodedWords(author.name, wild_);
    }
    std::string out =
        "From: " + (foldedName ? *foldedName + " <" + author.address + ">" : mailboxText(author)) +
        "\n";
    out += addressField("To", plan_, message_.to);
    out += addressField("Cc", plan_, message_.cc);
    out += addressField("Bcc", plan_, message_.bcc);
    std::optional<std::string> foldedSubject;
    if (foldSubject_) foldedSubject = foldedEncodedWords(message_.subject, wild_);
    out += "Subject: " +
           (foldedSubject ? *foldedSubject
                          : takeGString(g_mime_utils_header_encode_text(
                                nullptr, message_.subject.c_str(), "utf-8"))) +
           "\n";
    if (!message_.omitDateField) {
      out += "Date: " + rfc822Date(message_.dateSent, author.timeZoneMinutes) + "\n";
    } else {
      // Without a Date field, the trace field the receiving server added tells when it arrived.
      out += "Received: from mx.example.net by mail.example.org;\n " +
             rfc822Date(message_.dateReceived, 0) + "\n";
    }
    out += "Message-ID: <" + message_.messageID + ">\n";
    if (!message_.references.empty()) {
      out += "In-Reply-To: <" + message_.references.back() + ">\n";
      out += "References:";
      for (const auto& id : message_.references) out += " <" + id + ">";
      out += "\n";
    }
    if (message_.priority) {
      out += *message_.priority == 1 ? "X-Priority: 1 (Highest)\n" : "X-Priority: 5 (Lowest)\n";
    }
    out += "MIME-Version: 1.0\n";
    return out;
  }

  std::string charset() const { return message_.latin1 ? "iso-8859-1" : "utf-8"; }

  std::string encodedText(const std::string& utf8) const {
    if (!message_.latin1) return utf8;
    gsize written = 0;
    return takeGString(g_convert_with_fallback(utf8.c_str(), static_cast<gssize>(utf8.size()),
                                               "ISO-8859-1", "UTF-8", "?", nullptr, &written,
                                               nullptr));
  }

  std::string textPart(const std::string& type, const std::string& text) const {
    const std::string bytes = encodedText(text);
    return "Content-Type: text/" + type + "; charset=" + charset() + "\n" +
           "Content-Transfer-Encoding: " + (isAscii(bytes) ? "7bit" : "8bit") + "\n\n" + bytes;
  }

  // The message's text (and its HTML alternative): the headers of the entity and its body.
  std::string textEntity(const std::string& boundary) {
    const std::vector<std::string> paragraphs = bodyParagraphs();
    std::string plain;
    for (const auto& paragraph : paragraphs) plain += wrapped(paragraph) + "\n";
    plain += "-- \n" + signature() + "\n";
    if (!message_.html) return textPart("plain", plain);
    if (malformedHtmlOnly_) return textPart("html", malformedHtml(paragraphs));
    std::string html = "<html><body>\n";
    for (const auto& paragraph : paragraphs) html += "<p>" + htmlEscaped(paragraph) + "</p>\n";
    html += "<p>-- <br>" + htmlEscaped(signature()) + "</p>\n</body></html>\n";
    return "Content-Type: multipart/alternative; boundary=\"" + boundary + "\"\n\n" + "--" +
           boundary + "\n" + textPart("plain", plain) + "\n--" + boundary + "\n" +
           textPart("html", html) + "\n--" + boundary + "--\n";
  }

  // An HTML-only body as careless mailers and templates write it: a style sheet, stray closing
  // style and script tags, unclosed paragraphs, empty comments and inline markup inside words.
  std::string malformedHtml(const std::vector<std::string>& paragraphs) {
    std::string html =
        "<html><head><style type=\"text/css\">p { margin: 0 }</style></head><body>\n";
    for (std::size_t index = 0; index < paragraphs.size(); ++index) {
      std::string paragraph = htmlEscaped(paragraphs[index]);
      if (const std::size_t space = paragraph.find(' '); space != std::string::npos && space > 2) {
        paragraph.insert(space - 1, wild_.chance(0.5) ? "<!---->" : "<b></b>");
      }
      html += (wild_.chance(0.5) ? "<p>" : "<div>") + paragraph + "\n";
      if (index == 0) html += wild_.chance(0.5) ? "</style>\n" : "</script>\n";
    }
    html += "<p>-- <br>" + htmlEscaped(signature()) + "\n</body>\n";
    return html;
  }

  std::string signature() const {
    const SamplePerson& author = plan_.people[message_.author];
    return author.name.empty() ? author.address : author.name;
  }

  std::string nextWord() {
    if (message_.latin1 ? prng_.chance(0.08) : prng_.chance(0.01)) {
      return std::string(prng_.pick(latinWords()));
    }
    if (!message_.latin1 && prng_.chance(0.003)) return std::string(prng_.pick(unicodeWords()));
    return std::string(prng_.pick(words()));
  }

  std::vector<std::string> bodyParagraphs() {
    const auto wordCount =
        static_cast<std::size_t>(std::clamp(prng_.logNormal(90, 0.8), 8.0, 2500.0));
    std::vector<std::string> bodyWords;
    bodyWords.reserve(wordCount + message_.plantedBodyWords.size());
    for (std::size_t index = 0; index < wordCount; ++index) bodyWords.push_back(nextWord());
    for (const auto& planted : message_.plantedBodyWords) {
      bodyWords.insert(
          bodyWords.begin() + static_cast<std::ptrdiff_t>(prng_.below(bodyWords.size() + 1)),
          planted);
    }
    const SamplePerson& greeted = plan_.people[message_.to.front()];
    std::vector<std::string> paragraphs{"Hi " +
                                        (greeted.name.empty()
                                             ? std::string("there")
                                             : greeted.name.substr(0, greeted.name.find(' '))) +
                                        ","};
    std::string paragraph;
    std::size_t sentenceLeft = 0;
    std::size_t sentencesLeft = static_cast<std::size_t>(prng_.between(2, 5));
    for (std::size_t index = 0; index < bodyWords.size(); ++index) {
      std::string word = bodyWords[index];
      if (sentenceLeft == 0) {
        sentenceLeft = static_cast<std::size_t>(prng_.between(5, 14));
        // Planted words keep their case, so that they are found exactly as the manifest says.
        const bool planted =
            std::find(message_.plantedBodyWords.begin(), message_.plantedBodyWords.end(), word) !=
            message_.plantedBodyWords.end();
        if (!planted && word[0] >= 'a' && word[0] <= 'z') word[0] = static_cast<char>(word[0] - 32);
      }
      if (!paragraph.empty()) paragraph += ' ';
      paragraph += word;
      if (--sentenceLeft == 0 || index + 1 == bodyWords.size()) {
        paragraph += '.';
        sentenceLeft = 0;
        if (--sentencesLeft == 0 || index + 1 == bodyWords.size()) {
          paragraphs.push_back(std::move(paragraph));
          paragraph.clear();
          sentencesLeft = static_cast<std::size_t>(prng_.between(2, 5));
        }
      }
    }
    paragraphs.emplace_back(prng_.chance(0.5) ? "Best regards," : "Thanks,");
    return paragraphs;
  }

  static std::string wrapped(const std::string& paragraph) {
    std::string out;
    std::size_t lineLength = 0;
    std::size_t at = 0;
    while (at < paragraph.size()) {
      std::size_t end = paragraph.find(' ', at);
      if (end == std::string::npos) end = paragraph.size();
      const std::size_t length = end - at;
      if (lineLength > 0 && lineLength + 1 + length > kLineWidth) {
        out += '\n';
        lineLength = 0;
      } else if (lineLength > 0) {
        out += ' ';
        ++lineLength;
      }
      out.append(paragraph, at, length);
      lineLength += length;
      at = end + 1;
    }
    return out + "\n";
  }

  std::string attachmentEntity(const PlannedAttachment& attachment) {
    const AttachmentKind& kind = attachmentKinds()[attachment.kind];
    std::string content(kind.magic);
    if (kind.mimeType.starts_with("text/")) {
      while (content.size() < static_cast<std::size_t>(attachment.size)) {
        content += std::string(prng_.pick(words())) + (prng_.chance(0.1) ? "\r\n" : " ");
      }
    } else {
      content.reserve(static_cast<std::size_t>(attachment.size) + 8);
      while (content.size() < static_cast<std::size_t>(attachment.size)) {
        std::uint64_t draw = prng_.next();
        for (int byte = 0; byte < 8; ++byte, draw >>= 8) {
          content += static_cast<char>(draw & 0xFF);
        }
      }
    }
    content.resize(std::max(content.size(), static_cast<std::size_t>(attachment.size)));

    std::string nameParameter;
    std::string fileNameParameter;
    const std::string& name = attachment.fileName;
    if (isAscii(name)) {
      nameParameter = "name=\"" + name + "\"";
      fileNameParameter = "filename=\"" + name + "\"";
    } else if (prng_.chance(0.5)) {
      nameParameter = "name*=" + extendedValue(name);
      fileNameParameter = "filename*=" + extendedValue(name);
    } else {
      nameParameter = "name=\"" + encodedWord(name) + "\"";
      fileNameParameter = "filename=\"" + encodedWord(name) + "\"";
    }
    return "Content-Type: " + std::string(kind.mimeType) + "; " + nameParameter + "\n" +
           "Content-Disposition: attachment; " + fileNameParameter + "\n" +
           "Content-Transfer-Encoding: base64\n\n" + base64Lines(content);
  }

  const SamplePlan& plan_;
  const MessagePlan& message_;
  Prng prng_;
  Prng wild_;
  bool foldSubject_ = false;
  bool foldAuthorName_ = false;
  bool malformedHtmlOnly_ = false;
  bool forwardAttachments_ = false;
};

}  // namespace

std::string rfc822Date(std::int64_t unixTime, int zoneMinutes) {
  const std::int64_t local = unixTime + zoneMinutes * 60;
  std::int64_t days = local / 86400;
  std::int64_t seconds = local % 86400;
  if (seconds < 0) {
    seconds += 86400;
    --days;
  }
  const std::int64_t weekday = ((days % 7) + 11) % 7;  // 1970-01-01 was a Thursday
  std::int64_t shifted = days + 719468;
  const std::int64_t era = (shifted >= 0 ? shifted : shifted - 146096) / 146097;
  const std::int64_t dayOfEra = shifted - era * 146097;
  const std::int64_t yearOfEra =
      (dayOfEra - dayOfEra / 1460 + dayOfEra / 36524 - dayOfEra / 146096) / 365;
  const std::int64_t dayOfYear = dayOfEra - (365 * yearOfEra + yearOfEra / 4 - yearOfEra / 100);
  const std::int64_t monthIndex = (5 * dayOfYear + 2) / 153;
  const std::int64_t day = dayOfYear - (153 * monthIndex + 2) / 5 + 1;
  const std::int64_t month = monthIndex < 10 ? monthIndex + 3 : monthIndex - 9;
  const std::int64_t year = yearOfEra + era * 400 + (month <= 2 ? 1 : 0);
  const int zone = zoneMinutes < 0 ? -zoneMinutes : zoneMinutes;
  char text[64];
  std::snprintf(text, sizeof text, "%s, %d %s %lld %02d:%02d:%02d %c%02d%02d",
                kWeekdays[static_cast<std::size_t>(weekday)], static_cast<int>(day),
                kMonths[static_cast<std::size_t>(month - 1)], static_cast<long long>(year),
                static_cast<int>(seconds / 3600), static_cast<int>(seconds / 60 % 60),
                static_cast<int>(seconds % 60), zoneMinutes < 0 ? '-' : '+', zone / 60, zone % 60);
  return text;
}

std::string composeSampleMessage(const SamplePlan& plan, const MessagePlan& message,
                                 std::uint64_t seed) {
  ensureGMimeInitialized();
  return Composer(plan, message, seed).compose();
}

}  // namespace trovadex::mailstore::sample
