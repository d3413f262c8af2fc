#include "spotlight/fetch_list.hpp"

#include "spotlight/attribute_names.hpp"

namespace trovadex::spotlight {
namespace {

constexpr std::string_view kPathAttribute = "kMDItemPath";

std::optional<std::string> pathOf(const foundation::Value::Dictionary& attributes) {
  auto found = attributes.find(kPathAttribute);
  if (found == attributes.end()) return std::nullopt;
  if (const std::string* path = found->second.asString()) return *path;
  return std::nullopt;
}

}  // namespace

FetchList::FetchList(const std::optional<std::vector<std::string>>& names) {
  storedKeys_.emplace(kPathAttribute);
  if (!names) return;
  for (const std::string& name : *names) {
    const std::string_view canonical = canonicalAttributeName(name);
    if (isFullTextAttribute(canonical)) continue;
    names_.push_back(name);
    std::string_view single;
    for (std::string_view spelling : attributeSpellings(canonical, single)) {
      storedKeys_.emplace(spelling);
    }
    storedKeys_.insert(name);
  }
}

foundation::Value::Dictionary FetchList::select(const foundation::Value::Dictionary& all) const {
  foundation::Value::Dictionary out;
  for (const std::string& name : names_) {
    auto found = all.find(name);
    if (found == all.end()) {
      std::string_view single;
      for (std::string_view spelling : attributeSpellings(canonicalAttributeName(name), single)) {
        found = all.find(spelling);
        if (found != all.end()) break;
      }
    }
    if (found != all.end()) out.emplace(name, found->second);
  }
  return out;
}

platform::SearchableItem FetchList::deliver(const StoredItem& stored,
                                            const foundation::Value::Dictionary& attributes) const {
  platform::SearchableItem item;
  item.uniqueIdentifier = stored.identifier;
  item.domainIdentifier = stored.domain;
  item.attributeSet.attributes = select(attributes);
  item.filePath = stored.filePath ? stored.filePath : pathOf(attributes);
  return item;
}

platform::SearchableItem FetchList::deliver(const platform::SearchableItem& changed) const {
  platform::SearchableItem item;
  item.uniqueIdentifier = changed.uniqueIdentifier;
  item.domainIdentifier = changed.domainIdentifier;
  item.attributeSet.attributes = select(changed.attributeSet.attributes);
  item.filePath = changed.filePath ? changed.filePath : pathOf(changed.attributeSet.attributes);
  return item;
}

}  // namespace trovadex::spotlight
