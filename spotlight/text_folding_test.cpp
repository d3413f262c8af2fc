#include "spotlight/text_folding.hpp"

#include <gtest/gtest.h>

#include <string>

namespace trovadex::spotlight {
namespace {

constexpr FoldOptions kCase{true, false};
constexpr FoldOptions kDiacritics{false, true};
constexpr FoldOptions kBoth{true, true};

// ASCII stretches fold on their own; these cases put the other characters where a split in the
// wrong place would change the result.
TEST(TextFolding, CombiningMarksJoinTheAsciiLetterBeforeThem) {
  const std::string decomposed = "Cafe\xCC\x81 au lait";  // e + COMBINING ACUTE ACCENT
  EXPECT_EQ(foldText(decomposed, FoldOptions{}), "Caf\xC3\xA9 au lait");
  EXPECT_EQ(foldText(decomposed, kCase), "caf\xC3\xA9 au lait");
  EXPECT_EQ(foldText(decomposed, kDiacritics), "Cafe au lait");
  EXPECT_EQ(foldText(decomposed, kBoth), "cafe au lait");
  // Several marks, at the very start, and at the very end.
  EXPECT_EQ(foldText("\xCC\x81" "abc", kBoth), "abc");
  EXPECT_EQ(foldText("abcE\xCC\x81\xCC\x88", kBoth), "abce");
  EXPECT_EQ(foldText("A\xCC\x8A", FoldOptions{}), "\xC3\x85");  // A + ring: Å
}

TEST(TextFolding, MixedTextFoldsLikeEachOfItsParts) {
  EXPECT_EQ(foldText("Gro\xC3\x9F" "e STRASSE", kCase), "grosse strasse");  // ß -> ss
  EXPECT_EQ(foldText("Fr\xC3\xA9" "d\xC3\xA9ric Chopin", kBoth), "frederic chopin");
  EXPECT_EQ(foldText("\xE2\x84\xAA" "elvin", kCase), "kelvin");  // KELVIN SIGN
  EXPECT_EQ(foldText("ZO\xC3\x8B and ZOE", kBoth), "zoe and zoe");
  EXPECT_EQ(foldText("\xE6\x97\xA5\xE6\x9C\xAC Tokyo \xE6\x97\xA5", kCase),
            "\xE6\x97\xA5\xE6\x9C\xAC tokyo \xE6\x97\xA5");
  // Case is kept without case folding, around other text too.
  EXPECT_EQ(foldText("ABC \xC3\x89" "COLE XYZ", kDiacritics), "ABC ECOLE XYZ");
}

TEST(TextFolding, InvalidBytesBecomeReplacementCharacters) {
  EXPECT_EQ(foldText("ab\xFF" "cd", kCase), "ab\xEF\xBF\xBD" "cd");
  EXPECT_EQ(foldText("\xC3", FoldOptions{}), "\xEF\xBF\xBD");
  EXPECT_EQ(foldText("", kBoth), "");
}

}  // namespace
}  // namespace trovadex::spotlight
