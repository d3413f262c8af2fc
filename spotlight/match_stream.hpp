// The match stream: the items of the index that satisfy a query, found through its plan and
// each confirmed by the evaluator, handed to a visitor one at a time in id order.
//
// Only the attributes the query names, and those the caller asks for as well, are decoded (all
// of them for the any-attribute forms); the visitor gets them with the item. It may stop the
// stream early. Runs on the caller's thread with
// the caller's reader, inside the reader's current transaction.
#pragma once

#include <functional>
#include <set>
#include <string>

#include "foundation/error.hpp"
#include "foundation/value.hpp"
#include "spotlight/compiled_query.hpp"
#include "spotlight/index_reader.hpp"
#include "spotlight/query_plan.hpp"

namespace trovadex::spotlight {

// Gets the item and its decoded attributes; returns false to stop the stream.
using MatchVisitor =
    std::function<bool(const StoredItem& item, const foundation::Value::Dictionary& decoded)>;
// Called every kMatchStreamTickInterval items examined, match or not; false stops the stream.
using MatchTick = std::function<bool()>;
inline constexpr std::size_t kMatchStreamTickInterval = 256;

// How candidates are gathered: a plan with at most wholeRunCap candidates is run once; a larger
// one over windows of ids that start at firstWindow ids and grow fourfold up to largestWindow,
// so that the first matches are confirmed (and delivered) before the whole set is known.
// extraKeys: attribute keys the visitor needs besides those the query reads.
struct StreamWindows {
  std::size_t wholeRunCap = 4096;
  std::int64_t firstWindow = 8192;
  std::int64_t largestWindow = 262144;
  std::set<std::string, std::less<>> extraKeys;
};

// Confirms each candidate of the plan (every item for a scan) and visits the matches, in id
// order. Fails when the index cannot be read.
foundation::Status streamMatches(IndexReader& reader, const Predicate& query, const PlanNode& plan,
                                 const MatchVisitor& visit, const MatchTick& tick = {},
                                 const StreamWindows& windows = {});

}  // namespace trovadex::spotlight
