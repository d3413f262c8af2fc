// QueryStream: set-up, the liveness test, removals, completion and the end of gathering. The
// found-items path is in found_items.cpp.
#include "search/query_stream.hpp"

#include "protocol/message_names.hpp"
#include "search/client_query_text.hpp"
#include "search/td_mail_plugin_query.hpp"

namespace trovadex::plugin {

using foundation::FormatArgument;
using foundation::Value;
using protocol::Message;
using protocol::messageName;
namespace key = protocol::key;

namespace {

constexpr std::size_t kRemovalChunkSize = 1000;

Value optionalString(const std::optional<std::string>& text) {
  return text ? Value(*text) : Value();
}

}  // namespace

QueryStream::QueryStream(const std::shared_ptr<TDMailPlugin>& plugin,
                         const std::shared_ptr<TDMailPluginQuery>& record,
                         const std::shared_ptr<platform::SearchQuery>& searchQuery,
                         Value searchUserInfo)
    : plugin_(plugin),
      record_(record),
      searchQuery_(searchQuery),
      searchUserInfo_(std::move(searchUserInfo)),
      uniqueName_(record->queryName()),
      clientName_(record->clientName()),
      queryString_(record->queryString()),
      sortingAttribute_(record->sortingAttribute()),
      sortAscending_(record->sortAscending()) {}

void QueryStream::install(const std::shared_ptr<QueryStream>& stream,
                          platform::SearchQuery& query) {
  query.setFoundItemsHandler(
      [stream](platform::SearchableItems items) { stream->foundItems(std::move(items)); });
  query.setCompletionHandler(
      [stream](const std::optional<foundation::Error>& error) { stream->completed(error); });
  if (query.respondsToSetRemovedItemsHandler()) {
    query.setRemovedItemsHandler(
        [stream](const Value& identifiers) { stream->removedItems(identifiers); });
  }
  // Live mode needs all three facilities; without any of them the query stays one-shot.
  if (query.respondsToSetGatherEndedHandler()) {
    auto queryContext = query.queryContext();
    if (queryContext && queryContext->respondsToSetLive()) {
      queryContext->setLive(true);
      query.setGatherEndedHandler([stream] { stream->gatherEnded(); });
    }
  }
}

std::optional<QueryStream::Live> QueryStream::liveQuery() const {
  Live live{plugin_.lock(), record_.lock(), searchQuery_.lock()};
  if (!live.plugin || !live.record || !live.searchQuery) return std::nullopt;
  if (!live.plugin->isQueryAlive(*live.record)) return std::nullopt;
  return live;
}

void QueryStream::log(const Live& live, std::string_view format,
                      std::initializer_list<FormatArgument> arguments) const {
  TDMailPlugin::logQueryName(live.plugin->context(), uniqueName_, format, arguments);
}

Value::Dictionary QueryStream::completionUserInfo() const {
  Value::Dictionary userInfo;
  if (const Value::Dictionary* received = searchUserInfo_.asDictionary()) userInfo = *received;
  userInfo.insert_or_assign(std::string(key::kNotification),
                            Value(protocol::kCompletedNotification));
  return userInfo;
}

void QueryStream::removedItems(const Value& identifiers) {
  auto live = liveQuery();
  if (!live) return;
  log(*live, "TDMailPlugin removed items %@", {identifiers.count()});
  const Value::Array* elements = identifiers.asArray();
  if (elements == nullptr) {
    log(*live, "TDMailPlugin REMOVAL ERROR. Unexpected argument: %@", {identifiers});
    return;
  }
  std::vector<std::string> chunk;
  for (const Value& element : *elements) {
    if (!live->plugin->isQueryAlive(*live->record)) return;
    const std::string* identifier = element.asString();
    if (identifier == nullptr) continue;
    chunk.push_back(*identifier);
    if (chunk.size() == kRemovalChunkSize) {
      postRemovalBatch(*live, chunk);
      chunk.clear();
    }
  }
  if (!live->plugin->isQueryAlive(*live->record)) return;
  if (!chunk.empty()) postRemovalBatch(*live, chunk);
}

void QueryStream::postRemovalBatch(const Live& live, const std::vector<std::string>& identifiers) {
  auto pasteboard = live.plugin->pasteboardFromPool();
  if (!pasteboard) return;
  const std::string batchName = pasteboard->name();
  pasteboard->clearContents();
  const std::uint64_t batchNumber = ++removalBatchCounter_;

  Value::Dictionary userInfo;
  if (const Value::Dictionary* received = searchUserInfo_.asDictionary()) userInfo = *received;
  userInfo.insert_or_assign(std::string(key::kUniqueName), uniqueName_);
  userInfo.insert_or_assign(std::string(key::kBatchName), Value(batchName));
  userInfo.insert_or_assign(std::string(key::kBatchNumber), Value::unsignedInteger(batchNumber));

  Value::Array messageIDs(identifiers.begin(), identifiers.end());
  Value::Dictionary payload{
      {std::string(key::kMessageIDs), Value(std::move(messageIDs))},
      {std::string(key::kBatchNumber), Value::unsignedInteger(batchNumber)},
      {std::string(key::kQueryString), optionalString(queryString_)},
      {std::string(key::kUniqueName), uniqueName_},
      {std::string(key::kClientName), clientName_},
  };
  const std::string type = protocol::pasteboardTypeName(protocol::PasteboardType::RemovalBatch);
  pasteboard->declareTypes({type}, live.plugin.get());
  pasteboard->setPropertyList(Value(std::move(payload)), type);
  pasteboard->setTag(key::kUniqueName, uniqueName_);
  pasteboard->setTag(key::kClientName, clientName_);

  // The line shows the results counter, not this batch's own number.
  const std::string name = messageName(Message::QueryHasRemovals);
  log(live, "TDMailPlugin post %@ / %@ - %@ - %@",
      {Value(name), Value(batchName), resultsBatchCounter_, identifiers.size()});
  live.plugin->postDistributedNotificationName(name, Value(), Value(std::move(userInfo)), true);
}

void QueryStream::completed(const std::optional<foundation::Error>& error) {
  auto live = liveQuery();
  if (!live) return;
  log(*live, "TDMailPlugin completed. Error: %@",
      {error ? FormatArgument(*error) : FormatArgument(Value())});
  Value::Dictionary userInfo = completionUserInfo();
  if (error) {
    log(*live, "TDMailPlugin QUERY ERROR: %@", {*error});
    userInfo.insert_or_assign(std::string(key::kErrorCode), Value::integer(error->code));
    userInfo.insert_or_assign(std::string(key::kErrorDomain), Value(error->domain));
    // The engine counts error positions in the text the plug-in made around the client's
    // string; the client is told them in its own string.
    userInfo.insert_or_assign(
        std::string(key::kErrorMessage),
        Value(errorMessageInClientTerms(error->localizedDescription, queryString_.value_or(""))));
  }
  const std::string name = messageName(Message::QueryDidComplete);
  log(*live, "TDMailPlugin post %@ - %@", {Value(name), live->searchQuery->foundItemCount()});
  live->plugin->postDistributedNotificationName(name, Value(), Value(std::move(userInfo)), true);
  // A one-shot query is over: detach, cancel and unregister it, and take its batches back.
  live->plugin->cancelQuery(uniqueName_, clientName_);
}

void QueryStream::gatherEnded() {
  auto live = liveQuery();
  if (!live) return;
  log(*live, "TDMailPlugin gather ended");
  const std::string name = messageName(Message::QueryDidComplete);
  log(*live, "TDMailPlugin post %@ - %@", {Value(name), live->searchQuery->foundItemCount()});
  // A live query stays registered and keeps reporting.
  live->plugin->postDistributedNotificationName(name, Value(), Value(completionUserInfo()), true);
}

}  // namespace trovadex::plugin
