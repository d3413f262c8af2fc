// Word segmentation: how a text splits into the words that `w` matching and the index use.
//
// A run is a maximal stretch of word characters (letters, decimal digits and combining marks);
// everything else, "_" included, separates runs. Runs in scripts written without spaces (Han,
// kana, Thai, Lao, Khmer, Myanmar) are split further by ICU's dictionary word breaker. Each run is
// then cut into parts wherever a lowercase letter is followed by an uppercase one, so
// "MyWindowClass" is one run of three parts while "NSWindow" and "file2name" stay whole.
// Safe from any thread (each thread keeps its own break iterator).
#pragma once

#include <cstddef>
#include <string_view>
#include <vector>

namespace trovadex::spotlight {

// U+FDD0, a noncharacter that stands for an unescaped "*" inside pattern text.
inline constexpr std::string_view kStarMarker = "\xEF\xB7\x90";

struct WordPart {
  std::size_t begin = 0;  // byte offsets into the segmented text
  std::size_t end = 0;
};

struct WordRun {
  std::size_t begin = 0;  // byte offsets into the segmented text
  std::size_t end = 0;
  std::size_t firstPart = 0;  // index into Segmentation::parts
  std::size_t partCount = 0;
};

struct Segmentation {
  std::vector<WordPart> parts;
  std::vector<WordRun> runs;
};

// Splits text into runs and parts. With starIsWordCharacter, kStarMarker counts as a word
// character (pattern text), and it never starts or ends a camel-case part boundary.
Segmentation segmentWords(std::string_view text, bool starIsWordCharacter = false);

// Whether the text holds a character of a script that the dictionary breaker segments.
bool hasUnspacedScript(std::string_view text);

}  // namespace trovadex::spotlight
