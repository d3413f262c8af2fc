// SearchableIndex: a named index that items are added to and deleted from.
//
// Changes are applied asynchronously; each completion is called once, on an engine thread, with
// an error or none. Safe from any thread.
#pragma once

#include <functional>
#include <memory>
#include <optional>
#include <string>
#include <vector>

#include "foundation/error.hpp"
#include "platform/searchable_item.hpp"

namespace trovadex::platform {

class SearchableIndex {
 public:
  using Completion = std::function<void(const std::optional<foundation::Error>& error)>;

  virtual ~SearchableIndex();
  virtual std::string name() const = 0;
  // Adds the items, replacing any with the same unique identifier.
  virtual void indexSearchableItems(const SearchableItems& items, Completion completion) = 0;
  virtual void deleteSearchableItemsWithIdentifiers(const std::vector<std::string>& identifiers,
                                                    Completion completion) = 0;
  virtual void deleteSearchableItemsWithDomainIdentifiers(
      const std::vector<std::string>& domainIdentifiers, Completion completion) = 0;
};

class SearchableIndexFactory {
 public:
  virtual ~SearchableIndexFactory();
  virtual std::shared_ptr<SearchableIndex> indexWithName(const std::string& name) = 0;
  virtual std::shared_ptr<SearchableIndex> indexWithName(const std::string& name,
                                                         const std::string& protectionClass) = 0;
};

}  // namespace trovadex::platform
