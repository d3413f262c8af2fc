// SearchableItem and its attribute set: one indexed thing and what is known about it.
//
// Attribute names are the platform's metadata keys ("kMDItemSubject", "_kMDItemExternalID", ...);
// values are property-list Values, and a multi-valued attribute is an Array. Plain values: safe
// to copy between threads.
#pragma once

#include <optional>
#include <string>
#include <vector>

#include "foundation/value.hpp"

namespace trovadex::platform {

struct SearchableItemAttributeSet {
  foundation::Value::Dictionary attributes;
};

struct SearchableItem {
  std::string uniqueIdentifier;
  std::string domainIdentifier;
  SearchableItemAttributeSet attributeSet;
  // The file the item stands for, when the index knows it.
  std::optional<std::string> filePath;
};

using SearchableItems = std::vector<SearchableItem>;

}  // namespace trovadex::platform
