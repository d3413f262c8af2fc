#include "companion/sorted_results.hpp"

#include <algorithm>

#include "search/sort_order.hpp"

namespace trovadex::companion {

using foundation::Value;
using plugin::compareAttributeValues;
using plugin::sortKeysForAttribute;

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
