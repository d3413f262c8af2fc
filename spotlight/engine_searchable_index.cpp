#include "spotlight/engine_searchable_index.hpp"

namespace trovadex::spotlight {

void EngineSearchableIndex::apply(Change change, Completion completion) {
  std::shared_ptr<EngineCore> engine = engine_;
  engine_->write([engine, change = std::move(change),
                  completion = std::move(completion)](IndexWriter* writer) {
    std::optional<foundation::Error> error;
    if (!writer) {
      error =
          foundation::Error{std::string(kIndexErrorDomain), -1, "The search engine has shut down."};
    } else {
      foundation::Result<std::vector<IndexChange>> changed = change(*writer);
      if (changed) {
        engine->publish(changed.value());
      } else {
        error = changed.error();
      }
    }
    if (completion) completion(error);
  });
}

void EngineSearchableIndex::indexSearchableItems(const platform::SearchableItems& items,
                                                 Completion completion) {
  apply([name = name_, items](IndexWriter& writer) { return writer.addItems(name, items); },
        std::move(completion));
}

void EngineSearchableIndex::deleteSearchableItemsWithIdentifiers(
    const std::vector<std::string>& identifiers, Completion completion) {
  apply([name = name_,
         identifiers](IndexWriter& writer) { return writer.deleteItems(name, identifiers); },
        std::move(completion));
}

void EngineSearchableIndex::deleteSearchableItemsWithDomainIdentifiers(
    const std::vector<std::string>& domainIdentifiers, Completion completion) {
  apply([name = name_, domainIdentifiers](
            IndexWriter& writer) { return writer.deleteDomains(name, domainIdentifiers); },
        std::move(completion));
}

std::shared_ptr<platform::SearchableIndex> EngineSearchableIndexFactory::indexWithName(
    const std::string& name) {
  return std::make_shared<EngineSearchableIndex>(engine_, name);
}

}  // namespace trovadex::spotlight
