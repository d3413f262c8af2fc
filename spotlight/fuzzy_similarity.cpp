#include "spotlight/fuzzy_similarity.hpp"

#include <unicode/utf8.h>

#include <algorithm>
#include <vector>

namespace trovadex::spotlight {
namespace {

void decode(std::string_view text, std::vector<UChar32>& out) {
  out.clear();
  std::size_t i = 0;
  while (i < text.size()) {
    UChar32 c = 0;
    U8_NEXT(text.data(), i, text.size(), c);
    out.push_back(c);
  }
}

std::size_t codePointCount(std::string_view text) {
  std::size_t count = 0;
  for (char c : text) count += (static_cast<unsigned char>(c) & 0xC0) != 0x80;
  return count;
}

std::size_t literalLength(const Glob& pattern) {
  std::size_t length = 0;
  for (const std::string& piece : pattern.pieces()) length += codePointCount(piece);
  return length;
}

}  // namespace

bool fuzzyReaches(const Glob& pattern, std::string_view foldedWord, int threshold) {
  if (threshold <= 0) return true;
  // The distance is at least the surplus of pattern characters the word cannot cover, and,
  // without stars, the difference of the lengths.
  const std::size_t m = literalLength(pattern);
  const std::size_t n = codePointCount(foldedWord);
  const std::size_t denominator = pattern.hasStar() ? m : std::max(m, n);
  if (denominator > 0) {
    const std::size_t lowest = pattern.hasStar() ? (m > n ? m - n : 0) : (m > n ? m - n : n - m);
    if (lowest >= denominator ||
        static_cast<int>(100 * (denominator - lowest) / denominator) < threshold) {
      return false;
    }
  }
  return fuzzySimilarity(pattern, foldedWord) >= threshold;
}

int fuzzySimilarity(const Glob& pattern, std::string_view foldedWord) {
  thread_local std::vector<UChar32> p;
  thread_local std::vector<UChar32> v;
  decode(pattern.literalText(), p);
  decode(foldedWord, v);
  const bool freeStart = pattern.leadingStar();
  const bool freeEnd = pattern.trailingStar();
  const std::size_t m = p.size();
  const std::size_t n = v.size();
  // One row of the edit-distance table at a time; row i compares p[0, i) with v[0, j).
  thread_local std::vector<std::size_t> previous;
  thread_local std::vector<std::size_t> current;
  previous.assign(n + 1, 0);
  current.assign(n + 1, 0);
  for (std::size_t j = 0; j <= n; ++j) previous[j] = freeStart ? 0 : j;
  for (std::size_t i = 1; i <= m; ++i) {
    current[0] = i;
    for (std::size_t j = 1; j <= n; ++j) {
      const std::size_t substitution = previous[j - 1] + (p[i - 1] == v[j - 1] ? 0 : 1);
      current[j] = std::min({previous[j] + 1, current[j - 1] + 1, substitution});
    }
    std::swap(previous, current);
  }
  const std::size_t distance =
      freeEnd ? *std::min_element(previous.begin(), previous.end()) : previous[n];
  const std::size_t denominator = pattern.hasStar() ? m : std::max(m, n);
  if (denominator == 0) return 100;
  if (distance >= denominator) return 0;
  return static_cast<int>(100 * (denominator - distance) / denominator);
}

}  // namespace trovadex::spotlight
