#include "spotlight/query_plan.hpp"

#include <algorithm>
#include <cmath>
#include <limits>

#include "spotlight/attribute_names.hpp"
#include "spotlight/fuzzy_similarity.hpp"
#include "spotlight/word_segmenter.hpp"
#include "spotlight/word_tokenizer.hpp"

namespace trovadex::spotlight {
namespace {

constexpr double kInfinity = std::numeric_limits<double>::infinity();
// The first cap an intersection tries its children with, and how it grows.
constexpr std::size_t kFirstIntersectCap = 2048;
constexpr std::size_t kIntersectCapGrowth = 16;
// Terms per FTS5 expression when a walk found many.
constexpr std::size_t kTermsPerExpression = 200;

using Kind = PlanNode::Kind;

PlanNode leaf(Kind kind) {
  PlanNode node;
  node.kind = kind;
  return node;
}

struct ScopedAttribute {
  std::int64_t code;
  std::string name;
  bool fullText;
};

std::vector<ScopedAttribute> scopeOf(const Predicate& p, const AttributeCodes& codes) {
  std::vector<ScopedAttribute> out;
  if (p.scope == AttributeRef::Kind::Named) {
    if (const std::int64_t* code = codes.find(p.canonicalName)) {
      out.push_back({*code, p.canonicalName, p.fullText});
    }
    return out;
  }
  for (const auto& [code, name] : codes.byCode) {
    const bool fullText = isFullTextAttribute(name);
    if (fullText && p.scope == AttributeRef::Kind::AnyString) continue;
    out.push_back({code, name, fullText});
  }
  return out;
}

std::string globText(const Glob& glob) {
  std::string out;
  for (std::size_t i = 0; i < glob.pieces().size(); ++i) {
    if (i > 0) out += '*';
    out += glob.pieces()[i];
  }
  return out;
}

Glob fullyFolded(const Glob& glob) {
  std::string pattern;
  for (std::size_t i = 0; i < glob.pieces().size(); ++i) {
    if (i > 0) pattern += kStarMarker;
    pattern += fullyFold(glob.pieces()[i]);
  }
  return Glob(pattern, FoldOptions{});
}

PlanNode present(const ScopedAttribute& a) {
  PlanNode node = leaf(Kind::Present);
  node.code = a.code;
  node.attribute = a.name;
  return node;
}

PlanNode numberRange(const ScopedAttribute& a, double low, bool lowInclusive, double high,
                     bool highInclusive) {
  PlanNode node = leaf(Kind::NumberRange);
  node.code = a.code;
  node.attribute = a.name;
  node.low = low;
  node.lowInclusive = lowInclusive;
  node.high = high;
  node.highInclusive = highInclusive;
  return node;
}

PlanNode words(const ScopedAttribute& a, std::string word, bool prefix) {
  PlanNode node = leaf(Kind::Words);
  node.terms.emplace_back(indexTerm(a.code, word), prefix);
  node.termLabels.push_back(a.name + ":\"" + word + "\"" + (prefix ? "*" : ""));
  return node;
}

PlanNode termWalk(const ScopedAttribute& a, std::string_view firstPiece, Glob glob,
                  std::optional<int> fuzzy) {
  PlanNode node = leaf(Kind::TermWalk);
  node.code = a.code;
  node.attribute = a.name;
  node.text = indexTerm(a.code, firstPiece);
  node.glob = std::move(glob);
  node.fuzzyThreshold = fuzzy;
  return node;
}

PlanNode value(Kind kind, const ScopedAttribute& a, std::string text) {
  PlanNode node = leaf(kind);
  node.code = a.code;
  node.attribute = a.name;
  node.text = std::move(text);
  return node;
}

// Items having a word that the (fully folded) glob accepts.
PlanNode wordLookup(const ScopedAttribute& a, const Glob& folded, std::optional<int> fuzzy) {
  if (fuzzy) return termWalk(a, "", folded, fuzzy);
  if (folded.isAnything()) return present(a);
  if (!folded.hasStar()) return words(a, folded.pieces().front(), false);
  if (folded.pieces().size() == 2 && folded.trailingStar()) {
    return words(a, folded.pieces().front(), true);
  }
  return termWalk(a, folded.pieces().front(), folded, std::nullopt);
}

PlanNode allOf(std::vector<PlanNode> children);
PlanNode anyOf(std::vector<PlanNode> children);

// Mirrors the evaluator's word matching: a one-word literal may match any word or run; a
// literal of several parts or words needs all of them.
PlanNode wordPlan(const ScopedAttribute& a, const TextTest& t) {
  auto lookups = [&](const std::vector<Glob>& globs) {
    std::vector<PlanNode> out;
    for (const Glob& glob : globs) {
      Glob folded = fullyFolded(glob);
      if (folded.isAnything() && !t.fuzzyThreshold) continue;
      out.push_back(wordLookup(a, folded, t.fuzzyThreshold));
    }
    if (out.empty()) out.push_back(present(a));
    return out;
  };
  if (t.wordRuns.empty()) return leaf(Kind::Empty);
  std::vector<PlanNode> alternatives;
  if (t.wordRuns.size() == 1) {
    alternatives.push_back(wordLookup(a, fullyFolded(t.wordRuns.front()), t.fuzzyThreshold));
    if (t.wordParts.size() == 1) return std::move(alternatives.front());
  }
  alternatives.push_back(allOf(lookups(t.wordParts)));
  if (t.wordRuns.size() >= 2) alternatives.push_back(allOf(lookups(t.wordRuns)));
  return anyOf(std::move(alternatives));
}

// A piece of a "*...*" pattern that lies inside one word of any value containing it.
std::optional<std::string> wordInfix(const Glob& folded) {
  std::optional<std::string> best;
  for (const std::string& piece : folded.pieces()) {
    if (piece.empty() || (best && best->size() >= piece.size())) continue;
    if (hasUnspacedScript(piece)) continue;
    const Segmentation s = segmentWords(piece);
    if (s.runs.size() == 1 && s.runs[0].begin == 0 && s.runs[0].end == piece.size()) {
      best = piece;
    }
  }
  return best;
}

PlanNode wholeValuePlan(const ScopedAttribute& a, const TextTest& t) {
  const Glob folded = fullyFolded(t.whole);
  if (t.fuzzyThreshold) {
    PlanNode walk = value(Kind::ValueWalk, a, "");
    walk.glob = folded;
    walk.fuzzyThreshold = t.fuzzyThreshold;
    return walk;
  }
  if (!folded.hasStar()) return value(Kind::ValueEqual, a, cutIndexedValue(folded.pieces()[0]));
  if (!folded.pieces().front().empty()) {
    return value(Kind::ValuePrefix, a, cutIndexedValue(folded.pieces().front()));
  }
  if (std::optional<std::string> infix = wordInfix(folded)) {
    std::string contains(kStarMarker);
    contains += *infix;
    contains += kStarMarker;
    return termWalk(a, "", Glob(contains, FoldOptions{}), std::nullopt);
  }
  PlanNode walk = value(Kind::ValueWalk, a, "");
  walk.glob = folded;
  return walk;
}

// Numbers and dates against a number or time, as the evaluator compares them.
std::optional<PlanNode> numberPlan(const ScopedAttribute& a, CompareOp op, const Operand& o) {
  if (o.time && o.time->isPeriod() && op == CompareOp::Equal) {
    return numberRange(a, o.time->start, true, *o.time->end, false);
  }
  if (!o.number) return std::nullopt;
  const double n = o.number.value();
  switch (op) {
    case CompareOp::Equal:
      return numberRange(a, std::floor(n), true, std::floor(n) + 1, false);
    case CompareOp::Less:
      return numberRange(a, -kInfinity, true, n, false);
    case CompareOp::LessEqual:
      return numberRange(a, -kInfinity, true, n, true);
    case CompareOp::Greater:
      return numberRange(a, n, false, kInfinity, true);
    case CompareOp::GreaterEqual:
      return numberRange(a, n, true, kInfinity, true);
    case CompareOp::NotEqual:
      return std::nullopt;
  }
  return std::nullopt;
}

PlanNode comparePlan(const Predicate& p, const AttributeCodes& codes) {
  const Operand& o = p.operand;
  if (p.op == CompareOp::NotEqual) return leaf(Kind::Scan);
  if (o.kind == Literal::Kind::Null) {
    return p.op == CompareOp::Equal ? leaf(Kind::Scan) : leaf(Kind::Empty);
  }
  const bool named = p.scope == AttributeRef::Kind::Named;
  const bool equal = p.op == CompareOp::Equal;
  std::vector<PlanNode> alternatives;
  for (const ScopedAttribute& a : scopeOf(p, codes)) {
    switch (o.kind) {
      case Literal::Kind::Text:
        if (o.text.existence) {
          if (equal) alternatives.push_back(present(a));
          continue;
        }
        if (!equal) {
          alternatives.push_back(present(a));
          continue;
        }
        alternatives.push_back(o.text.wordBased || a.fullText ? wordPlan(a, o.text)
                                                              : wholeValuePlan(a, o.text));
        if (named && !o.hasStar) {
          if (auto numbers = numberPlan(a, p.op, o)) alternatives.push_back(std::move(*numbers));
        }
        break;
      case Literal::Kind::Number:
        if (equal) {
          alternatives.push_back(
              value(Kind::ValueEqual, a, cutIndexedValue(fullyFold(o.spelling))));
        }
        if (named) {
          if (auto numbers = numberPlan(a, p.op, o)) alternatives.push_back(std::move(*numbers));
        }
        break;
      case Literal::Kind::Time:
        if (named) {
          if (auto numbers = numberPlan(a, p.op, o)) alternatives.push_back(std::move(*numbers));
        }
        break;
      case Literal::Kind::Null:
        break;
    }
  }
  return anyOf(std::move(alternatives));
}

PlanNode rangePlan(const Predicate& p, const AttributeCodes& codes) {
  const bool named = p.scope == AttributeRef::Kind::Named;
  const bool textBounds =
      p.operand.kind == Literal::Kind::Text && p.high.kind == Literal::Kind::Text;
  std::vector<PlanNode> alternatives;
  for (const ScopedAttribute& a : scopeOf(p, codes)) {
    if (textBounds) alternatives.push_back(present(a));
    if (named && p.operand.number && p.high.number) {
      alternatives.push_back(numberRange(a, *p.operand.number, true, *p.high.number, true));
    }
  }
  return anyOf(std::move(alternatives));
}

PlanNode allOf(std::vector<PlanNode> children) {
  std::vector<PlanNode> kept;
  for (PlanNode& child : children) {
    if (child.kind == Kind::Empty) return leaf(Kind::Empty);
    if (child.kind == Kind::Scan) continue;
    if (child.kind == Kind::Intersect) {
      for (PlanNode& grandchild : child.children) kept.push_back(std::move(grandchild));
      continue;
    }
    kept.push_back(std::move(child));
  }
  if (kept.empty()) return leaf(Kind::Scan);
  if (kept.size() == 1) return std::move(kept.front());
  PlanNode node = leaf(Kind::Intersect);
  node.children = std::move(kept);
  return node;
}

PlanNode anyOf(std::vector<PlanNode> children) {
  std::vector<PlanNode> kept;
  PlanNode merged = leaf(Kind::Words);
  for (PlanNode& child : children) {
    if (child.kind == Kind::Scan) return leaf(Kind::Scan);
    if (child.kind == Kind::Empty) continue;
    if (child.kind == Kind::Words) {
      merged.terms.insert(merged.terms.end(), child.terms.begin(), child.terms.end());
      merged.termLabels.insert(merged.termLabels.end(), child.termLabels.begin(),
                               child.termLabels.end());
      continue;
    }
    if (child.kind == Kind::Union) {
      for (PlanNode& grandchild : child.children) {
        if (grandchild.kind == Kind::Words) {
          merged.terms.insert(merged.terms.end(), grandchild.terms.begin(), grandchild.terms.end());
          merged.termLabels.insert(merged.termLabels.end(), grandchild.termLabels.begin(),
                                   grandchild.termLabels.end());
        } else {
          kept.push_back(std::move(grandchild));
        }
      }
      continue;
    }
    kept.push_back(std::move(child));
  }
  if (!merged.terms.empty()) {
    // The same term may come from several alternatives ("lunch" as a run and as a part).
    std::vector<std::pair<std::string, bool>> terms;
    std::vector<std::string> labels;
    for (std::size_t i = 0; i < merged.terms.size(); ++i) {
      if (std::find(terms.begin(), terms.end(), merged.terms[i]) != terms.end()) continue;
      terms.push_back(merged.terms[i]);
      labels.push_back(merged.termLabels[i]);
    }
    merged.terms = std::move(terms);
    merged.termLabels = std::move(labels);
    kept.insert(kept.begin(), std::move(merged));
  }
  if (kept.empty()) return leaf(Kind::Empty);
  if (kept.size() == 1) return std::move(kept.front());
  PlanNode node = leaf(Kind::Union);
  node.children = std::move(kept);
  return node;
}

std::string number(double x) {
  if (std::isinf(x)) return x < 0 ? "-inf" : "+inf";
  char buffer[64];
  std::snprintf(buffer, sizeof buffer, "%.17g", x);
  return buffer;
}

std::string quoteTerm(const std::string& term) {
  std::string out = "\"";
  for (char c : term) {
    if (c == '"') out += '"';
    out += c;
  }
  out += '"';
  return out;
}

ItemIds unite(const ItemIds& a, const ItemIds& b) {
  ItemIds out;
  out.reserve(a.size() + b.size());
  std::set_union(a.begin(), a.end(), b.begin(), b.end(), std::back_inserter(out));
  return out;
}

ItemIds intersect(const ItemIds& a, const ItemIds& b) {
  ItemIds out;
  std::set_intersection(a.begin(), a.end(), b.begin(), b.end(), std::back_inserter(out));
  return out;
}

}  // namespace

PlanNode planQuery(const Predicate& query, const AttributeCodes& codes) {
  switch (query.kind) {
    case Predicate::Kind::Or: {
      std::vector<PlanNode> children;
      for (const Predicate& child : query.children) children.push_back(planQuery(child, codes));
      return anyOf(std::move(children));
    }
    case Predicate::Kind::And: {
      std::vector<PlanNode> children;
      for (const Predicate& child : query.children) children.push_back(planQuery(child, codes));
      return allOf(std::move(children));
    }
    case Predicate::Kind::Not:
      return leaf(Kind::Scan);
    case Predicate::Kind::Constant:
      return leaf(query.constant ? Kind::Scan : Kind::Empty);
    case Predicate::Kind::Compare:
      return comparePlan(query, codes);
    case Predicate::Kind::Range:
      return rangePlan(query, codes);
  }
  return leaf(Kind::Scan);
}

std::string explainPlan(const PlanNode& plan) {
  auto list = [](const std::vector<PlanNode>& children) {
    std::string out;
    for (std::size_t i = 0; i < children.size(); ++i) {
      if (i > 0) out += ", ";
      out += explainPlan(children[i]);
    }
    return out;
  };
  switch (plan.kind) {
    case Kind::Scan:
      return "scan";
    case Kind::Empty:
      return "empty";
    case Kind::Union:
      return "or(" + list(plan.children) + ")";
    case Kind::Intersect:
      return "and(" + list(plan.children) + ")";
    case Kind::Words: {
      std::string out = "words[";
      for (std::size_t i = 0; i < plan.termLabels.size(); ++i) {
        if (i > 0) out += ", ";
        out += plan.termLabels[i];
      }
      return out + "]";
    }
    case Kind::TermWalk:
      return "term-walk[" + plan.attribute + ": " + globText(plan.glob) +
             (plan.fuzzyThreshold ? " ~" + std::to_string(*plan.fuzzyThreshold) + "%" : "") + "]";
    case Kind::ValueEqual:
      return "value[" + plan.attribute + " = \"" + plan.text + "\"]";
    case Kind::ValuePrefix:
      return "value[" + plan.attribute + " begins \"" + plan.text + "\"]";
    case Kind::ValueWalk:
      return "value-walk[" + plan.attribute + ": " + globText(plan.glob) +
             (plan.fuzzyThreshold ? " ~" + std::to_string(*plan.fuzzyThreshold) + "%" : "") + "]";
    case Kind::NumberRange:
      return "range[" + plan.attribute + " in " + (plan.lowInclusive ? "[" : "(") +
             number(plan.low) + ", " + number(plan.high) + (plan.highInclusive ? "]" : ")") + "]";
    case Kind::Present:
      return "present[" + plan.attribute + "]";
  }
  return "?";
}

std::optional<ItemIds> PlanRunner::candidates(IdRange range, std::size_t cap) {
  if (scans()) return std::nullopt;
  return run(plan_, range, cap);
}

std::optional<ItemIds> PlanRunner::runWords(const Terms& terms, IdRange range, std::size_t cap) {
  ItemIds all;
  for (std::size_t begin = 0; begin < terms.size(); begin += kTermsPerExpression) {
    std::string expression;
    const std::size_t end = std::min(terms.size(), begin + kTermsPerExpression);
    for (std::size_t i = begin; i < end; ++i) {
      if (i > begin) expression += " OR ";
      expression += quoteTerm(terms[i].first);
      if (terms[i].second) expression += '*';
    }
    std::optional<ItemIds> found = reader_.wordMatches(expression, range, cap);
    if (!found) return std::nullopt;
    all = all.empty() ? std::move(*found) : unite(all, *found);
    if (all.size() > cap) return std::nullopt;
  }
  return all;
}

const PlanRunner::Terms& PlanRunner::walk(const PlanNode& node) {
  auto found = walked_.find(&node);
  if (found != walked_.end()) return found->second;
  Terms& terms = walked_[&node];
  const std::size_t bodyOffset = indexTerm(node.code, "").size();
  reader_.walkTerms(node.text, [&](std::string_view term) {
    const std::string_view body = term.substr(bodyOffset);
    if (node.glob.matches(body) ||
        (node.fuzzyThreshold && fuzzyReaches(node.glob, body, *node.fuzzyThreshold))) {
      terms.emplace_back(std::string(term), false);
    }
    return true;
  });
  return terms;
}

std::optional<ItemIds> PlanRunner::run(const PlanNode& node, IdRange range, std::size_t cap) {
  switch (node.kind) {
    case Kind::Scan:
      return std::nullopt;
    case Kind::Empty:
      return ItemIds{};
    case Kind::Words:
      return runWords(node.terms, range, cap);
    case Kind::TermWalk:
      return runWords(walk(node), range, cap);
    case Kind::ValueEqual:
      return reader_.valuesEqual(node.code, node.text, range, cap);
    case Kind::ValuePrefix:
      return reader_.valuesWithPrefix(node.code, node.text, range, cap);
    case Kind::ValueWalk:
      return reader_.valuesWhere(
          node.code, node.text,
          [&](std::string_view folded) {
            // A cut value may match in its full length: keep it for the evaluator.
            return folded.size() + 4 >= kIndexedValueLimit || node.glob.matches(folded) ||
                   (node.fuzzyThreshold && fuzzyReaches(node.glob, folded, *node.fuzzyThreshold));
          },
          range, cap);
    case Kind::NumberRange:
      return reader_.numbersBetween(node.code, node.low, node.lowInclusive, node.high,
                                    node.highInclusive, range, cap);
    case Kind::Present:
      return reader_.present(node.code, range, cap);
    case Kind::Union: {
      ItemIds all;
      for (const PlanNode& child : node.children) {
        std::optional<ItemIds> found = run(child, range, cap);
        if (!found) return std::nullopt;
        all = unite(all, *found);
        if (all.size() > cap) return std::nullopt;
      }
      return all;
    }
    case Kind::Intersect: {
      // Try every child with a small cap and grow it until one child completes; then
      // intersect the children that completed. The others stay as filters for the evaluator.
      std::size_t trial = std::min(cap, kFirstIntersectCap);
      while (true) {
        std::optional<ItemIds> best;
        std::vector<ItemIds> others;
        for (const PlanNode& child : node.children) {
          std::optional<ItemIds> found = run(child, range, trial);
          if (!found) continue;
          if (!best || found->size() < best->size()) {
            if (best) others.push_back(std::move(*best));
            best = std::move(found);
          } else {
            others.push_back(std::move(*found));
          }
        }
        if (best) {
          for (const ItemIds& other : others) *best = intersect(*best, other);
          return best;
        }
        if (trial >= cap) return std::nullopt;
        trial = trial > cap / kIntersectCapGrowth ? cap : trial * kIntersectCapGrowth;
      }
    }
  }
  return std::nullopt;
}

}  // namespace trovadex::spotlight
