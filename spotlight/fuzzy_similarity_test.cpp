// The documented similarity, and what the thresholds 0, 56, 80 and 100 let through.
#include "spotlight/fuzzy_similarity.hpp"

#include <gtest/gtest.h>

#include <string>
#include <vector>

#include "spotlight/evaluator.hpp"
#include "spotlight/query_parser.hpp"
#include "spotlight/word_segmenter.hpp"

namespace trovadex::spotlight {
namespace {

Glob folded(std::string pattern) {
  for (std::size_t at = pattern.find('*'); at != std::string::npos; at = pattern.find('*', at)) {
    pattern.replace(at, 1, kStarMarker);
  }
  return Glob(pattern, FoldOptions{true, true});
}

TEST(FuzzySimilarity, MeasuresEditDistanceAgainstTheLongerWordOrThePatternWithStars) {
  struct Row {
    std::string pattern;
    std::string word;
    int similarity;
  };
  const std::vector<Row> rows = {
      {"invoice", "invoice", 100},
      {"invoice", "invoices", 87},    // 1 edit over 8 characters
      {"invoice", "invoce", 85},      // 1 edit over 7
      {"invoice", "voice", 71},       // 2 edits over 7
      {"invoice", "lunch", 14},       // 6 edits over 7
      {"invoice*", "invoices", 100},  // the star lets the word run on
      {"invoice*", "invocation", 71},
      {"invoice*", "invoce", 85},
      {"invoice*", "involve", 71},  // 2 substitutions
      {"invoice*", "inv", 42},      // 4 insertions over 7
      {"*voice", "invoice", 100},
      {"*voice*", "revoiced", 100},
      {"*voice*", "revoked", 60},  // "voke" is 2 edits from "voice", over 5
      {"kéy", "key", 100},         // compared on folded text
      {"", "", 100},
      {"*", "anything", 100},
      {"ab", "", 0},
  };
  for (const Row& row : rows) {
    EXPECT_EQ(fuzzySimilarity(folded(row.pattern), fullyFold(row.word)), row.similarity)
        << row.pattern << " vs " << row.word;
  }
}

bool fuzzyMatches(int threshold, const std::string& subject) {
  char modifiers[8];
  std::snprintf(modifiers, sizeof modifiers, "cdwf%03d", threshold);
  ParseResult parsed = parseQuery("kMDItemSubject = \"invoice*\"" + std::string(modifiers));
  EXPECT_TRUE(parsed.ok());
  Predicate query = compileQuery(parsed.tree(), QueryTime{});
  return matchesQuery(query, {{"kMDItemSubject", subject}});
}

TEST(FuzzySimilarity, LetsThroughWordsAtOrAboveTheThreshold) {
  struct Row {
    std::string subject;
    bool at0, at56, at80, at100;
  };
  const std::vector<Row> rows = {
      {"Invoices attached", true, true, true, true},    // 100
      {"INVOCE for you", true, true, true, false},      // 85
      {"please involve me", true, true, false, false},  // 71
      {"the inv team", true, false, false, false},      // 42
      {"Lunch", true, false, false, false},             // 0, but the threshold 0 takes any word
      {"---", false, false, false, false},              // no word at all
  };
  for (const Row& row : rows) {
    EXPECT_EQ(fuzzyMatches(0, row.subject), row.at0) << row.subject << " at 0";
    EXPECT_EQ(fuzzyMatches(56, row.subject), row.at56) << row.subject << " at 56";
    EXPECT_EQ(fuzzyMatches(80, row.subject), row.at80) << row.subject << " at 80";
    EXPECT_EQ(fuzzyMatches(100, row.subject), row.at100) << row.subject << " at 100";
  }
}

}  // namespace
}  // namespace trovadex::spotlight
