#include "spotlight/text_folding.hpp"

#include <gtest/gtest.h>

#include <string>

namespace trovadex::spotlight {
namespace {

constexpr FoldOptions kCase{true, false};
constexpr FoldOptions kDiacritics{false, true};
constexpr FoldOptions kBoth{true, true};

// ASCII stretches fold on their own; these cases put the other characters where a split in the
// wrong place would change the result. \u0301 is COMBINING ACUTE ACCENT.
TEST(TextFolding, CombiningMarksJoinTheAsciiLetterBeforeThem) {
  const std::string decomposed = "Cafe\u0301 au lait";
  EXPECT_EQ(foldText(decomposed, FoldOptions{}), "Café au lait");
  EXPECT_EQ(foldText(decomposed, kCase), "café au lait");
  EXPECT_EQ(foldText(decomposed, kDiacritics), "Cafe au lait");
  EXPECT_EQ(foldText(decomposed, kBoth), "cafe au lait");
  // Several marks, at the very start, and at the very end.
  EXPECT_EQ(foldText("\u0301abc", kBoth), "abc");
  EXPECT_EQ(foldText("abcE\u0301\u0308", kBoth), "abce");
  EXPECT_EQ(foldText("A\u030A", FoldOptions{}), "Å");
}

TEST(TextFolding, MixedTextFoldsLikeEachOfItsParts) {
  EXPECT_EQ(foldText("Große STRASSE", kCase), "grosse strasse");
  EXPECT_EQ(foldText("Frédéric Chopin", kBoth), "frederic chopin");
  EXPECT_EQ(foldText("\u212Aelvin", kCase), "kelvin");  // KELVIN SIGN
  EXPECT_EQ(foldText("ZOË and ZOE", kBoth), "zoe and zoe");
  EXPECT_EQ(foldText("日本 Tokyo 日", kCase), "日本 tokyo 日");
  // Case is kept without case folding, around other text too.
  EXPECT_EQ(foldText("ABC ÉCOLE XYZ", kDiacritics), "ABC ECOLE XYZ");
}

TEST(TextFolding, InvalidBytesBecomeReplacementCharacters) {
  EXPECT_EQ(foldText("ab\xFF-cd", kCase), "ab\uFFFD-cd");
  EXPECT_EQ(foldText("\xC3", FoldOptions{}), "\uFFFD");
  EXPECT_EQ(foldText("", kBoth), "");
}

}  // namespace
}  // namespace trovadex::spotlight
