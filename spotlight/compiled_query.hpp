// CompiledQuery: a parsed query made ready to test items, with every literal folded and every
// $time resolved once, at the moment the query starts.
//
// Meaning of the modifiers as compiled here: c and d choose the folding; w, and t (typed text,
// which this engine always tokenizes), switch to word matching; f### adds a similarity threshold
// and implies c and d, since similarity is measured on folded text. Full-text attributes always
// match word by word. Immutable after compilation: safe to share between threads.
#pragma once

#include <optional>
#include <string>
#include <vector>

#include "spotlight/glob.hpp"
#include "spotlight/query_syntax.hpp"
#include "spotlight/text_folding.hpp"
#include "spotlight/time_expression.hpp"

namespace trovadex::spotlight {

// How a text literal tests a string value.
struct TextTest {
  FoldOptions folding;
  bool wordBased = false;
  bool existence = false;  // the literal is a lone "*": any value at all
  std::optional<int> fuzzyThreshold;
  Glob whole;                   // the whole value
  std::vector<Glob> wordParts;  // the literal's words cut at camel-case changes
  std::vector<Glob> wordRuns;   // the literal's words
  std::string foldedSpelling;   // for <, >, <=, >= and InRange on strings
  std::string requiredText;     // the longest literal piece of any word: a quick pre-check
};

// A bound or right-hand side reduced to what each kind of value compares with.
struct Operand {
  Literal::Kind kind = Literal::Kind::Text;
  std::optional<double> number;   // a number, or text that reads as one
  std::optional<TimeValue> time;  // a $time value, or a number read as an instant
  std::string spelling;           // the literal as written, stars literal
  bool hasStar = false;           // text with an unescaped star
  TextTest text;                  // kind Text
};

struct Predicate {
  enum class Kind { Or, And, Not, Constant, Compare, Range };
  Kind kind = Kind::Constant;
  std::vector<Predicate> children;
  bool constant = false;
  // Compare and Range.
  AttributeRef::Kind scope = AttributeRef::Kind::Named;
  std::string canonicalName;           // Named
  std::vector<std::string> spellings;  // Named: every key under which the values may be stored
  bool fullText = false;               // Named: a full-text attribute
  CompareOp op = CompareOp::Equal;
  Operand operand;  // Compare: the value; Range: the low bound
  Operand high;     // Range
};

Predicate compileQuery(const Node& tree, const QueryTime& time);

}  // namespace trovadex::spotlight
