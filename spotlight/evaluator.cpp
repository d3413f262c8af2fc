#include "spotlight/evaluator.hpp"

#include <cmath>

#include "spotlight/attribute_names.hpp"
#include "spotlight/fuzzy_similarity.hpp"
#include "spotlight/word_segmenter.hpp"

namespace trovadex::spotlight {
namespace {

using foundation::Value;

// A value's words, folded the way the test asks.
struct FoldedWords {
  std::vector<std::string> parts;
  std::vector<std::string> runs;
};

FoldedWords foldWords(std::string_view value, FoldOptions folding) {
  const Segmentation segmentation = segmentWords(value);
  FoldedWords out;
  out.parts.reserve(segmentation.parts.size());
  for (const WordPart& part : segmentation.parts) {
    out.parts.push_back(foldText(value.substr(part.begin, part.end - part.begin), folding));
  }
  out.runs.reserve(segmentation.runs.size());
  for (const WordRun& run : segmentation.runs) {
    if (run.partCount == 1) {
      out.runs.push_back(out.parts[run.firstPart]);
    } else {
      out.runs.push_back(foldText(value.substr(run.begin, run.end - run.begin), folding));
    }
  }
  return out;
}

bool wordMatches(const TextTest& test, const Glob& glob, const std::string& word) {
  if (glob.matches(word)) return true;
  return test.fuzzyThreshold && fuzzyReaches(glob, word, *test.fuzzyThreshold);
}

// Whether the globs match len(globs) consecutive words somewhere in words.
bool matchesSequence(const TextTest& test, const std::vector<Glob>& globs,
                     const std::vector<std::string>& words) {
  if (globs.empty() || globs.size() > words.size()) return false;
  for (std::size_t start = 0; start + globs.size() <= words.size(); ++start) {
    bool all = true;
    for (std::size_t j = 0; j < globs.size() && all; ++j) {
      all = wordMatches(test, globs[j], words[start + j]);
    }
    if (all) return true;
  }
  return false;
}

// Word matching: a one-word literal matches any word or camel-case part of the value; a
// literal of several parts or words matches them consecutively.
bool matchesWords(const TextTest& test, std::string_view value) {
  if (test.wordRuns.empty()) return false;
  // Every word match needs the literal's longest piece somewhere in the folded value.
  if (!test.fuzzyThreshold && !test.requiredText.empty() &&
      foldText(value, test.folding).find(test.requiredText) == std::string::npos) {
    return false;
  }
  const FoldedWords words = foldWords(value, test.folding);
  if (test.wordRuns.size() == 1) {
    const Glob& single = test.wordRuns.front();
    for (const std::string& part : words.parts) {
      if (wordMatches(test, single, part)) return true;
    }
    for (const std::string& run : words.runs) {
      if (wordMatches(test, single, run)) return true;
    }
  }
  if (matchesSequence(test, test.wordParts, words.parts)) return true;
  return test.wordRuns.size() >= 2 && matchesSequence(test, test.wordRuns, words.runs);
}

bool compareOrdered(double x, CompareOp op, double y) {
  switch (op) {
    case CompareOp::Equal:
      return x == y;
    case CompareOp::NotEqual:
      return x != y;
    case CompareOp::Less:
      return x < y;
    case CompareOp::Greater:
      return x > y;
    case CompareOp::LessEqual:
      return x <= y;
    case CompareOp::GreaterEqual:
      return x >= y;
  }
  return false;
}

bool compareStrings(std::string_view x, CompareOp op, std::string_view y) {
  const int order = x.compare(y);
  return compareOrdered(order, op, 0);
}

// A date against a time: "==" means within the period, or within the instant's whole second;
// the relational operators compare with the start.
bool compareWithTime(double x, CompareOp op, const TimeValue& time) {
  if (op == CompareOp::Equal) {
    if (time.isPeriod()) return time.start <= x && x < *time.end;
    return std::floor(x) == std::floor(time.start);
  }
  return compareOrdered(x, op, time.start);
}

bool isNumberKind(const Value& value) {
  switch (value.kind()) {
    case Value::Kind::Bool:
    case Value::Kind::Integer:
    case Value::Kind::Unsigned:
    case Value::Kind::Real:
      return true;
    default:
      return false;
  }
}

bool testElement(const Predicate& p, CompareOp op, const Value& value, bool fullText) {
  const Operand& operand = p.operand;
  if (const std::string* text = value.asString()) {
    switch (operand.kind) {
      case Literal::Kind::Text:
        if (op == CompareOp::Equal) return matchesText(operand.text, *text, fullText);
        return compareStrings(foldText(*text, operand.text.folding), op,
                              operand.text.foldedSpelling);
      case Literal::Kind::Number:
        return op == CompareOp::Equal && *text == operand.spelling;
      default:
        return false;
    }
  }
  if (isNumberKind(value)) {
    // Wildcards apply to text values only.
    if (operand.kind == Literal::Kind::Text && operand.hasStar) return false;
    if (operand.kind == Literal::Kind::Time) {
      return compareWithTime(value.doubleValue(), op, *operand.time);
    }
    return operand.number && compareOrdered(value.doubleValue(), op, *operand.number);
  }
  if (const foundation::Date* date = value.asDate()) {
    if (operand.kind == Literal::Kind::Text && operand.hasStar) return false;
    return operand.time &&
           compareWithTime(date->timeIntervalSinceReferenceDate(), op, *operand.time);
  }
  return false;
}

bool testRangeElement(const Predicate& p, const Value& value) {
  const Operand& low = p.operand;
  const Operand& high = p.high;
  if (const std::string* text = value.asString()) {
    if (low.kind != Literal::Kind::Text || high.kind != Literal::Kind::Text) return false;
    const std::string folded = foldText(*text, FoldOptions{});
    return low.text.foldedSpelling <= folded && folded <= high.text.foldedSpelling;
  }
  if (isNumberKind(value)) {
    return low.number && high.number && *low.number <= value.doubleValue() &&
           value.doubleValue() <= *high.number;
  }
  if (const foundation::Date* date = value.asDate()) {
    const double x = date->timeIntervalSinceReferenceDate();
    return low.time && high.time && low.time->start <= x && x <= high.time->start;
  }
  return false;
}

// Calls test on each value the predicate's attribute scope reaches, arrays flattened, until it
// returns true. The any-attribute scopes reach string values only.
template <typename Test>
bool anyValue(const Predicate& p, const Value::Dictionary& attributes, Test&& test) {
  auto visit = [&](const Value& value, bool fullText, bool stringsOnly, auto& self) -> bool {
    if (const Value::Array* elements = value.asArray()) {
      for (const Value& element : *elements) {
        if (self(element, fullText, stringsOnly, self)) return true;
      }
      return false;
    }
    if (stringsOnly && !value.isString()) return false;
    return test(value, fullText);
  };
  if (p.scope == AttributeRef::Kind::Named) {
    for (const std::string& spelling : p.spellings) {
      auto found = attributes.find(spelling);
      if (found != attributes.end() && visit(found->second, p.fullText, false, visit)) {
        return true;
      }
    }
    return false;
  }
  const bool includeText = p.scope == AttributeRef::Kind::AnyIncludingText;
  for (const auto& [key, value] : attributes) {
    const bool fullText = isFullTextAttribute(canonicalAttributeName(key));
    if (fullText && !includeText) continue;
    if (visit(value, fullText, true, visit)) return true;
  }
  return false;
}

bool evaluateCompare(const Predicate& p, CompareOp op, const Value::Dictionary& attributes) {
  const Operand& operand = p.operand;
  const bool presence = operand.kind == Literal::Kind::Null ||
                        (operand.kind == Literal::Kind::Text && operand.text.existence);
  if (presence) {
    if (op != CompareOp::Equal && op != CompareOp::NotEqual) return false;
    const bool present = anyValue(p, attributes, [](const Value&, bool) { return true; });
    const bool wantPresent = operand.kind == Literal::Kind::Text;
    return (op == CompareOp::Equal) == (present == wantPresent);
  }
  if (op == CompareOp::NotEqual) return !evaluateCompare(p, CompareOp::Equal, attributes);
  return anyValue(p, attributes, [&](const Value& value, bool fullText) {
    return testElement(p, op, value, fullText);
  });
}

}  // namespace

bool matchesText(const TextTest& test, std::string_view value, bool fullText) {
  if (test.existence) return true;
  if (test.wordBased || fullText) return matchesWords(test, value);
  const std::string folded = foldText(value, test.folding);
  if (test.whole.matches(folded)) return true;
  return test.fuzzyThreshold && fuzzyReaches(test.whole, folded, *test.fuzzyThreshold);
}

bool matchesQuery(const Predicate& query, const Value::Dictionary& attributes) {
  switch (query.kind) {
    case Predicate::Kind::Or:
      for (const Predicate& child : query.children) {
        if (matchesQuery(child, attributes)) return true;
      }
      return false;
    case Predicate::Kind::And:
      for (const Predicate& child : query.children) {
        if (!matchesQuery(child, attributes)) return false;
      }
      return true;
    case Predicate::Kind::Not:
      return !matchesQuery(query.children.front(), attributes);
    case Predicate::Kind::Constant:
      return query.constant;
    case Predicate::Kind::Compare:
      return evaluateCompare(query, query.op, attributes);
    case Predicate::Kind::Range:
      return anyValue(query, attributes,
                      [&](const Value& value, bool) { return testRangeElement(query, value); });
  }
  return false;
}

}  // namespace trovadex::spotlight
