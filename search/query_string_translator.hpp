// The search-text translator: a user's plain text as a Spotlight query string that finds e-mail
// messages by attachment kinds and types (exactly) and by authors, recipients and subject
// (fuzzily), every term matching by prefix.
//
// Built as a small library of its own so that a companion can translate without the plug-in.
// Stateless: safe from any thread.
#pragma once

#include <cstdint>
#include <optional>
#include <string>
#include <string_view>

namespace trovadex::plugin {

// The fuzzy threshold used when none is given, and the range a given one is clamped to.
inline constexpr std::int64_t kDefaultFuzzyThreshold = 56;
inline constexpr std::int64_t kMinimumFuzzyThreshold = 0;
inline constexpr std::int64_t kMaximumFuzzyThreshold = 100;

// The query string for text (UTF-8), or nothing when text is empty once blanks and tabs are
// trimmed from both ends (line breaks are kept). Every double quote in the text becomes a
// backslash, and an asterisk is appended unless the text holds one already. fuzzyThreshold is
// clamped to 0..100; nothing means the default.
std::optional<std::string> translateSearchString(std::string_view text,
                                                 std::optional<std::int64_t> fuzzyThreshold);

}  // namespace trovadex::plugin
