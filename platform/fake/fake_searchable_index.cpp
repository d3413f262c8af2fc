#include "platform/fake/fake_searchable_index.hpp"

#include <utility>

namespace trovadex::platform::fake {

FakeSearchableIndex::FakeSearchableIndex(std::string name,
                                         std::optional<std::string> protectionClass)
    : name_(std::move(name)), protectionClass_(std::move(protectionClass)) {}

FakeSearchableIndex::~FakeSearchableIndex() = default;

void FakeSearchableIndex::record(IndexChange change, Completion completion) {
  std::optional<foundation::Error> error;
  {
    std::lock_guard lock(mutex_);
    changes_.push_back(std::move(change));
    if (!automatic_) {
      pending_.push_back(std::move(completion));
      return;
    }
    error = error_;
  }
  if (completion) completion(error);
}

void FakeSearchableIndex::indexSearchableItems(const SearchableItems& items,
                                               Completion completion) {
  record(IndexChange{IndexChange::Kind::IndexItems, items, {}}, std::move(completion));
}

void FakeSearchableIndex::deleteSearchableItemsWithIdentifiers(
    const std::vector<std::string>& identifiers, Completion completion) {
  record(IndexChange{IndexChange::Kind::DeleteIdentifiers, {}, identifiers}, std::move(completion));
}

void FakeSearchableIndex::deleteSearchableItemsWithDomainIdentifiers(
    const std::vector<std::string>& domainIdentifiers, Completion completion) {
  record(IndexChange{IndexChange::Kind::DeleteDomainIdentifiers, {}, domainIdentifiers},
         std::move(completion));
}

std::vector<IndexChange> FakeSearchableIndex::changes() const {
  std::lock_guard lock(mutex_);
  return changes_;
}

void FakeSearchableIndex::setCompletesAutomatically(bool automatic) {
  std::lock_guard lock(mutex_);
  automatic_ = automatic;
}

void FakeSearchableIndex::setCompletionError(std::optional<foundation::Error> error) {
  std::lock_guard lock(mutex_);
  error_ = std::move(error);
}

std::size_t FakeSearchableIndex::completePending() {
  std::vector<Completion> pending;
  std::optional<foundation::Error> error;
  {
    std::lock_guard lock(mutex_);
    pending.swap(pending_);
    error = error_;
  }
  for (auto& completion : pending) {
    if (completion) completion(error);
  }
  return pending.size();
}

FakeSearchableIndexFactory::FakeSearchableIndexFactory() = default;
FakeSearchableIndexFactory::~FakeSearchableIndexFactory() = default;

std::shared_ptr<SearchableIndex> FakeSearchableIndexFactory::indexWithName(
    const std::string& name) {
  auto index = std::make_shared<FakeSearchableIndex>(name, std::nullopt);
  std::lock_guard lock(mutex_);
  indexes_.push_back(index);
  return index;
}

std::shared_ptr<SearchableIndex> FakeSearchableIndexFactory::indexWithName(
    const std::string& name, const std::string& protectionClass) {
  auto index = std::make_shared<FakeSearchableIndex>(name, protectionClass);
  std::lock_guard lock(mutex_);
  indexes_.push_back(index);
  return index;
}

std::vector<std::shared_ptr<FakeSearchableIndex>> FakeSearchableIndexFactory::indexes() const {
  std::lock_guard lock(mutex_);
  return indexes_;
}

}  // namespace trovadex::platform::fake
