#include "search/sort_order.hpp"

#include <array>
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

}  // namespace trovadex::plugin
