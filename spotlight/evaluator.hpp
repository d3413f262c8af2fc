// The evaluator: decides whether one item's attributes satisfy a compiled query.
//
// It is a pure function of the compiled query and the attribute dictionary, used both to confirm
// index candidates and to decide live updates, so both paths always agree. Multi-valued
// attributes match when any element does; "!=" is the negation of "==" and so also matches an
// item without the attribute; relational tests fail on a missing attribute. Safe from any thread.
#pragma once

#include "foundation/value.hpp"
#include "spotlight/compiled_query.hpp"

namespace trovadex::spotlight {

bool matchesQuery(const Predicate& query, const foundation::Value::Dictionary& attributes);

// Whether one string value satisfies a text test (as "==" would), for a full-text attribute or
// not. Exposed for the index planner's own checks and for tests.
bool matchesText(const TextTest& test, std::string_view value, bool fullText);

}  // namespace trovadex::spotlight
