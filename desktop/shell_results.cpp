#include "desktop/shell_results.hpp"

#include <algorithm>
#include <array>
#include <ctime>
#include <string_view>

namespace trovadex::desktop {

using foundation::Value;

namespace {

constexpr std::array<std::string_view, 2> kSubjectAttributes{"kMDItemSubject",
                                                             "kMDItemDisplayName"};
constexpr std::array<std::string_view, 2> kSenderAttributes{"kMDItemAuthors",
                                                            "kMDItemAuthorEmailAddresses"};

// The first string among the attributes; an array gives its first element.
template <std::size_t N>
std::string firstText(const companion::FoundMessage& message,
                      const std::array<std::string_view, N>& names) {
  for (std::string_view name : names) {
    const Value& value = message.attribute(name);
    const Value& first = value.isArray() && value.count() > 0 ? value.at(0) : value;
    if (const std::string* text = first.asString(); text != nullptr && !text->empty()) {
      return *text;
    }
  }
  return {};
}

// "2025-06-21 17:17" in UTC.
std::string minuteText(foundation::Date date) {
  const double unix = date.unixTime();
  if (!(unix > -6e10 && unix < 6e10)) return {};
  const std::time_t seconds = static_cast<std::time_t>(unix);
  std::tm parts{};
  if (gmtime_r(&seconds, &parts) == nullptr) return {};
  char text[32];
  if (std::strftime(text, sizeof text, "%Y-%m-%d %H:%M", &parts) == 0) return {};
  return text;
}

}  // namespace

std::optional<ShellResult> ShellResult::fromMessage(const companion::FoundMessage& message) {
  auto identifier = message.itemIdentifier();
  if (!identifier || !message.path || message.path->empty()) return std::nullopt;
  ShellResult result;
  result.identifier = std::move(*identifier);
  result.subject = firstText(message, kSubjectAttributes);
  result.sender = firstText(message, kSenderAttributes);
  if (const auto* date = message.attribute(kResultDateAttribute).asDate()) result.date = *date;
  result.path = *message.path;
  return result;
}

std::string ShellResult::title() const { return subject.empty() ? "(no subject)" : subject; }

std::string ShellResult::description() const {
  const std::string when = date ? minuteText(*date) : std::string();
  if (sender.empty()) return when;
  if (when.empty()) return sender;
  return sender + " \u2014 " + when;
}

void NewestResults::add(const companion::FoundMessage& message) {
  auto result = ShellResult::fromMessage(message);
  if (!result || bound_ == 0) return;
  const auto newer = [](const ShellResult& result, const ShellResult& other) {
    // Undated results sort after every dated one.
    if (!result.date) return false;
    return !other.date || *result.date > *other.date;
  };
  for (const auto& kept : results_) {
    if (kept.identifier == result->identifier) return;
  }
  if (results_.size() == bound_ && !newer(*result, results_.back())) return;
  const auto place = std::upper_bound(
      results_.begin(), results_.end(), *result,
      [&](const ShellResult& added, const ShellResult& kept) { return newer(added, kept); });
  results_.insert(place, std::move(*result));
  if (results_.size() > bound_) results_.pop_back();
}

}  // namespace trovadex::desktop
