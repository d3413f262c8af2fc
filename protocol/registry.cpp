// The registry of running queries and of the clients that started them: the Cancel and Terminate
// commands and the teardown of one query (cancelQuery) or of a whole client (terminateClient).
//
// Any client may cancel any query by name; the name is then struck only from the cancelling
// client's list, and another client's list keeps a stale name until that client goes. Cancelling
// posts nothing. Names are used as the command carried them: a query filed under the number 7
// is cancelled by a Cancel whose "uniqueName" is 7 (or 7.0), not by one whose name is "7".
#include <algorithm>
#include <mutex>
#include <set>

#include "plugin/td_mail_plugin.hpp"
#include "protocol/message_names.hpp"
#include "search/td_mail_plugin_query.hpp"

namespace trovadex::plugin {

using foundation::Value;
namespace key = protocol::key;

namespace {

constexpr std::string_view kNotAQuery = "n/a";

// Detaches every handler before cancelling, so that no result of the query reaches the plug-in
// afterwards.
void detachAndCancel(platform::SearchQuery& query) {
  query.setFoundItemsHandler(nullptr);
  query.setCompletionHandler(nullptr);
  if (query.respondsToSetRemovedItemsHandler()) query.setRemovedItemsHandler(nullptr);
  if (query.respondsToSetGatherEndedHandler()) query.setGatherEndedHandler(nullptr);
  query.cancel();
}

}  // namespace

void TDMailPlugin::cancel(const platform::Notification& notification) {
  const Value& uniqueName = notification.userInfo[key::kUniqueName];
  const Value& clientName = notification.userInfo[key::kClientName];
  logQueryName(context_, uniqueName, "TDMailPlugin received %@ / %@",
               {Value(notification.name), clientName});
  if (!uniqueName.isNil()) cancelQuery(uniqueName, clientName);
}

void TDMailPlugin::cancelQuery(const Value& name, const Value& clientName) {
  logQueryName(context_, name, "TDMailPlugin cancel query");

  std::shared_ptr<TDMailPluginQuery> record;
  std::shared_ptr<platform::SearchQuery> searchQuery;
  {
    std::lock_guard lock(stateMutex_);
    if (auto found = queriesByName_.find(name); found != queriesByName_.end()) {
      record = found->second;
      searchQuery = record->searchQuery();
    }
  }
  // The engine is called without the state lock: cancel never blocks, but a handler of this very
  // query may be waiting for the lock on the engine's thread.
  if (searchQuery) detachAndCancel(*searchQuery);

  std::vector<protocol::PendingBatch> returned;
  std::size_t activeQueries = 0;
  std::size_t activePasteboards = 0;
  {
    std::lock_guard lock(stateMutex_);
    if (record) {
      record->setSearchQuery(nullptr);
      auto found = queriesByName_.find(name);
      if (found != queriesByName_.end() && found->second == record) queriesByName_.erase(found);
      returned = std::exchange(record->pendingBatches(), {});
      activeQueries = queriesByName_.size();
      for (const auto& [otherName, other] : queriesByName_) {
        activePasteboards += other->pendingBatches().size();
      }
    }
    if (!clientName.isNil()) {
      auto names = queryNamesByClient_.find(clientName);
      if (names != queryNamesByClient_.end()) {
        std::erase_if(names->second, [&](const Value& listed) { return listed.isEqual(name); });
      }
      if (names != queryNamesByClient_.end() && names->second.empty()) {
        queryNamesByClient_.erase(names);
      }
    }
  }

  // Oldest batch first.
  for (const auto& batch : returned) pasteboardToPool(batch.pasteboard);
  if (record && logLevel_ != 0) {
    logQueryName(context_, Value(kNotAQuery), "TDMailPlugin active query count: %@",
                 {activeQueries});
    logQueryName(context_, Value(kNotAQuery), "TDMailPlugin active pasteboard count: %@",
                 {activePasteboards});
  }
  // The record and its engine query are let go here, outside every lock.
}

void TDMailPlugin::terminate(const platform::Notification& notification) {
  const Value& clientName = notification.userInfo[key::kClientName];
  logQueryName(context_, Value(kNotAQuery), "TDMailPlugin received %@ / %@",
               {Value(notification.name), clientName});
  const Value& activeNames = notification.userInfo[key::kActiveNames];
  if (!clientName.isNil()) terminateClient(clientName, activeNames);
}

void TDMailPlugin::terminateClient(const Value& clientName, const Value& queryNames) {
  logQueryName(context_, Value(kNotAQuery), "TDMailPlugin terminate client %@", {clientName});

  // A snapshot: cancelling edits the client's list while the names are walked. The given names
  // are used whatever their kind; a name no query bears only logs its "cancel query" line.
  std::set<Value, protocol::NameOrder> names;
  if (const Value::Array* given = queryNames.asArray()) names.insert(given->begin(), given->end());
  {
    std::lock_guard lock(stateMutex_);
    if (auto known = queryNamesByClient_.find(clientName); known != queryNamesByClient_.end()) {
      names.insert(known->second.begin(), known->second.end());
    }
  }
  for (const Value& name : names) cancelQuery(name, clientName);

  std::size_t activeQueries = 0;
  std::size_t activeClients = 0;
  {
    std::lock_guard lock(stateMutex_);
    queryNamesByClient_.erase(clientName);
    activeQueries = queriesByName_.size();
    activeClients = queryNamesByClient_.size();
  }
  if (logLevel_ != 0) {
    logQueryName(context_, Value(kNotAQuery), "TDMailPlugin active query count: %@",
                 {activeQueries});
    logQueryName(context_, Value(kNotAQuery), "TDMailPlugin active client count: %@",
                 {activeClients});
  }
}

std::vector<Value> TDMailPlugin::queryNames() const {
  std::lock_guard lock(stateMutex_);
  std::vector<Value> names;
  names.reserve(queriesByName_.size());
  for (const auto& [name, record] : queriesByName_) names.push_back(name);
  return names;
}

std::shared_ptr<TDMailPluginQuery> TDMailPlugin::queryNamed(const Value& name) const {
  std::lock_guard lock(stateMutex_);
  auto found = queriesByName_.find(name);
  return found == queriesByName_.end() ? nullptr : found->second;
}

TDMailPlugin::QueryNamesByClient TDMailPlugin::queryNamesByClient() const {
  std::lock_guard lock(stateMutex_);
  return queryNamesByClient_;
}

std::vector<protocol::PendingBatch> TDMailPlugin::pendingBatchesOf(const Value& name) const {
  std::lock_guard lock(stateMutex_);
  auto found = queriesByName_.find(name);
  return found == queriesByName_.end() ? std::vector<protocol::PendingBatch>{}
                                       : found->second->pendingBatches();
}

}  // namespace trovadex::plugin
