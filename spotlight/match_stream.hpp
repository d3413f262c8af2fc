// The match stream: the items of the index that satisfy a query, found through its plan and
// each confirmed by the evaluator, handed to a visitor one at a time in id order.
//
// Only the attributes the query names are decoded for the check (all of them for the
// any-attribute forms). The visitor may stop the stream early. Runs on the caller's thread with
// the caller's reader, inside the reader's current transaction.
#pragma once

#include <functional>

#include "foundation/error.hpp"
#include "foundation/value.hpp"
#include "spotlight/compiled_query.hpp"
#include "spotlight/index_reader.hpp"
#include "spotlight/query_plan.hpp"

namespace trovadex::spotlight {

// Returns false to stop the stream.
using MatchVisitor = std::function<bool(const StoredItem& item)>;
// Called every kMatchStreamTickInterval items examined, match or not; false stops the stream.
using MatchTick = std::function<bool()>;
inline constexpr std::size_t kMatchStreamTickInterval = 256;

// Confirms each candidate of the plan (every item for a scan) and visits the matches. Fails
// when the index cannot be read.
foundation::Status streamMatches(IndexReader& reader, const Predicate& query,
                                 const PlanNode& plan, const MatchVisitor& visit,
                                 const MatchTick& tick = {});

// Whether a stored item satisfies the query, decoding only what the query needs.
bool storedItemMatches(const Predicate& query, const StoredItem& item);

}  // namespace trovadex::spotlight
