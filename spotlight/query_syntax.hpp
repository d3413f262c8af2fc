// The syntax tree of a parsed query string: what the parser produces and the compiler reads.
//
//   Node::Or / Node::And   two or more children, in source order (the parser flattens chains)
//   Node::Not              one child
//   Node::Constant         `true` or `false`
//   Node::Comparison       attribute, operator, literal, modifiers
//   Node::Range            InRange(attribute, low, high), both bounds inclusive
//
// Literals keep what the query said, not what it means: a quoted or bare text (stars that were
// not escaped are kStarMarker), a number with its spelling, a `$time` expression still to be
// resolved against the query's start time, or the bare word NULL. Plain values: safe to copy
// between threads.
#pragma once

#include <cstddef>
#include <optional>
#include <string>
#include <vector>

namespace trovadex::spotlight {

enum class CompareOp { Equal, NotEqual, Less, Greater, LessEqual, GreaterEqual };

struct Modifiers {
  bool caseInsensitive = false;       // c
  bool diacriticInsensitive = false;  // d
  bool wordBased = false;             // w
  bool tokenized = false;             // t
  std::optional<int> fuzzyThreshold;  // f followed by three digits, in percent
};

enum class TimeName {
  Now,
  Today,
  Yesterday,
  Tomorrow,
  ThisWeek,
  LastWeek,
  NextWeek,
  ThisMonth,
  NextMonth,
  ThisYear,
  NextYear,
  Iso
};

// A calendar date and time as written in $time.iso(...); the zone is absent when the text named
// none (then the query's time zone applies).
struct IsoDateTime {
  int year = 0, month = 1, day = 1, hour = 0, minute = 0;
  double second = 0;
  std::optional<int> zoneOffsetMinutes;
};

struct TimeExpression {
  TimeName name = TimeName::Now;
  double offset = 0;  // the signed argument, 0 when absent
  char unit = '\0';   // 'd', 'w' or none
  IsoDateTime iso;    // TimeName::Iso only
};

struct Literal {
  enum class Kind { Text, Number, Time, Null };
  Kind kind = Kind::Text;
  bool quoted = false;   // Text: written in quotes (false: a bare word)
  std::string pattern;   // Text: the unescaped text, kStarMarker for each unescaped star
  std::string spelling;  // Text: the text with every star literal; Number: as written
  double number = 0;     // Number
  TimeExpression time;   // Time
};

struct AttributeRef {
  enum class Kind { Named, AnyString /* * */, AnyIncludingText /* ** */ };
  Kind kind = Kind::Named;
  std::string name;  // Named: as written
};

struct Node {
  enum class Kind { Or, And, Not, Constant, Comparison, Range };
  Kind kind = Kind::Constant;
  std::size_t offset = 0;  // byte offset of the node's first token in the query string
  std::vector<Node> children;
  bool constant = false;   // Constant
  AttributeRef attribute;  // Comparison, Range
  CompareOp op = CompareOp::Equal;
  Literal value;        // Comparison; Range: the low bound
  Literal high;         // Range: the high bound
  Modifiers modifiers;  // Comparison
};

}  // namespace trovadex::spotlight
