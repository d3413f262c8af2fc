// search: the Search command. Replaces the client's earlier query of the same lineage, makes the
// record and the engine query, wires the result handlers, files the record, announces
// QueryDidStart and starts the query.
#include <mutex>

#include "plugin/td_mail_plugin.hpp"
#include "protocol/message_names.hpp"
#include "search/client_query_text.hpp"
#include "search/query_stream.hpp"
#include "search/td_mail_plugin_query.hpp"

namespace trovadex::plugin {

using foundation::Value;
using protocol::Message;
using protocol::messageName;
namespace key = protocol::key;

namespace {

std::optional<std::string> optionalString(const Value& value) {
  const std::string* text = value.asString();
  return text ? std::optional<std::string>(*text) : std::nullopt;
}

}  // namespace

void TDMailPlugin::search(const platform::Notification& notification) {
  const Value& userInfo = notification.userInfo;
  const Value& uniqueName = userInfo[key::kUniqueName];
  const Value& clientName = userInfo[key::kClientName];
  logQueryName(context_, uniqueName, "TDMailPlugin received %@ / %@ - %@",
               {Value(notification.name), clientName, userInfo[key::kVersion]});

  // Only the newest query of a lineage may run: earlier ones of this client go first, even when
  // the command then turns out to lack a unique name. The three names are used as they came,
  // whatever their kind: lineages match when their names are equal values.
  const Value& lineage = userInfo[key::kLineageName];
  if (!lineage.isNil()) {
    std::vector<Value> clientQueries;
    {
      std::lock_guard lock(stateMutex_);
      if (!clientName.isNil()) {
        if (auto found = queryNamesByClient_.find(clientName); found != queryNamesByClient_.end()) {
          clientQueries = found->second;
        }
      }
    }
    for (const Value& name : clientQueries) {
      bool sameLineage = false;
      {
        std::lock_guard lock(stateMutex_);
        auto found = queriesByName_.find(name);
        sameLineage =
            found != queriesByName_.end() && found->second->lineageName().isEqual(lineage);
      }
      if (sameLineage) cancelQuery(name, clientName);
    }
  }

  if (uniqueName.isNil()) return;
  const Value& queryString = userInfo[key::kQueryString];
  logQueryName(context_, uniqueName, "TDMailPlugin query %@", {queryString});
  const std::string* text = queryString.asString();
  const std::string spotlightText = spotlightTextForQueryString(text != nullptr ? *text : "");

  auto record = std::make_shared<TDMailPluginQuery>(uniqueName);
  record->setClientName(clientName);
  record->setLineageName(lineage);
  record->setQueryString(optionalString(queryString));
  record->setSortingAttribute(optionalString(userInfo[key::kSortingAttribute]));
  record->setSortAscending(userInfo[key::kSortAscending].boolValue());
  auto searchQuery = buildQueryWithString(context_, spotlightText, true);
  if (!searchQuery) return;  // the engine refused the query: nothing is filed or said
  record->setSearchQuery(searchQuery);
  QueryStream::install(
      std::make_shared<QueryStream>(shared_from_this(), record, searchQuery, userInfo),
      *searchQuery);

  // A record filed under the same name before is replaced, not cancelled: owned by nothing, it is
  // let go outside the lock, and its handlers find it gone.
  std::shared_ptr<TDMailPluginQuery> replaced;
  {
    std::lock_guard lock(stateMutex_);
    replaced = std::exchange(queriesByName_[uniqueName], record);
    if (!clientName.isNil()) queryNamesByClient_[clientName].push_back(uniqueName);
  }
  const std::string started = messageName(Message::QueryDidStart);
  logQueryName(context_, uniqueName, "TDMailPlugin post %@", {Value(started)});
  postDistributedNotificationName(started, Value(), userInfo, true);
  searchQuery->start();
}

}  // namespace trovadex::plugin
