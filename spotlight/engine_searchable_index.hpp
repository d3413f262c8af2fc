// The engine's SearchableIndex and the factory that hands out named indexes.
//
// Every named index lives in the engine's one database; an item is known by its index name and
// unique identifier, and queries search every index. Changes run in order on the engine's
// writer thread, one transaction each; once committed they reach live queries, then the
// completion is called (on the writer thread) with none or the error that rolled it back.
// After the engine has shut down a change is refused and its completion called at once with
// an error. Safe from any thread.
#pragma once

#include <memory>
#include <string>

#include "platform/searchable_index.hpp"
#include "spotlight/engine_core.hpp"

namespace trovadex::spotlight {

class EngineSearchableIndex final : public platform::SearchableIndex {
 public:
  EngineSearchableIndex(std::shared_ptr<EngineCore> engine, std::string name)
      : engine_(std::move(engine)), name_(std::move(name)) {}

  std::string name() const override { return name_; }
  void indexSearchableItems(const platform::SearchableItems& items, Completion completion) override;
  void deleteSearchableItemsWithIdentifiers(const std::vector<std::string>& identifiers,
                                            Completion completion) override;
  void deleteSearchableItemsWithDomainIdentifiers(const std::vector<std::string>& domainIdentifiers,
                                                  Completion completion) override;

 private:
  using Change = std::function<foundation::Result<std::vector<IndexChange>>(IndexWriter&)>;
  void apply(Change change, Completion completion);

  // Immutable after construction.
  const std::shared_ptr<EngineCore> engine_;
  const std::string name_;
};

class EngineSearchableIndexFactory final : public platform::SearchableIndexFactory {
 public:
  explicit EngineSearchableIndexFactory(std::shared_ptr<EngineCore> engine)
      : engine_(std::move(engine)) {}
  std::shared_ptr<platform::SearchableIndex> indexWithName(const std::string& name) override;
  // Items are stored alike whatever the protection class.
  std::shared_ptr<platform::SearchableIndex> indexWithName(const std::string& name,
                                                           const std::string&) override {
    return indexWithName(name);
  }

 private:
  const std::shared_ptr<EngineCore> engine_;
};

}  // namespace trovadex::spotlight
