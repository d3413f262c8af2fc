// Text folding: the one normalisation that query literals, stored values and index terms share.
//
// Every text is first brought to NFC. Case folding is Unicode full case folding (so "Straße"
// folds to "strasse"); diacritic folding decomposes, drops nonspacing marks and recomposes (so
// "Frédéric" folds to "Frederic"). ASCII stretches take a fast path with the same result, so
// mostly-ASCII text costs little more than a copy.
// Safe from any thread.
#pragma once

#include <string>
#include <string_view>

namespace trovadex::spotlight {

struct FoldOptions {
  bool caseInsensitive = false;
  bool diacriticInsensitive = false;
};

// The text in NFC, folded as the options ask. Invalid UTF-8 sequences become U+FFFD.
std::string foldText(std::string_view text, FoldOptions options);

// Both foldings at once: the form stored in the index.
inline std::string fullyFold(std::string_view text) {
  return foldText(text, FoldOptions{true, true});
}

}  // namespace trovadex::spotlight
