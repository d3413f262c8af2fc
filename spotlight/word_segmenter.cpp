#include "spotlight/word_segmenter.hpp"

#include <unicode/brkiter.h>
#include <unicode/uchar.h>
#include <unicode/uscript.h>
#include <unicode/utext.h>
#include <unicode/utf8.h>

#include <memory>

namespace trovadex::spotlight {
namespace {

constexpr UChar32 kStarCodePoint = 0xFDD0;

enum class CharClass { Separator, Lower, Upper, Other /* digit, mark, uncased letter, star */ };

CharClass classify(UChar32 c, bool starIsWordCharacter) {
  if (c < 0x80) {
    if (c >= 'a' && c <= 'z') return CharClass::Lower;
    if (c >= 'A' && c <= 'Z') return CharClass::Upper;
    if (c >= '0' && c <= '9') return CharClass::Other;
    return CharClass::Separator;
  }
  if (c == kStarCodePoint) return starIsWordCharacter ? CharClass::Other : CharClass::Separator;
  const std::int32_t mask = U_GET_GC_MASK(c);
  if (mask & (U_GC_LU_MASK | U_GC_LT_MASK)) return CharClass::Upper;
  if (mask & U_GC_LL_MASK) return CharClass::Lower;
  if ((mask & (U_GC_L_MASK | U_GC_M_MASK | U_GC_ND_MASK)) || u_isUAlphabetic(c)) {
    return CharClass::Other;
  }
  return CharClass::Separator;
}

bool isUnspacedScript(UChar32 c) {
  if (c < 0x0E00) return false;
  UErrorCode status = U_ZERO_ERROR;
  switch (uscript_getScript(c, &status)) {
    case USCRIPT_HAN:
    case USCRIPT_HIRAGANA:
    case USCRIPT_KATAKANA:
    case USCRIPT_THAI:
    case USCRIPT_LAO:
    case USCRIPT_KHMER:
    case USCRIPT_MYANMAR:
      return true;
    default:
      return false;
  }
}

icu::BreakIterator* wordBreaker() {
  thread_local std::unique_ptr<icu::BreakIterator> breaker = [] {
    UErrorCode status = U_ZERO_ERROR;
    std::unique_ptr<icu::BreakIterator> made(
        icu::BreakIterator::createWordInstance(icu::Locale::getRoot(), status));
    if (U_FAILURE(status)) made.reset();
    return made;
  }();
  return breaker.get();
}

// Cuts [begin, end) of text into camel-case parts and appends the run.
void appendRun(std::string_view text, std::size_t begin, std::size_t end, bool starIsWord,
               Segmentation& out) {
  WordRun run{begin, end, out.parts.size(), 0};
  std::size_t partBegin = begin;
  bool previousLower = false;
  std::size_t i = begin;
  while (i < end) {
    std::size_t at = i;
    UChar32 c = 0;
    U8_NEXT(text.data(), i, end, c);
    CharClass cls = classify(c, starIsWord);
    if (cls == CharClass::Upper && previousLower && at > partBegin) {
      out.parts.push_back({partBegin, at});
      partBegin = at;
    }
    const bool isMark = c >= 0x80 && (U_GET_GC_MASK(c) & U_GC_M_MASK);
    if (!isMark) previousLower = cls == CharClass::Lower;
  }
  out.parts.push_back({partBegin, end});
  run.partCount = out.parts.size() - run.firstPart;
  out.runs.push_back(run);
}

// Splits a run of an unspaced script with the dictionary breaker, then appends the pieces.
void appendDictionaryRun(std::string_view text, std::size_t begin, std::size_t end, bool starIsWord,
                         Segmentation& out) {
  icu::BreakIterator* breaker = wordBreaker();
  if (breaker == nullptr) {
    appendRun(text, begin, end, starIsWord, out);
    return;
  }
  UErrorCode status = U_ZERO_ERROR;
  UText* utext =
      utext_openUTF8(nullptr, text.data() + begin, static_cast<int64_t>(end - begin), &status);
  if (U_FAILURE(status)) {
    appendRun(text, begin, end, starIsWord, out);
    return;
  }
  breaker->setText(utext, status);
  std::size_t pieceBegin = begin;
  for (int32_t b = breaker->next(); b != icu::BreakIterator::DONE; b = breaker->next()) {
    std::size_t pieceEnd = begin + static_cast<std::size_t>(b);
    if (pieceEnd > pieceBegin) appendRun(text, pieceBegin, pieceEnd, starIsWord, out);
    pieceBegin = pieceEnd;
  }
  if (pieceBegin < end) appendRun(text, pieceBegin, end, starIsWord, out);
  // Leave the breaker pointing at nothing that outlives this call.
  breaker->setText(icu::UnicodeString());
  utext_close(utext);
}

}  // namespace

Segmentation segmentWords(std::string_view text, bool starIsWordCharacter) {
  Segmentation out;
  std::size_t i = 0;
  const std::size_t n = text.size();
  std::size_t runBegin = 0;
  bool inRun = false;
  bool runIsUnspaced = false;
  auto closeRun = [&](std::size_t end) {
    if (!inRun) return;
    if (runIsUnspaced) {
      appendDictionaryRun(text, runBegin, end, starIsWordCharacter, out);
    } else {
      appendRun(text, runBegin, end, starIsWordCharacter, out);
    }
    inRun = false;
  };
  while (i < n) {
    std::size_t at = i;
    UChar32 c = 0;
    U8_NEXT(text.data(), i, n, c);
    if (c < 0) c = 0xFFFD;
    if (classify(c, starIsWordCharacter) == CharClass::Separator) {
      closeRun(at);
      continue;
    }
    if (!inRun) {
      inRun = true;
      runBegin = at;
      runIsUnspaced = false;
    }
    if (isUnspacedScript(c)) runIsUnspaced = true;
  }
  closeRun(n);
  return out;
}

bool hasUnspacedScript(std::string_view text) {
  std::size_t i = 0;
  while (i < text.size()) {
    UChar32 c = 0;
    U8_NEXT(text.data(), i, text.size(), c);
    if (c > 0 && isUnspacedScript(c)) return true;
  }
  return false;
}

}  // namespace trovadex::spotlight
