// TDMailPluginQuery: the plug-in's record of one running search.
//
// Search fills it from the command, attaches the engine query and files it in the registry, which
// is its only strong owner; the result handlers hold it weakly and find it gone once the registry
// lets go. The descriptive fields are written once, before the record is filed, and only read
// afterwards. searchQuery, messageIDs and pendingBatches change while the query runs, from the
// main thread and from the query's handler thread: they are guarded by the plug-in's state lock
// (TDMailPlugin::stateMutex_), which every caller holds while touching them.
#pragma once

#include <cstdint>
#include <memory>
#include <optional>
#include <string>
#include <unordered_set>
#include <vector>

#include "foundation/error.hpp"
#include "foundation/value.hpp"
#include "platform/search_query.hpp"
#include "protocol/pending_batch.hpp"

namespace trovadex::plugin {

class TDMailPluginQuery {
 public:
  explicit TDMailPluginQuery(foundation::Value queryName) : queryName_(std::move(queryName)) {}
  TDMailPluginQuery(const TDMailPluginQuery&) = delete;
  TDMailPluginQuery& operator=(const TDMailPluginQuery&) = delete;

  // ---- Written before the record is filed, read-only afterwards ----
  // The three names are the command's values as they came, strings or not; nil when absent.
  const foundation::Value& queryName() const { return queryName_; }
  const foundation::Value& clientName() const { return clientName_; }
  void setClientName(foundation::Value name) { clientName_ = std::move(name); }
  const foundation::Value& lineageName() const { return lineageName_; }
  void setLineageName(foundation::Value name) { lineageName_ = std::move(name); }
  // The query text exactly as the companion sent it.
  const std::optional<std::string>& queryString() const { return queryString_; }
  void setQueryString(std::optional<std::string> text) { queryString_ = std::move(text); }
  const std::optional<std::string>& sortingAttribute() const { return sortingAttribute_; }
  void setSortingAttribute(std::optional<std::string> name) { sortingAttribute_ = std::move(name); }
  bool sortAscending() const { return sortAscending_; }
  void setSortAscending(bool ascending) { sortAscending_ = ascending; }
  // Kept for a query's error; nothing sets it, so it stays empty for the record's whole life.
  const std::optional<foundation::Error>& error() const { return error_; }
  void setError(std::optional<foundation::Error> error) { error_ = std::move(error); }

  // ---- Guarded by the plug-in's state lock once the record is filed ----
  // The engine query serving this record; null once the search is over.
  const std::shared_ptr<platform::SearchQuery>& searchQuery() const { return searchQuery_; }
  void setSearchQuery(std::shared_ptr<platform::SearchQuery> query) {
    searchQuery_ = std::move(query);
  }
  // Library IDs of every message already delivered; never pruned.
  std::unordered_set<std::int64_t>& messageIDs() { return messageIDs_; }
  const std::unordered_set<std::int64_t>& messageIDs() const { return messageIDs_; }
  // Results batches posted and not yet cleared, oldest first.
  std::vector<protocol::PendingBatch>& pendingBatches() { return pendingBatches_; }
  const std::vector<protocol::PendingBatch>& pendingBatches() const { return pendingBatches_; }

 private:
  const foundation::Value queryName_;
  foundation::Value clientName_;
  foundation::Value lineageName_;
  std::optional<std::string> queryString_;
  std::optional<std::string> sortingAttribute_;
  bool sortAscending_ = false;
  std::optional<foundation::Error> error_;

  std::shared_ptr<platform::SearchQuery> searchQuery_;
  std::unordered_set<std::int64_t> messageIDs_;
  std::vector<protocol::PendingBatch> pendingBatches_;
};

}  // namespace trovadex::plugin
