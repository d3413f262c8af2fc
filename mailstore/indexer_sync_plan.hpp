// The start-up pass of the indexer, as a pure plan: which stored messages the index lacks or
// holds in an outdated state, and which indexed items no longer stand for a stored message.
//
// Plain functions: safe from any thread.
#pragma once

#include <array>
#include <cstdint>
#include <map>
#include <optional>
#include <string>
#include <vector>

#include "mailstore/store.hpp"
#include "platform/searchable_item.hpp"

namespace trovadex::mailstore {

// The attributes an indexed item is fetched with to learn its state.
inline constexpr std::array<const char*, 3> kIndexedStateAttributes{
    "kMDItemFSName", "kMDItemFSSize", "kMDItemFSContentChangeDate"};

// What the index remembers of the file an item was made from.
struct IndexedMessageState {
  std::string fileName;
  std::int64_t fileSize = -1;
  double modificationTime = 0;  // Unix seconds
};

// The library ID and state of an indexed item; nothing when its identifier is no library ID.
std::optional<std::pair<std::int64_t, IndexedMessageState>> indexedStateOf(
    const platform::SearchableItem& item);

// Whether the index's item is current for the stored message's file: the file still has the
// name, size and modification time the item was made from. A message changes only by having its
// file rewritten, so this finds every change made while no indexer ran.
bool isCurrent(const StoredMessage& message, const IndexedMessageState& indexed);

struct SynchronizationPlan {
  std::vector<StoredMessage> toAdd;     // stored messages the index lacks
  std::vector<StoredMessage> toUpdate;  // stored messages whose indexed item is outdated
  std::vector<std::string> toDelete;    // identifiers of items with no message file behind them
  std::size_t unchanged = 0;
};

// stored is every stored message; indexedIdentifiers maps every identifier the index holds to
// the item's state (nothing for identifiers that are no library ID).
SynchronizationPlan planSynchronization(
    std::vector<StoredMessage> stored,
    const std::map<std::string, std::optional<IndexedMessageState>>& indexed);

}  // namespace trovadex::mailstore
