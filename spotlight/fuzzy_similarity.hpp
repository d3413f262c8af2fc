// Fuzzy similarity: how close a word is to a pattern word, in whole percent.
//
// Both sides are compared as Unicode code points after case and diacritic folding. Let p be the
// pattern's literal text (its stars left out) and d the edit distance (insertions, deletions,
// substitutions, each costing 1) between p and the value, where a leading star lets the match
// start anywhere in the value and a trailing star lets it end anywhere. The similarity is
// floor(100 * (n - d) / n), at least 0, with n = max(|p|, |value|) for a pattern without stars
// and n = |p| otherwise; when n is 0 it is 100. "f056" matches when the similarity is >= 56.
// Safe from any thread (pure functions).
#pragma once

#include <string_view>

#include "spotlight/glob.hpp"

namespace trovadex::spotlight {

// The similarity of an already folded value word to a glob folded the same way.
int fuzzySimilarity(const Glob& pattern, std::string_view foldedWord);

// fuzzySimilarity(pattern, foldedWord) >= threshold, skipping the work when the lengths alone
// rule it out.
bool fuzzyReaches(const Glob& pattern, std::string_view foldedWord, int threshold);

}  // namespace trovadex::spotlight
