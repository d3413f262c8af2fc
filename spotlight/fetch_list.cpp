#include "spotlight/fetch_list.hpp"

#include <algorithm>
#include <limits>

#include "spotlight/attribute_codec.hpp"
#include "spotlight/attribute_names.hpp"

namespace trovadex::spotlight {
namespace {

using foundation::Value;

constexpr std::string_view kPathAttribute = "kMDItemPath";
constexpr std::size_t kUnchosen = std::numeric_limits<std::size_t>::max();

std::optional<std::string> pathOf(const Value& path) {
  if (const std::string* text = path.asString()) return *text;
  return std::nullopt;
}

}  // namespace

FetchList::FetchList(const std::optional<std::vector<std::string>>& names) {
  if (!names) return;
  for (const std::string& name : *names) {
    if (!isFullTextAttribute(canonicalAttributeName(name))) names_.push_back(name);
  }
  std::sort(names_.begin(), names_.end());
  names_.erase(std::unique(names_.begin(), names_.end()), names_.end());
  for (std::size_t index = 0; index < names_.size(); ++index) {
    std::vector<std::string_view> keys{names_[index]};
    std::string_view single;
    for (std::string_view spelling :
         attributeSpellings(canonicalAttributeName(names_[index]), single)) {
      if (std::find(keys.begin(), keys.end(), spelling) == keys.end()) keys.push_back(spelling);
    }
    for (std::size_t rank = 0; rank < keys.size(); ++rank) {
      usesByKey_[std::string(keys[rank])].push_back(Use{index, rank});
    }
  }
}

const std::vector<FetchList::Use>* FetchList::usesOf(std::string_view key) const {
  auto found = usesByKey_.find(key);
  return found == usesByKey_.end() ? nullptr : &found->second;
}

platform::SearchableItem FetchList::deliver(const StoredItem& stored) const {
  platform::SearchableItem item;
  item.uniqueIdentifier = stored.identifier;
  item.domainIdentifier = stored.domain;
  item.filePath = stored.filePath;

  // The best stored entry for every delivered name, chosen in one walk over the stored keys.
  // The scratch vectors stay with the thread: an allocation of their size for every item would
  // cost more than the walk itself.
  thread_local std::vector<std::size_t> ranks;
  thread_local std::vector<std::string_view> chosen;
  ranks.assign(names_.size(), kUnchosen);
  chosen.assign(names_.size(), std::string_view());
  std::string_view encodedPath;
  visitEncodedAttributes(stored.encodedAttributes,
                         [&](std::string_view key, std::string_view encoded) {
                           if (key == kPathAttribute) encodedPath = encoded;
                           if (const std::vector<Use>* uses = usesOf(key)) {
                             for (const Use& use : *uses) {
                               if (use.rank < ranks[use.name]) {
                                 ranks[use.name] = use.rank;
                                 chosen[use.name] = encoded;
                               }
                             }
                           }
                           return true;
                         });
  Value::Dictionary& attributes = item.attributeSet.attributes;
  for (std::size_t index = 0; index < names_.size(); ++index) {
    if (ranks[index] == kUnchosen) continue;
    Value value = decodeAttributeValue(chosen[index]);
    if (!value.isNil()) attributes.emplace_hint(attributes.end(), names_[index], std::move(value));
  }
  if (!item.filePath && !encodedPath.empty()) {
    item.filePath = pathOf(decodeAttributeValue(encodedPath));
  }
  return item;
}

platform::SearchableItem FetchList::deliver(const platform::SearchableItem& changed) const {
  platform::SearchableItem item;
  item.uniqueIdentifier = changed.uniqueIdentifier;
  item.domainIdentifier = changed.domainIdentifier;
  const Value::Dictionary& all = changed.attributeSet.attributes;

  std::vector<std::size_t> ranks(names_.size(), kUnchosen);
  std::vector<const Value*> chosen(names_.size(), nullptr);
  for (const auto& [key, value] : all) {
    if (const std::vector<Use>* uses = usesOf(key)) {
      for (const Use& use : *uses) {
        if (use.rank < ranks[use.name]) {
          ranks[use.name] = use.rank;
          chosen[use.name] = &value;
        }
      }
    }
  }
  Value::Dictionary& attributes = item.attributeSet.attributes;
  for (std::size_t index = 0; index < names_.size(); ++index) {
    if (chosen[index] != nullptr) {
      attributes.emplace_hint(attributes.end(), names_[index], *chosen[index]);
    }
  }
  item.filePath = changed.filePath;
  if (!item.filePath) {
    auto path = all.find(kPathAttribute);
    if (path != all.end()) item.filePath = pathOf(path->second);
  }
  return item;
}

}  // namespace trovadex::spotlight
