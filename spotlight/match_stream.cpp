#include "spotlight/match_stream.hpp"

#include <limits>
#include <optional>
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
  Confirmer(const Predicate& query, const std::set<std::string, std::less<>>& extraKeys)
      : query_(query), keys_(extraKeys) {
    readsAll_ = !collectKeys(query, keys_);
  }

  // The decoded attributes when the item matches.
  std::optional<foundation::Value::Dictionary> matches(const StoredItem& item) const {
    foundation::Value::Dictionary decoded =
        readsAll_ ? decodeAttributes(item.encodedAttributes)
                  : decodeAttributes(item.encodedAttributes,
                                     [&](std::string_view k) { return keys_.contains(k); });
    if (!matchesQuery(query_, decoded)) return std::nullopt;
    return decoded;
  }

 private:
  const Predicate& query_;
  std::set<std::string, std::less<>> keys_;
  bool readsAll_ = false;
};

}  // namespace

foundation::Status streamMatches(IndexReader& reader, const Predicate& query, const PlanNode& plan,
                                 const MatchVisitor& visit, const MatchTick& tick,
                                 const StreamWindows& windows) {
  const Confirmer confirmer(query, windows.extraKeys);
  std::size_t examined = 0;
  auto carryOn = [&] { return !tick || ++examined % kMatchStreamTickInterval != 0 || tick(); };
  PlanRunner runner(plan, reader);
  // Confirms candidates; false when the stream should end (stopped, or failed).
  StoredItem item;  // one buffer for every candidate
  auto confirm = [&](const ItemIds& candidates) {
    for (std::int64_t id : candidates) {
      if (!carryOn()) return false;
      const bool found = reader.item(id, item);
      if (reader.failed()) return false;
      if (!found) continue;
      if (auto decoded = confirmer.matches(item); decoded && !visit(item, *decoded)) {
        return false;
      }
    }
    return true;
  };
  if (!runner.scans()) {
    if (std::optional<ItemIds> few = runner.candidates(IdRange{}, windows.wholeRunCap)) {
      if (reader.failed()) return reader.lastError();
      confirm(*few);
      return reader.failed() ? foundation::Status(reader.lastError()) : foundation::Status();
    }
    const std::int64_t last = reader.maxItemId();
    std::int64_t window = std::max<std::int64_t>(windows.firstWindow, 1);
    for (std::int64_t low = 0; low <= last;
         low += window, window = std::min(window * 4, std::max(windows.largestWindow, window))) {
      std::optional<ItemIds> candidates = runner.candidates(
          IdRange{low, low + window}, std::numeric_limits<std::size_t>::max() / 2);
      if (reader.failed()) return reader.lastError();
      if (!candidates || !confirm(*candidates)) break;
    }
    return reader.failed() ? foundation::Status(reader.lastError()) : foundation::Status();
  }
  std::int64_t after = 0;
  while (true) {
    std::vector<StoredItem> chunk = reader.itemsAfter(after, kScanChunk);
    if (reader.failed()) return reader.lastError();
    if (chunk.empty()) return {};
    for (const StoredItem& item : chunk) {
      if (!carryOn()) return {};
      if (auto decoded = confirmer.matches(item); decoded && !visit(item, *decoded)) return {};
    }
    after = chunk.back().id;
  }
}

}  // namespace trovadex::spotlight
