// The index's FTS5 tokenizer ("trovadex_words"): the evaluator's word segmentation and folding,
// so that every word a `w` comparison can match is a term the index can look up.
//
// A document is a sequence of sections "\x01<attribute code>\x02<text>". Each text is split
// with segmentWords; every part, and every run of several parts, is fully folded and emitted as
// the term "<code>:<folded word>". Query text is taken as one term exactly as written, because
// the planner builds its terms itself. On the writer's connection the tokenizer also records
// every document term in a TermSink, from which the term dictionary is kept.
// Each connection gets its own registration; a sink is used by its connection's thread only.
#pragma once

#include <sqlite3.h>

#include <cstdint>
#include <string>
#include <string_view>
#include <vector>

#include "foundation/error.hpp"

namespace trovadex::spotlight {

inline constexpr std::string_view kWordTokenizerName = "trovadex_words";

struct TermSink {
  bool recording = false;
  std::vector<std::string> terms;
};

// Registers the tokenizer on a connection; sink may be null (readers).
foundation::Status registerWordTokenizer(sqlite3* db, TermSink* sink);

// "<code>:<foldedWord>", the form of every index term.
std::string indexTerm(std::int64_t code, std::string_view foldedWord);

// Appends one section to a document text; control bytes of the text that would end a section
// are replaced by spaces.
void appendDocumentSection(std::string& document, std::int64_t code, std::string_view text);

}  // namespace trovadex::spotlight
