// FetchList: which attributes a query hands back with each found item.
//
// Only the attributes named when the query was made are delivered, each under the name the
// query used (an alias reaches the same value: the name itself is preferred, then the stored
// spellings of its canonical name in their order); with no list, items carry identifiers and
// no attributes. Full-text attributes are searchable but never delivered. The item's file path
// is the path it was indexed with, or else its kMDItemPath attribute.
//
// Items from the index are decoded straight from their stored bytes into the delivered set, one
// pass over the stored entries with a table look-up each, so the cost follows what the item
// holds, not the length of the list. Immutable after construction: safe from any thread.
#pragma once

#include <functional>
#include <optional>
#include <string>
#include <string_view>
#include <unordered_map>
#include <vector>

#include "foundation/value.hpp"
#include "platform/searchable_item.hpp"
#include "spotlight/index_reader.hpp"

namespace trovadex::spotlight {

class FetchList {
 public:
  explicit FetchList(const std::optional<std::vector<std::string>>& names);

  // The found item as delivered, from the index or from a live change.
  platform::SearchableItem deliver(const StoredItem& stored) const;
  platform::SearchableItem deliver(const platform::SearchableItem& changed) const;

 private:
  // One delivered name that a stored key feeds, and how much the name prefers that key (0 is
  // the name itself).
  struct Use {
    std::size_t name = 0;
    std::size_t rank = 0;
  };
  struct KeyHash {
    using is_transparent = void;
    std::size_t operator()(std::string_view key) const {
      return std::hash<std::string_view>{}(key);
    }
  };

  // The uses of a stored key, or null when no delivered name reads it.
  const std::vector<Use>* usesOf(std::string_view key) const;

  std::vector<std::string> names_;  // the delivered names, sorted and unique
  std::unordered_map<std::string, std::vector<Use>, KeyHash, std::equal_to<>> usesByKey_;
};

}  // namespace trovadex::spotlight
