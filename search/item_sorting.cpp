#include "search/item_sorting.hpp"

#include <algorithm>

namespace trovadex::plugin {

using foundation::Value;

void sortFoundItems(std::vector<platform::SearchableItem*>& items,
                    const std::vector<std::string>& keys, bool ascending) {
  auto attribute = [](const platform::SearchableItem* item,
                      const std::string& key) -> const Value& {
    static const Value kNil;
    const auto& attributes = item->attributeSet.attributes;
    auto found = attributes.find(key);
    return found == attributes.end() ? kNil : found->second;
  };
  std::stable_sort(items.begin(), items.end(), [&](const auto* a, const auto* b) {
    for (const std::string& key : keys) {
      const int order = compareAttributeValues(attribute(a, key), attribute(b, key));
      if (order != 0) return ascending ? order < 0 : order > 0;
    }
    return false;
  });
}

}  // namespace trovadex::plugin
