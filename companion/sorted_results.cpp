#include "companion/sorted_results.hpp"

#include <algorithm>
#include <array>
#include <string_view>

namespace trovadex::companion {

using foundation::Value;

namespace {

struct TieBreakers {
  std::string_view attribute;
  std::array<std::string_view, 2> keys;
};

// The plug-in breaks ties of the two file-system dates this way; the CLI follows it, so that a
// globally sorted list agrees with every delivery's own order.
constexpr std::array<TieBreakers, 2> kTieBreakers{{
    {"kMDItemFSContentChangeDate", {"kMDItemContentCreationDate", "com_apple_mail_dateReceived"}},
    {"kMDItemFSCreationDate", {"kMDItemContentCreationDate", "com_apple_mail_dateReceived"}},
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

SortedResults::SortedResults(const std::string& sortingAttribute, bool ascending,
                             std::optional<std::uint64_t> limit)
    : keys_(sortKeysForAttribute(sortingAttribute)), ascending_(ascending), limit_(limit) {}

bool SortedResults::before(const Entry& a, const Entry& b) const {
  for (const std::string& key : keys_) {
    const int order = compareAttributeValues(a.message.attribute(key), b.message.attribute(key));
    if (order != 0) return ascending_ ? order < 0 : order > 0;
  }
  return a.arrival < b.arrival;
}

void SortedResults::add(const std::vector<FoundMessage>& messages) {
  for (const FoundMessage& message : messages) entries_.push_back({arrivals_++, message});
  // Past twice the limit, only the best `limit` can still be printed: drop the rest.
  if (limit_ && entries_.size() > 2 * *limit_) sortAndCut();
}

void SortedResults::sortAndCut() {
  auto order = [this](const Entry& a, const Entry& b) { return before(a, b); };
  if (limit_ && entries_.size() > *limit_) {
    auto cut = entries_.begin() + static_cast<std::ptrdiff_t>(*limit_);
    std::nth_element(entries_.begin(), cut, entries_.end(), order);
    entries_.erase(cut, entries_.end());
  }
  std::sort(entries_.begin(), entries_.end(), order);
}

std::vector<FoundMessage> SortedResults::take() {
  sortAndCut();
  std::vector<FoundMessage> messages;
  messages.reserve(entries_.size());
  for (Entry& entry : entries_) messages.push_back(std::move(entry.message));
  entries_.clear();
  return messages;
}

}  // namespace trovadex::companion
