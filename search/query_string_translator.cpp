#include "search/query_string_translator.hpp"

#include <unicode/uchar.h>
#include <unicode/utf8.h>

#include <algorithm>
#include <array>

#include "foundation/format.hpp"

namespace trovadex::plugin {

namespace {

// Matched without fuzziness, in this order.
constexpr std::array<std::string_view, 3> kExactMatchAttributes = {
    "com_apple_mail_attachmentKinds",
    "com_apple_mail_attachmentSpecificTypes",
    "com_apple_mail_attachmentTypes",
};

// Matched with the fuzzy threshold, in this order, after the exact-match attributes.
constexpr std::array<std::string_view, 5> kFuzzyMatchAttributes = {
    "kMDItemAuthorEmailAddresses", "kMDItemAuthors", "kMDItemRecipientEmailAddresses",
    "kMDItemRecipients",           "kMDItemSubject",
};

constexpr std::string_view kTermFormat = "%@ = \"%@\"cdwt";
constexpr std::string_view kThresholdSuffixFormat = "f%03ld";
constexpr std::string_view kJoiner = " || ";
constexpr std::string_view kPrefix = "(kMDItemContentType == \"public.email-message\") && (";
constexpr std::string_view kClosing = ")";

// The whitespace set: the Unicode space separators and the horizontal tab, not line breaks.
bool isTrimmedCodePoint(UChar32 c) {
  return c == u'\t' || (c >= 0 && u_charType(c) == U_SPACE_SEPARATOR);
}

// text without whitespace-set characters at either end. Ill-formed UTF-8 is never trimmed.
std::string_view trimWhitespace(std::string_view text) {
  const auto* bytes = reinterpret_cast<const std::uint8_t*>(text.data());
  const auto length = static_cast<std::int32_t>(text.size());
  std::int32_t begin = 0;
  while (begin < length) {
    std::int32_t next = begin;
    UChar32 c;
    U8_NEXT(bytes, next, length, c);
    if (!isTrimmedCodePoint(c)) break;
    begin = next;
  }
  std::int32_t end = length;
  while (end > begin) {
    std::int32_t previous = end;
    UChar32 c;
    U8_PREV(bytes, begin, previous, c);
    if (!isTrimmedCodePoint(c)) break;
    end = previous;
  }
  return text.substr(static_cast<std::size_t>(begin), static_cast<std::size_t>(end - begin));
}

// The value placed between the quotes: quotes replaced (not escaped) by backslashes, and a
// trailing wildcard unless the text already holds one anywhere.
std::string preparedValue(std::string_view trimmed) {
  std::string value(trimmed);
  std::replace(value.begin(), value.end(), '"', '\\');
  if (value.find('*') == std::string::npos) value += '*';
  return value;
}

}  // namespace

std::optional<std::string> translateSearchString(std::string_view text,
                                                 std::optional<std::int64_t> fuzzyThreshold) {
  const std::string_view trimmed = trimWhitespace(text);
  if (trimmed.empty()) return std::nullopt;
  const std::string value = preparedValue(trimmed);

  const std::int64_t threshold =
      fuzzyThreshold ? std::clamp(*fuzzyThreshold, kMinimumFuzzyThreshold, kMaximumFuzzyThreshold)
                     : kDefaultFuzzyThreshold;
  const std::string fuzzyTermFormat =
      std::string(kTermFormat) + foundation::formatString(kThresholdSuffixFormat, {threshold});

  std::string terms;
  for (std::string_view attribute : kExactMatchAttributes) {
    terms += kJoiner;
    terms += foundation::formatString(kTermFormat, {attribute, value});
  }
  for (std::string_view attribute : kFuzzyMatchAttributes) {
    terms += kJoiner;
    terms += foundation::formatString(fuzzyTermFormat, {attribute, value});
  }
  terms.erase(0, kJoiner.size());
  return std::string(kPrefix) + terms + std::string(kClosing);
}

}  // namespace trovadex::plugin
