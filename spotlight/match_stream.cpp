#include "spotlight/match_stream.hpp"

#include <set>

#include "spotlight/attribute_codec.hpp"
#include "spotlight/evaluator.hpp"

namespace trovadex::spotlight {
namespace {

constexpr std::size_t kScanChunk = 512;

// The attribute keys the query reads, or none when it reads every attribute.
bool collectKeys(const Predicate& p, std::set<std::string, std::less<>>& keys) {
  switch (p.kind) {
    case Predicate::Kind::Compare:
    case Predicate::Kind::Range:
      if (p.scope != AttributeRef::Kind::Named) return false;
      keys.insert(p.spellings.begin(), p.spellings.end());
      return true;
    case Predicate::Kind::Constant:
      return true;
    default:
      for (const Predicate& child : p.children) {
        if (!collectKeys(child, keys)) return false;
      }
      return true;
  }
}

class Confirmer {
 public:
  explicit Confirmer(const Predicate& query) : query_(query) {
    readsAll_ = !collectKeys(query, keys_);
  }

  bool matches(const StoredItem& item) const {
    if (readsAll_) return matchesQuery(query_, decodeAttributes(item.encodedAttributes));
    return matchesQuery(query_, decodeAttributes(item.encodedAttributes, [&](std::string_view k) {
                          return keys_.contains(k);
                        }));
  }

 private:
  const Predicate& query_;
  std::set<std::string, std::less<>> keys_;
  bool readsAll_ = false;
};

}  // namespace

foundation::Status streamMatches(IndexReader& reader, const Predicate& query,
                                 const PlanNode& plan, const MatchVisitor& visit,
                                 const MatchTick& tick) {
  const Confirmer confirmer(query);
  std::size_t examined = 0;
  auto carryOn = [&] { return !tick || ++examined % kMatchStreamTickInterval != 0 || tick(); };
  std::optional<ItemIds> candidates = planCandidates(plan, reader);
  if (reader.failed()) return reader.lastError();
  if (candidates) {
    for (std::int64_t id : *candidates) {
      if (!carryOn()) return {};
      std::optional<StoredItem> item = reader.item(id);
      if (reader.failed()) return reader.lastError();
      if (item && confirmer.matches(*item) && !visit(*item)) return {};
    }
    return {};
  }
  std::int64_t after = 0;
  while (true) {
    std::vector<StoredItem> chunk = reader.itemsAfter(after, kScanChunk);
    if (reader.failed()) return reader.lastError();
    if (chunk.empty()) return {};
    for (const StoredItem& item : chunk) {
      if (!carryOn()) return {};
      if (confirmer.matches(item) && !visit(item)) return {};
    }
    after = chunk.back().id;
  }
}

bool storedItemMatches(const Predicate& query, const StoredItem& item) {
  return Confirmer(query).matches(item);
}

}  // namespace trovadex::spotlight
