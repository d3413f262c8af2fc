#include "spotlight/text_folding.hpp"

#include <gtest/gtest.h>
#include <unicode/normalizer2.h>
#include <unicode/uniset.h>
#include <unicode/unistr.h>

#include <random>
#include <string>
#include <vector>

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

// The whole text through ICU in one piece: what folding means, without the ASCII shortcut.
std::string foldWholeWithIcu(const std::string& text, FoldOptions options) {
  UErrorCode status = U_ZERO_ERROR;
  const icu::Normalizer2* nfc = icu::Normalizer2::getNFCInstance(status);
  const icu::Normalizer2* nfd = icu::Normalizer2::getNFDInstance(status);
  icu::UnicodeSet marks(u"[:Mn:]", status);
  icu::UnicodeString unicode = icu::UnicodeString::fromUTF8(text);
  if (options.caseInsensitive) unicode.foldCase(U_FOLD_CASE_DEFAULT);
  if (options.diacriticInsensitive) {
    const icu::UnicodeString decomposed = nfd->normalize(unicode, status);
    icu::UnicodeString stripped;
    for (int32_t i = 0; i < decomposed.length();) {
      const UChar32 c = decomposed.char32At(i);
      if (!marks.contains(c)) stripped.append(c);
      i += U16_LENGTH(c);
    }
    unicode = stripped;
  }
  std::string out;
  nfc->normalize(unicode, status).toUTF8String(out);
  return out;
}

TEST(TextFolding, RandomMixesFoldAsTheWholeTextWould) {
  const std::vector<std::string> pieces = {
      "a", "Z", "e", "E",      " ",  "-", "x1", "\u0301", "\u0308", "\u030A", "\u0327",    "é",
      "Å", "ß", "ǅ", "\u212A", "日", "ﬁ", "İ",  "\xFF",   "\xC3",   "Ω",      "\U0001F4EC"};
  std::mt19937 random(7);
  for (int round = 0; round < 2000; ++round) {
    std::string text;
    const int length = static_cast<int>(random() % 8);
    for (int i = 0; i < length; ++i) text += pieces[random() % pieces.size()];
    for (FoldOptions options : {FoldOptions{}, kCase, kDiacritics, kBoth}) {
      ASSERT_EQ(foldText(text, options), foldWholeWithIcu(text, options))
          << "text bytes: " << testing::PrintToString(text) << " case " << options.caseInsensitive
          << " diacritics " << options.diacriticInsensitive;
    }
  }
}

}  // namespace
}  // namespace trovadex::spotlight
