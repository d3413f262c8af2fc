#include "spotlight/generated_corpus.hpp"

#include <array>
#include <cstdio>

namespace trovadex::spotlight {
namespace {

using foundation::Value;

constexpr std::array<const char*, 16> kSyllables = {"ka", "lo", "mi",  "ne", "ru",  "sa",
                                                    "to", "vi", "bre", "dé", "fou", "gra",
                                                    "ü",  "ch", "an",  "or"};
constexpr std::array<const char*, 16> kPlanted = {
    "invoice", "Invoices", "lunch", "Paris",  "MyWindowClass", "NSWindow", "Frédéric",  "Straße",
    "meeting", "re:",      "東京",  "report", "file_name",     "e-mail",   "Quarterly", "Zoë"};
constexpr std::array<const char*, 12> kFirstNames = {"Frédéric", "Zoë",   "Jürgen", "Łukasz",
                                                     "Anna",     "Bob",   "Chloé",  "Dmitri",
                                                     "Émilie",   "Kenji", "Steve",  "Tim"};
constexpr std::array<const char*, 10> kLastNames = {
    "Müller", "Dupont", "Smith", "Nováková", "Tanaka", "O'Brien", "García", "Cook", "Jobs", "山田"};
constexpr std::array<const char*, 6> kDomains = {"example.com",  "mail.test", "société.fr",
                                                 "corp.example", "uni.edu",   "billing.biz"};
constexpr std::array<const char*, 5> kAttachmentKinds = {
    "Invoice PDF", "JPEG image", "Word Document", "Spreadsheet", "Calendar Invitation"};
// The attributes queries name, with the kind of literal that suits them.
enum class Shape { Text, Number, Date };
struct QueryAttribute {
  const char* name;
  Shape shape;
};
constexpr std::array<QueryAttribute, 15> kQueryAttributes = {{
    {"kMDItemSubject", Shape::Text},
    {"subject", Shape::Text},
    {"kMDItemAuthors", Shape::Text},
    {"kMDItemAuthorEmailAddresses", Shape::Text},
    {"kMDItemRecipients", Shape::Text},
    {"kMDItemTextContent", Shape::Text},
    {"kMDItemContentType", Shape::Text},
    {"com_apple_mail_attachmentKinds", Shape::Text},
    {"*", Shape::Text},
    {"**", Shape::Text},
    {"kMDItemUnknownThing", Shape::Text},
    {"kMDItemFSSize", Shape::Number},
    {"_kMDItemExternalID", Shape::Number},
    {"com_apple_mail_flagged", Shape::Number},
    {"kMDItemContentCreationDate", Shape::Date},
}};
constexpr double kTenYears = 10 * 365.25 * 86400;

}  // namespace

CorpusGenerator::CorpusGenerator(CorpusOptions options)
    : options_(options), state_(options.seed * 0x9E3779B97F4A7C15ULL + 1) {
  for (const char* planted : kPlanted) vocabulary_.emplace_back(planted);
  while (vocabulary_.size() < 1200) {
    std::string word;
    const std::size_t syllables = 2 + below(3);
    for (std::size_t i = 0; i < syllables; ++i) word += kSyllables[below(kSyllables.size())];
    if (chance(8)) word[0] = static_cast<char>(word[0] - 'a' + 'A');
    vocabulary_.push_back(word);
  }
}

std::uint64_t CorpusGenerator::next() {
  // splitmix64: small, fast and the same everywhere.
  std::uint64_t z = (state_ += 0x9E3779B97F4A7C15ULL);
  z = (z ^ (z >> 30)) * 0xBF58476D1CE4E5B9ULL;
  z = (z ^ (z >> 27)) * 0x94D049BB133111EBULL;
  return z ^ (z >> 31);
}

std::string CorpusGenerator::randomWord() {
  // A skewed pick: low indexes (the planted words among them) are far more common.
  const std::size_t a = below(vocabulary_.size());
  const std::size_t b = below(vocabulary_.size());
  return vocabulary_[chance(50) ? std::min(a, b) : a];
}

platform::SearchableItem CorpusGenerator::item(std::uint64_t index) {
  state_ = (options_.seed << 32) ^ (index * 0xD1B54A32D192ED03ULL);
  Value::Dictionary a;
  a["kMDItemContentType"] = chance(96) ? "public.email-message" : "public.plain-text";
  std::string subject = chance(15) ? "Re: " : "";
  const std::size_t subjectWords = 1 + below(7);
  for (std::size_t i = 0; i < subjectWords; ++i) {
    if (i > 0) subject += chance(10) ? "-" : " ";
    subject += randomWord();
  }
  if (!chance(3)) a["kMDItemSubject"] = subject;
  auto person = [&] {
    return std::string(kFirstNames[below(kFirstNames.size())]) + " " +
           kLastNames[below(kLastNames.size())];
  };
  auto address = [&](const std::string& name) {
    std::string local;
    for (char c : name) {
      if ((c >= 'A' && c <= 'Z') || (c >= 'a' && c <= 'z')) local += static_cast<char>(c | 0x20);
      if (c == ' ') local += '.';
    }
    return local + "@" + kDomains[below(kDomains.size())];
  };
  const std::string author = person();
  a["kMDItemAuthors"] = Value::Array{author};
  a["kMDItemAuthorEmailAddresses"] = Value::Array{address(author)};
  Value::Array recipients;
  Value::Array recipientAddresses;
  const std::size_t recipientCount = 1 + below(3);
  for (std::size_t i = 0; i < recipientCount; ++i) {
    const std::string name = person();
    recipients.emplace_back(name);
    recipientAddresses.emplace_back(address(name));
  }
  a["kMDItemRecipients"] = Value::Array(recipients);
  a["kMDItemRecipientEmailAddresses"] = Value::Array(recipientAddresses);
  const double created =
      options_.newestDate - static_cast<double>(below(1000000)) / 1e6 * kTenYears;
  a["kMDItemContentCreationDate"] = foundation::Date::withTimeIntervalSinceReferenceDate(created);
  a["com_apple_mail_dateReceived"] = foundation::Date::withTimeIntervalSinceReferenceDate(
      created + static_cast<double>(below(600)));
  a["kMDItemFSSize"] = Value::integer(static_cast<std::int64_t>(500 + below(2000000)));
  a["com_apple_mail_flagged"] = Value::boolean(chance(10));
  a["_kMDItemExternalID"] = Value::integer(static_cast<std::int64_t>(index));
  if (chance(20)) {
    a["com_apple_mail_attachmentKinds"] =
        Value::Array{std::string(kAttachmentKinds[below(kAttachmentKinds.size())])};
  }
  if (options_.withBodies) {
    std::string body;
    const std::size_t bodyWords =
        options_.bodyWordsMin + below(options_.bodyWordsMax - options_.bodyWordsMin + 1);
    for (std::size_t i = 0; i < bodyWords; ++i) {
      if (i > 0) body += chance(8) ? ". " : " ";
      body += randomWord();
    }
    a["kMDItemTextContent"] = body;
  }
  platform::SearchableItem out;
  out.uniqueIdentifier = "item-" + std::to_string(index);
  out.domainIdentifier = "mailbox-" + std::to_string(index % 7);
  out.attributeSet.attributes = std::move(a);
  return out;
}

std::string CorpusGenerator::textValue() {
  std::string word;
  switch (below(8)) {
    case 0:
      word = std::string(kFirstNames[below(kFirstNames.size())]);
      break;
    case 1:
      word = "public.email-message";
      break;
    case 2:
      word = std::string(kAttachmentKinds[below(kAttachmentKinds.size())]);
      break;
    default:
      word = randomWord();
      break;
  }
  // Cut the word to give prefixes, suffixes and infixes; escape what would end the string.
  std::string core = word;
  if (core.size() > 3 && chance(40)) core = core.substr(0, 2 + below(core.size() - 2));
  std::string escaped;
  for (char c : core) {
    if (c == '"' || c == '\\' || c == '*') escaped += '\\';
    escaped += c;
  }
  switch (below(7)) {
    case 0:
      return escaped + "*";
    case 1:
      return "*" + escaped;
    case 2:
      return "*" + escaped + "*";
    case 3:
      return escaped.size() > 2 ? escaped.substr(0, 1) + "*" + escaped.substr(2) : escaped;
    case 4:
      return escaped + " " + randomWord() + "*";
    default:
      return escaped;
  }
}

std::string CorpusGenerator::comparison() {
  const QueryAttribute& attribute = kQueryAttributes[below(kQueryAttributes.size())];
  const std::string name = attribute.name;
  static constexpr std::array<const char*, 7> kOps = {"==", "=", "==", "!=", "<", ">=", "=="};
  char buffer[96];
  switch (attribute.shape) {
    case Shape::Number: {
      if (chance(20)) {
        std::snprintf(buffer, sizeof buffer, "InRange(%s,%zu,%zu)", attribute.name, below(1000),
                      1000 + below(2000000));
        return buffer;
      }
      const char* op = kOps[below(kOps.size())];
      const std::size_t n = name == "com_apple_mail_flagged" ? below(2) : below(2000000);
      std::snprintf(buffer, sizeof buffer, chance(15) ? "%s %s \"%zu\"" : "%s %s %zu",
                    attribute.name, op, n);
      return buffer;
    }
    case Shape::Date: {
      const double t = options_.newestDate - static_cast<double>(below(1000)) / 1000 * kTenYears;
      switch (below(5)) {
        case 0:
          std::snprintf(buffer, sizeof buffer, "InRange(%s,%.0f,%.0f)", attribute.name, t,
                        t + static_cast<double>(below(100)) * 86400);
          return buffer;
        case 1:
          std::snprintf(buffer, sizeof buffer, "%s == $time.this_year(-%zu)", attribute.name,
                        below(10));
          return buffer;
        case 2:
          std::snprintf(buffer, sizeof buffer, "%s >= $time.today(-%zud)", attribute.name,
                        below(4000));
          return buffer;
        case 3:
          return name + " == \"*\"";
        default:
          std::snprintf(buffer, sizeof buffer, "%s %s %.0f", attribute.name,
                        kOps[below(kOps.size())], t);
          return buffer;
      }
    }
    case Shape::Text:
      break;
  }
  if (chance(5)) return name + (chance(50) ? " == \"*\"" : " != \"*\"");
  if (chance(3)) return name + (chance(50) ? " == NULL" : " != NULL");
  std::string modifiers;
  for (const char* letter : {"c", "d", "w", "t"}) {
    if (chance(45)) modifiers += letter;
  }
  if (chance(options_.fuzzyPercent)) {
    std::snprintf(buffer, sizeof buffer, "f%03zu", 40 + below(61));
    modifiers += buffer;
  }
  const char* op = kOps[below(kOps.size())];
  if (chance(6)) {
    return name + " " + op + " " + randomWord() + "* " + (modifiers.empty() ? "cd" : "cdw");
  }
  return name + " " + op + " \"" + textValue() + "\"" + modifiers;
}

std::string CorpusGenerator::expression(int depth) {
  if (depth <= 0 || chance(35)) return comparison();
  switch (below(6)) {
    case 0:
      return "!(" + expression(depth - 1) + ")";
    case 1:
    case 2:
      return "(" + expression(depth - 1) + " || " + expression(depth - 1) + ")";
    case 3:
      return chance(50) ? "true && " + expression(depth - 1) : expression(depth - 1) + " && false";
    default:
      return "(" + expression(depth - 1) + " && " + expression(depth - 1) + ")";
  }
}

std::string CorpusGenerator::query() {
  std::string body = expression(3);
  if (chance(50)) return "(kMDItemContentType = \"public.email-message\") && (" + body + ")";
  return body;
}

}  // namespace trovadex::spotlight
