// Tracing wrappers for the search ports: each wraps a real index, query or factory, writes the
// arguments of the traced calls to the system log, and passes every call on unchanged.
//
// Traced: indexing items ("indexSearchableItems:completionHandler:"), query creation and query
// start; index creation and every other call pass through without a line. The factories wrap
// what they make, so everything reached through a wrapped factory is traced. The lines go to the
// console, never to the plug-in's log history. Nothing installs these wrappers in this version.
// Safe from any thread, as the wrapped ports are.
#pragma once

#include <memory>
#include <optional>
#include <string>
#include <vector>

#include "platform/console.hpp"
#include "platform/search_query.hpp"
#include "platform/searchable_index.hpp"

namespace trovadex::plugin {

class TracingSearchableIndex final : public platform::SearchableIndex {
 public:
  TracingSearchableIndex(std::shared_ptr<platform::SearchableIndex> inner,
                         std::shared_ptr<platform::Console> console);

  std::string name() const override;
  // Writes "indexSearchableItems:completionHandler: <items>", "domainIdentifier <first item's>"
  // and "attributes <first item's attribute names>", then indexes.
  void indexSearchableItems(const platform::SearchableItems& items, Completion completion) override;
  void deleteSearchableItemsWithIdentifiers(const std::vector<std::string>& identifiers,
                                            Completion completion) override;
  void deleteSearchableItemsWithDomainIdentifiers(const std::vector<std::string>& domainIdentifiers,
                                                  Completion completion) override;

 private:
  const std::shared_ptr<platform::SearchableIndex> inner_;
  const std::shared_ptr<platform::Console> console_;
};

class TracingSearchableIndexFactory final : public platform::SearchableIndexFactory {
 public:
  TracingSearchableIndexFactory(std::shared_ptr<platform::SearchableIndexFactory> inner,
                                std::shared_ptr<platform::Console> console);

  // Both forms write nothing; the index made is wrapped (a null one stays null).
  std::shared_ptr<platform::SearchableIndex> indexWithName(const std::string& name) override;
  std::shared_ptr<platform::SearchableIndex> indexWithName(
      const std::string& name, const std::string& protectionClass) override;

 private:
  const std::shared_ptr<platform::SearchableIndexFactory> inner_;
  const std::shared_ptr<platform::Console> console_;
};

class TracingSearchQuery final : public platform::SearchQuery {
 public:
  TracingSearchQuery(std::shared_ptr<platform::SearchQuery> inner,
                     std::shared_ptr<platform::Console> console);

  void setFoundItemsHandler(FoundItemsHandler handler) override;
  void setCompletionHandler(CompletionHandler handler) override;
  bool respondsToSetRemovedItemsHandler() const override;
  void setRemovedItemsHandler(RemovedItemsHandler handler) override;
  bool respondsToSetGatherEndedHandler() const override;
  void setGatherEndedHandler(GatherEndedHandler handler) override;
  std::shared_ptr<platform::SearchQueryContext> queryContext() override;

  // Writes "start <query> <fetchAttributes>", "options ...", "scopes ...", "queryString ..." and
  // "fetchAttributes ..." (the attributes twice, on purpose), then starts the query.
  void start() override;
  void cancel() override;
  bool isCancelled() const override;
  std::uint64_t foundItemCount() const override;

  std::string queryString() const override;
  foundation::Value fetchAttributes() const override;
  foundation::Value options() const override;
  foundation::Value scopes() const override;
  std::string description() const override;

 private:
  const std::shared_ptr<platform::SearchQuery> inner_;
  const std::shared_ptr<platform::Console> console_;
};

class TracingSearchQueryFactory final : public platform::SearchQueryFactory {
 public:
  TracingSearchQueryFactory(std::shared_ptr<platform::SearchQueryFactory> inner,
                            std::shared_ptr<platform::Console> console);

  // Writes "queryString <queryString>" and "attributes <attributes>", then makes the query and
  // wraps it (a null one stays null).
  std::shared_ptr<platform::SearchQuery> makeQuery(
      const std::string& queryString,
      const std::optional<std::vector<std::string>>& attributes) override;
  bool attributeSetsRespondToAttributes() const override;

 private:
  const std::shared_ptr<platform::SearchQueryFactory> inner_;
  const std::shared_ptr<platform::Console> console_;
};

}  // namespace trovadex::plugin
