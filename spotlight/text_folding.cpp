#include "spotlight/text_folding.hpp"

#include <unicode/normalizer2.h>
#include <unicode/uniset.h>
#include <unicode/unistr.h>

#include <algorithm>

namespace trovadex::spotlight {
namespace {

bool isAscii(std::string_view text) {
  return std::all_of(text.begin(), text.end(),
                     [](char c) { return static_cast<unsigned char>(c) < 0x80; });
}

// The ICU objects are immutable once made (the set is frozen), so all threads share them.
struct Normalizers {
  const icu::Normalizer2* nfc = nullptr;
  const icu::Normalizer2* nfd = nullptr;
  icu::UnicodeSet nonspacingMarks;

  Normalizers() {
    UErrorCode status = U_ZERO_ERROR;
    nfc = icu::Normalizer2::getNFCInstance(status);
    nfd = icu::Normalizer2::getNFDInstance(status);
    nonspacingMarks.applyPattern(u"[:Mn:]", status);
    nonspacingMarks.freeze();
  }
};

const Normalizers& normalizers() {
  static const Normalizers instance;
  return instance;
}

}  // namespace

std::string foldText(std::string_view text, FoldOptions options) {
  if (isAscii(text)) {
    std::string out(text);
    if (options.caseInsensitive) {
      for (char& c : out) {
        if (c >= 'A' && c <= 'Z') c = static_cast<char>(c - 'A' + 'a');
      }
    }
    return out;
  }
  const Normalizers& n = normalizers();
  UErrorCode status = U_ZERO_ERROR;
  icu::UnicodeString unicode = icu::UnicodeString::fromUTF8(
      icu::StringPiece(text.data(), static_cast<int32_t>(text.size())));
  if (options.caseInsensitive) unicode.foldCase(U_FOLD_CASE_DEFAULT);
  if (options.diacriticInsensitive) {
    icu::UnicodeString decomposed = n.nfd->normalize(unicode, status);
    icu::UnicodeString stripped;
    for (int32_t i = 0; i < decomposed.length();) {
      UChar32 c = decomposed.char32At(i);
      if (!n.nonspacingMarks.contains(c)) stripped.append(c);
      i += U16_LENGTH(c);
    }
    unicode = std::move(stripped);
  }
  icu::UnicodeString composed = n.nfc->normalize(unicode, status);
  if (U_FAILURE(status)) composed = unicode;
  std::string out;
  composed.toUTF8String(out);
  return out;
}

}  // namespace trovadex::spotlight
