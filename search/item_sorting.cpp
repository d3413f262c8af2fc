#include "search/item_sorting.hpp"

#include <algorithm>
#include <array>
#include <cstdint>
#include <string_view>

namespace trovadex::plugin {

using foundation::Value;

namespace {

struct TieBreakers {
  std::string_view attribute;
  std::vector<std::string_view> keys;
};

// The last-used date is named here with no tie-breakers on purpose: it sorts on its own key,
// unlike the two file-system dates.
const std::array<TieBreakers, 3> kTieBreakers{{
    {"kMDItemFSContentChangeDate", {"kMDItemContentCreationDate", "com_apple_mail_dateReceived"}},
    {"kMDItemFSCreationDate", {"kMDItemContentCreationDate", "com_apple_mail_dateReceived"}},
    {"kMDItemLastUsedDate", {}},
}};

template <typename T>
int threeWay(const T& a, const T& b) {
  return a < b ? -1 : (b < a ? 1 : 0);
}

bool isIntegral(const Value& value) {
  return value.kind() == Value::Kind::Bool || value.kind() == Value::Kind::Integer ||
         value.kind() == Value::Kind::Unsigned;
}

int compareNumbers(const Value& a, const Value& b) {
  if (isIntegral(a) && isIntegral(b)) {
    auto wide = [](const Value& v) -> __int128 {
      return v.kind() == Value::Kind::Unsigned ? static_cast<__int128>(v.unsignedLongLongValue())
                                               : static_cast<__int128>(v.integerValue());
    };
    return threeWay(wide(a), wide(b));
  }
  return threeWay(a.doubleValue(), b.doubleValue());
}

}  // namespace

std::vector<std::string> sortKeysForAttribute(const std::string& sortingAttribute) {
  std::vector<std::string> keys{sortingAttribute};
  for (const auto& entry : kTieBreakers) {
    if (entry.attribute == sortingAttribute)
      keys.insert(keys.end(), entry.keys.begin(), entry.keys.end());
  }
  return keys;
}

int compareAttributeValues(const Value& a, const Value& b) {
  if (a.isNil() || b.isNil()) return threeWay(!a.isNil(), !b.isNil());
  if (a.isNumber() && b.isNumber()) return compareNumbers(a, b);
  if (a.kind() != b.kind()) return threeWay(a.kind(), b.kind());
  if (const std::string* text = a.asString()) return threeWay(*text, *b.asString());
  if (const foundation::Date* date = a.asDate()) return threeWay(*date, *b.asDate());
  return 0;
}

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
