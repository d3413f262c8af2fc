#include "spotlight/compiled_query.hpp"

#include "spotlight/attribute_names.hpp"
#include "spotlight/query_parser.hpp"
#include "spotlight/word_segmenter.hpp"

namespace trovadex::spotlight {
namespace {

TextTest compileText(const Literal& literal, const Modifiers& modifiers) {
  TextTest test;
  const bool fuzzy = modifiers.fuzzyThreshold.has_value();
  test.folding =
      FoldOptions{modifiers.caseInsensitive || fuzzy, modifiers.diacriticInsensitive || fuzzy};
  test.wordBased = modifiers.wordBased || modifiers.tokenized;
  test.fuzzyThreshold = modifiers.fuzzyThreshold;
  test.existence = literal.pattern == kStarMarker;
  test.whole = Glob(literal.pattern, test.folding);
  const Segmentation words = segmentWords(literal.pattern, /*starIsWordCharacter=*/true);
  const std::string_view pattern = literal.pattern;
  for (const WordPart& part : words.parts) {
    test.wordParts.emplace_back(pattern.substr(part.begin, part.end - part.begin), test.folding);
  }
  for (const WordRun& run : words.runs) {
    test.wordRuns.emplace_back(pattern.substr(run.begin, run.end - run.begin), test.folding);
  }
  test.foldedSpelling = foldText(literal.spelling, test.folding);
  for (const Glob& part : test.wordParts) {
    for (const std::string& piece : part.pieces()) {
      if (piece.size() > test.requiredText.size()) test.requiredText = piece;
    }
  }
  return test;
}

double isoInstant(const IsoDateTime& iso, const QueryTime& time) {
  TimeExpression expression;
  expression.name = TimeName::Iso;
  expression.iso = iso;
  return resolveTime(expression, time).start;
}

Operand compileOperand(const Literal& literal, const Modifiers& modifiers, const QueryTime& time) {
  Operand operand;
  operand.kind = literal.kind;
  operand.spelling = literal.spelling;
  switch (literal.kind) {
    case Literal::Kind::Text:
      operand.text = compileText(literal, modifiers);
      operand.hasStar = operand.text.whole.hasStar();
      if (!operand.hasStar) {
        operand.number = parseNumberLiteral(literal.spelling);
        if (operand.number) {
          operand.time = TimeValue{*operand.number, std::nullopt};
        } else if (std::optional<IsoDateTime> iso = parseIsoDateTime(literal.spelling)) {
          operand.time = TimeValue{isoInstant(*iso, time), std::nullopt};
        }
      }
      break;
    case Literal::Kind::Number:
      operand.number = literal.number;
      operand.time = TimeValue{literal.number, std::nullopt};
      break;
    case Literal::Kind::Time:
      operand.time = resolveTime(literal.time, time);
      operand.number = operand.time->start;
      break;
    case Literal::Kind::Null:
      break;
  }
  return operand;
}

void compileAttribute(const AttributeRef& attribute, Predicate& out) {
  out.scope = attribute.kind;
  if (attribute.kind != AttributeRef::Kind::Named) return;
  out.canonicalName = std::string(canonicalAttributeName(attribute.name));
  std::string_view single;
  for (std::string_view spelling : attributeSpellings(out.canonicalName, single)) {
    out.spellings.emplace_back(spelling);
  }
  out.fullText = isFullTextAttribute(out.canonicalName);
}

}  // namespace

Predicate compileQuery(const Node& tree, const QueryTime& time) {
  Predicate out;
  switch (tree.kind) {
    case Node::Kind::Or:
      out.kind = Predicate::Kind::Or;
      break;
    case Node::Kind::And:
      out.kind = Predicate::Kind::And;
      break;
    case Node::Kind::Not:
      out.kind = Predicate::Kind::Not;
      break;
    case Node::Kind::Constant:
      out.kind = Predicate::Kind::Constant;
      out.constant = tree.constant;
      return out;
    case Node::Kind::Comparison:
      out.kind = Predicate::Kind::Compare;
      compileAttribute(tree.attribute, out);
      out.op = tree.op;
      out.operand = compileOperand(tree.value, tree.modifiers, time);
      return out;
    case Node::Kind::Range:
      out.kind = Predicate::Kind::Range;
      compileAttribute(tree.attribute, out);
      out.operand = compileOperand(tree.value, Modifiers{}, time);
      out.high = compileOperand(tree.high, Modifiers{}, time);
      return out;
  }
  for (const Node& child : tree.children) out.children.push_back(compileQuery(child, time));
  return out;
}

}  // namespace trovadex::spotlight
