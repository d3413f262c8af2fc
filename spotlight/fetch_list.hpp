// FetchList: which attributes a query hands back with each found item.
//
// Only the attributes named when the query was made are delivered, each under the name the
// query used (an alias reaches the same value); with no list, items carry identifiers and no
// attributes. Full-text attributes are searchable but never delivered. The item's file path is
// the path it was indexed with, or else its kMDItemPath attribute. Immutable after
// construction: safe from any thread.
#pragma once

#include <optional>
#include <set>
#include <string>
#include <vector>

#include "foundation/value.hpp"
#include "platform/searchable_item.hpp"
#include "spotlight/index_reader.hpp"

namespace trovadex::spotlight {

class FetchList {
 public:
  explicit FetchList(const std::optional<std::vector<std::string>>& names);

  // Every stored key a delivery may read: decode at least these for deliver(stored, decoded).
  const std::set<std::string, std::less<>>& storedKeys() const { return storedKeys_; }

  // The found item as delivered, from the index (with attributes decoded from it, storedKeys()
  // at least) or from a live change.
  platform::SearchableItem deliver(const StoredItem& stored,
                                   const foundation::Value::Dictionary& decoded) const;
  platform::SearchableItem deliver(const platform::SearchableItem& changed) const;

 private:
  foundation::Value::Dictionary select(const foundation::Value::Dictionary& all) const;

  std::vector<std::string> names_;                 // as the query named them
  std::set<std::string, std::less<>> storedKeys_;  // every spelling to decode, and kMDItemPath
};

}  // namespace trovadex::spotlight
