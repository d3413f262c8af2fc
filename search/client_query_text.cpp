#include "search/client_query_text.hpp"

#include <algorithm>
#include <charconv>
#include <cstddef>
#include <optional>

namespace trovadex::plugin {

namespace {

// Restricts every search to mail messages.
constexpr std::string_view kEmailRestriction = "kMDItemContentType = \"public.email-message\"";
constexpr std::string_view kOpening = "(";
constexpr std::string_view kJoin = ") && (";
constexpr std::string_view kClosing = ")";
// Where the client's string starts in the wrapped text.
constexpr std::size_t kClientOffset = kOpening.size() + kEmailRestriction.size() + kJoin.size();

constexpr std::string_view kInvalidQuery = "Invalid query at byte ";
constexpr std::string_view kFoundClosing = "found ')'";
constexpr std::string_view kUnexpectedClosing = ": unexpected ')' after a complete expression";
constexpr std::string_view kOpenedAt = "the '(' at byte ";

// The decimal number at the start of text, and how many characters it took.
std::optional<std::size_t> leadingNumber(std::string_view text, std::size_t& length) {
  std::size_t number = 0;
  auto [end, error] = std::from_chars(text.data(), text.data() + text.size(), number);
  if (error != std::errc() || end == text.data()) return std::nullopt;
  length = static_cast<std::size_t>(end - text.data());
  return number;
}

}  // namespace

std::string spotlightTextForQueryString(std::string_view queryString) {
  if (queryString.empty()) return std::string(kEmailRestriction);
  std::string text;
  text.reserve(kClientOffset + queryString.size() + kClosing.size());
  text.append(kOpening).append(kEmailRestriction).append(kJoin);
  text.append(queryString).append(kClosing);
  return text;
}

std::string errorMessageInClientTerms(std::string_view message, std::string_view queryString) {
  if (queryString.empty() || !message.starts_with(kInvalidQuery)) return std::string(message);
  std::size_t digits = 0;
  const auto offset = leadingNumber(message.substr(kInvalidQuery.size()), digits);
  if (!offset) return std::string(message);
  std::string rest(message.substr(kInvalidQuery.size() + digits));

  const std::size_t end = kClientOffset + queryString.size();  // the closing parenthesis
  const std::size_t clientOffset =
      *offset < kClientOffset ? 0 : std::min(*offset - kClientOffset, queryString.size());
  if (*offset >= end) {
    // The engine stumbled on the wrapping's closing parenthesis, which the client never wrote:
    // what the client's string met there is its own end.
    if (rest.starts_with(kUnexpectedClosing)) {
      rest = ": the query has a ')' without a matching '('";
    } else if (auto found = rest.find(kFoundClosing); found != std::string::npos) {
      rest.replace(found, kFoundClosing.size(), "found the end of the query");
    }
  }
  if (auto opened = rest.find(kOpenedAt); opened != std::string::npos) {
    std::size_t openedDigits = 0;
    const auto openedAt =
        leadingNumber(std::string_view(rest).substr(opened + kOpenedAt.size()), openedDigits);
    if (openedAt) {
      // A '(' before the client's string is the wrapping's: the client's own '(' was closed by
      // the wrapping's ')', so one of the client's parentheses is left open.
      const std::string replacement =
          *openedAt < kClientOffset
              ? std::string("a '(' of the query")
              : std::string(kOpenedAt) + std::to_string(*openedAt - kClientOffset);
      rest.replace(opened, kOpenedAt.size() + openedDigits, replacement);
    }
  }
  return std::string(kInvalidQuery) + std::to_string(clientOffset) + rest;
}

}  // namespace trovadex::plugin
