#include "spotlight/fuzzy_similarity.hpp"

#include <unicode/utf8.h>

#include <algorithm>
#include <vector>

namespace trovadex::spotlight {
namespace {

std::vector<UChar32> codePoints(std::string_view text) {
  std::vector<UChar32> out;
  out.reserve(text.size());
  std::size_t i = 0;
  while (i < text.size()) {
    UChar32 c = 0;
    U8_NEXT(text.data(), i, text.size(), c);
    out.push_back(c);
  }
  return out;
}

}  // namespace

int fuzzySimilarity(const Glob& pattern, std::string_view foldedWord) {
  const std::vector<UChar32> p = codePoints(pattern.literalText());
  const std::vector<UChar32> v = codePoints(foldedWord);
  const bool freeStart = pattern.leadingStar();
  const bool freeEnd = pattern.trailingStar();
  const std::size_t m = p.size();
  const std::size_t n = v.size();
  // One row of the edit-distance table at a time; row i compares p[0, i) with v[0, j).
  std::vector<std::size_t> previous(n + 1);
  std::vector<std::size_t> current(n + 1);
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
