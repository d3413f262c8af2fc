// FakeSearchableIndex and its factory: record every index change and complete it.
//
// By default each change completes before the call returns, on the calling thread, with the
// error set by setCompletionError() (none unless set). With automatic completion switched off the
// completions wait until completePending() runs them, on the thread that calls it, so that a
// test decides when and where they arrive. Safe from any thread.
#pragma once

#include <cstddef>
#include <memory>
#include <mutex>
#include <optional>
#include <string>
#include <vector>

#include "platform/searchable_index.hpp"

namespace trovadex::platform::fake {

struct IndexChange {
  enum class Kind { IndexItems, DeleteIdentifiers, DeleteDomainIdentifiers };
  Kind kind = Kind::IndexItems;
  SearchableItems items;                 // IndexItems
  std::vector<std::string> identifiers;  // the two deletions
};

class FakeSearchableIndex final : public SearchableIndex {
 public:
  FakeSearchableIndex(std::string name, std::optional<std::string> protectionClass);
  ~FakeSearchableIndex() override;

  std::string name() const override { return name_; }
  void indexSearchableItems(const SearchableItems& items, Completion completion) override;
  void deleteSearchableItemsWithIdentifiers(const std::vector<std::string>& identifiers,
                                            Completion completion) override;
  void deleteSearchableItemsWithDomainIdentifiers(const std::vector<std::string>& domainIdentifiers,
                                                  Completion completion) override;

  const std::optional<std::string>& protectionClass() const { return protectionClass_; }
  std::vector<IndexChange> changes() const;

  void setCompletesAutomatically(bool automatic);
  // The error that changes complete with from now on; nothing for success.
  void setCompletionError(std::optional<foundation::Error> error);
  // Runs the completions held back, oldest first; returns how many ran.
  std::size_t completePending();

 private:
  void record(IndexChange change, Completion completion);

  // Immutable after construction.
  const std::string name_;
  const std::optional<std::string> protectionClass_;

  mutable std::mutex mutex_;
  // Guarded by mutex_.
  std::vector<IndexChange> changes_;
  std::vector<Completion> pending_;
  bool automatic_ = true;
  std::optional<foundation::Error> error_;
};

class FakeSearchableIndexFactory final : public SearchableIndexFactory {
 public:
  FakeSearchableIndexFactory();
  ~FakeSearchableIndexFactory() override;

  std::shared_ptr<SearchableIndex> indexWithName(const std::string& name) override;
  std::shared_ptr<SearchableIndex> indexWithName(const std::string& name,
                                                 const std::string& protectionClass) override;

  // Every index made, in order.
  std::vector<std::shared_ptr<FakeSearchableIndex>> indexes() const;

 private:
  mutable std::mutex mutex_;
  std::vector<std::shared_ptr<FakeSearchableIndex>> indexes_;  // Guarded by mutex_.
};

}  // namespace trovadex::platform::fake
