// The query planner: which index look-ups give a superset of a query's matches.
//
// A plan is a tree of look-ups. Every item it yields is still confirmed by the evaluator, so a
// plan only has to be a superset; it is exact for most clauses. Word comparisons look up terms
// (exact, prefix, or a walk of the term dictionary for other wildcards and fuzzy words), whole
// values use the folded-value rows, numbers and dates the numeric rows. "&&" runs its most
// selective child and intersects with the children that turn out small; "||" unites. Negations,
// "!=", "== NULL" and constant true cannot be looked up: they make the surrounding clause a
// scan, and the scan is what "&&" avoids when any sibling can be looked up.
// Plans are plain values: safe to copy between threads; running one needs its own reader.
#pragma once

#include <cstdint>
#include <map>
#include <optional>
#include <string>
#include <vector>

#include "spotlight/compiled_query.hpp"
#include "spotlight/index_layout.hpp"
#include "spotlight/index_reader.hpp"

namespace trovadex::spotlight {

struct PlanNode {
  enum class Kind {
    Scan,   // every item
    Empty,  // no item
    Union,
    Intersect,
    Words,        // terms and term prefixes, united (an FTS5 OR expression)
    TermWalk,     // terms of the dictionary under termPrefix that the glob or similarity accepts
    ValueEqual,   // folded whole value equals text
    ValuePrefix,  // folded whole value begins with text
    ValueWalk,    // folded whole values under the prefix text that the glob or similarity accepts
    NumberRange,  // a number or date in [low, high] with the given inclusiveness
    Present,      // any value of the attribute
  };
  Kind kind = Kind::Scan;
  std::vector<PlanNode> children;
  std::string attribute;  // for explanations
  std::int64_t code = 0;
  std::vector<std::pair<std::string, bool>> terms;  // Words: (term, is a prefix)
  std::vector<std::string> termLabels;              // Words: "attribute:word", for explanations
  std::string text;                                 // TermWalk: term prefix; Value*: folded text
  Glob glob;                                        // TermWalk, ValueWalk: fully folded
  std::optional<int> fuzzyThreshold;                // TermWalk, ValueWalk
  double low = 0, high = 0;
  bool lowInclusive = true, highInclusive = true;
};

PlanNode planQuery(const Predicate& query, const AttributeCodes& codes);

// A one-line rendering of the plan, e.g.
//   and(words[kMDItemSubject:"invoice"*], value[kMDItemContentType = "public.email-message"])
std::string explainPlan(const PlanNode& plan);

// Runs a plan's look-ups with one reader. It remembers the terms each dictionary walk found, so
// running the plan again over another window of ids walks no dictionary twice. Used by one
// thread at a time; the plan and the reader must outlive it.
class PlanRunner {
 public:
  PlanRunner(const PlanNode& plan, IndexReader& reader) : plan_(plan), reader_(reader) {}
  bool scans() const { return plan_.kind == PlanNode::Kind::Scan; }
  // The candidates among the ids in range, or none when there are more than cap or the plan
  // scans.
  std::optional<ItemIds> candidates(IdRange range, std::size_t cap);

 private:
  using Terms = std::vector<std::pair<std::string, bool>>;
  std::optional<ItemIds> run(const PlanNode& node, IdRange range, std::size_t cap);
  std::optional<ItemIds> runWords(const Terms& terms, IdRange range, std::size_t cap);
  const Terms& walk(const PlanNode& node);

  const PlanNode& plan_;
  IndexReader& reader_;
  std::map<const PlanNode*, Terms> walked_;
};

}  // namespace trovadex::spotlight
