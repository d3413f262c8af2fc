// Generated mail-like corpora and random queries, for the differential test and the benchmark.
//
// Everything is a deterministic function of the seed: the same seed gives the same items and
// the same queries on every machine. Items look like the mail indexer's: content type, subject,
// authors and recipients with their addresses, dates, size, flags, library id, attachment kinds
// and a short body, with diacritics, camel-case words and some unspaced script mixed in.
// Safe from any thread (no shared state).
#pragma once

#include <cstdint>
#include <string>
#include <vector>

#include "platform/searchable_item.hpp"

namespace trovadex::spotlight {

struct CorpusOptions {
  std::uint64_t seed = 1;
  bool withBodies = true;
  std::size_t bodyWordsMin = 10;  // a body has between min and max words
  std::size_t bodyWordsMax = 40;
  int fuzzyPercent = 12;  // share of text comparisons that carry f###
  // Dates are spread over the ten years before this instant (CFAbsoluteTime).
  double newestDate = 794331000;
};

class CorpusGenerator {
 public:
  explicit CorpusGenerator(CorpusOptions options);

  // Item number `index` (its identifier is "item-<index>", its library id the index).
  platform::SearchableItem item(std::uint64_t index);
  // A random, well-formed query over the corpus's attributes.
  std::string query();
  // A word of the vocabulary (tests pick search terms with it).
  const std::string& word(std::size_t index) const {
    return vocabulary_[index % vocabulary_.size()];
  }
  std::size_t vocabularySize() const { return vocabulary_.size(); }

 private:
  std::uint64_t next();
  std::size_t below(std::size_t bound) { return static_cast<std::size_t>(next() % bound); }
  bool chance(int percent) { return below(100) < static_cast<std::size_t>(percent); }
  std::string randomWord();
  std::string comparison();
  std::string expression(int depth);
  std::string textValue();

  CorpusOptions options_;
  std::uint64_t state_;
  std::vector<std::string> vocabulary_;
};

}  // namespace trovadex::spotlight
