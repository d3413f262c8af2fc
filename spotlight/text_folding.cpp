#include "spotlight/text_folding.hpp"

#include <unicode/normalizer2.h>
#include <unicode/uniset.h>
#include <unicode/unistr.h>

namespace trovadex::spotlight {
namespace {

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

namespace {

bool isAsciiByte(char c) { return static_cast<unsigned char>(c) < 0x80; }

void appendAscii(std::string& out, std::string_view text, FoldOptions options) {
  const std::size_t from = out.size();
  out.append(text);
  if (!options.caseInsensitive) return;
  for (std::size_t i = from; i < out.size(); ++i) {
    if (out[i] >= 'A' && out[i] <= 'Z') out[i] = static_cast<char>(out[i] - 'A' + 'a');
  }
}

void appendWithIcu(std::string& out, std::string_view text, FoldOptions options) {
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
  composed.toUTF8String(out);
}

}  // namespace

std::string foldText(std::string_view text, FoldOptions options) {
  std::string out;
  out.reserve(text.size());
  // Most mail is ASCII with a few other characters here and there: ASCII stretches fold
  // directly and only the rest goes through ICU. The ASCII character just before other text
  // goes with it, because a combining mark that follows composes with it (or is stripped
  // from it); an ASCII character never combines with what comes before it.
  std::size_t at = 0;
  while (at < text.size()) {
    std::size_t other = at;
    while (other < text.size() && isAsciiByte(text[other])) ++other;
    if (other == text.size()) {
      appendAscii(out, text.substr(at), options);
      break;
    }
    const std::size_t start = other > at ? other - 1 : other;
    appendAscii(out, text.substr(at, start - at), options);
    std::size_t end = other;
    while (end < text.size() && !isAsciiByte(text[end])) ++end;
    appendWithIcu(out, text.substr(start, end - start), options);
    at = end;
  }
  return out;
}

}  // namespace trovadex::spotlight
