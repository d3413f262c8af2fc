#include "mailstore/indexer_sync_plan.hpp"

#include <charconv>
#include <cmath>
#include <set>

namespace trovadex::mailstore {
namespace {

// Modification times travel through the index as double-precision dates; a difference below
// this is rounding, not a rewrite.
constexpr double kTimeTolerance = 1e-5;

std::optional<std::int64_t> libraryIDOf(const std::string& identifier) {
  std::int64_t id = 0;
  auto [end, error] = std::from_chars(identifier.data(), identifier.data() + identifier.size(), id);
  if (identifier.empty() || error != std::errc() || end != identifier.data() + identifier.size() ||
      id <= 0 || identifier[0] == '0') {
    return std::nullopt;
  }
  return id;
}

}  // namespace

std::optional<std::pair<std::int64_t, IndexedMessageState>> indexedStateOf(
    const platform::SearchableItem& item) {
  const auto id = libraryIDOf(item.uniqueIdentifier);
  if (!id) return std::nullopt;
  const auto& attributes = item.attributeSet.attributes;
  IndexedMessageState state;
  if (auto name = attributes.find("kMDItemFSName");
      name != attributes.end() && name->second.isString()) {
    state.fileName = *name->second.asString();
  }
  if (auto size = attributes.find("kMDItemFSSize");
      size != attributes.end() && size->second.isNumber()) {
    state.fileSize = size->second.integerValue();
  }
  if (auto changed = attributes.find("kMDItemFSContentChangeDate");
      changed != attributes.end() && changed->second.isDate()) {
    state.modificationTime = changed->second.asDate()->unixTime();
  }
  return std::make_pair(*id, std::move(state));
}

bool isCurrent(const StoredMessage& message, const IndexedMessageState& indexed) {
  if (!message.path) return false;
  const double modified =
      static_cast<double>(message.fileModificationNanoseconds / 1000000000) +
      static_cast<double>(message.fileModificationNanoseconds % 1000000000) / 1e9;
  return indexed.fileName == message.path->filename().string() &&
         indexed.fileSize == message.fileSize &&
         std::fabs(indexed.modificationTime - modified) < kTimeTolerance;
}

SynchronizationPlan planSynchronization(
    std::vector<StoredMessage> stored,
    const std::map<std::string, std::optional<IndexedMessageState>>& indexed) {
  SynchronizationPlan plan;
  std::set<std::string> kept;  // identifiers of the index that a stored file stands behind
  for (auto& message : stored) {
    if (!message.path) continue;  // a row without a file: nothing to index
    std::string identifier = std::to_string(message.libraryID);
    auto found = indexed.find(identifier);
    if (found == indexed.end()) {
      plan.toAdd.push_back(std::move(message));
      continue;
    }
    kept.insert(std::move(identifier));
    if (found->second && isCurrent(message, *found->second)) {
      ++plan.unchanged;
    } else {
      plan.toUpdate.push_back(std::move(message));
    }
  }
  for (const auto& [identifier, state] : indexed) {
    if (!kept.count(identifier)) plan.toDelete.push_back(identifier);
  }
  return plan;
}

}  // namespace trovadex::mailstore
