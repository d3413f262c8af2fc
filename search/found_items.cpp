// QueryStream: found items and the results-batch poster.
#include <algorithm>

#include "library/message_record_keys.hpp"
#include "protocol/message_names.hpp"
#include "search/item_sorting.hpp"
#include "search/query_stream.hpp"
#include "search/td_mail_plugin_query.hpp"

namespace trovadex::plugin {

using foundation::Value;
using protocol::Message;
using protocol::messageName;
namespace key = protocol::key;

namespace {

constexpr std::string_view kExternalIDAttribute = "_kMDItemExternalID";
constexpr std::string_view kSubjectAttribute = "kMDItemSubject";

// The first chunk of every delivery; later chunks are larger, and larger still for big result
// sets.
constexpr std::size_t kFirstChunkSize = 750;
constexpr std::size_t kLaterChunkSize = 1500;
constexpr std::size_t kLargeResultChunkSize = 2000;
constexpr std::uint64_t kLargeResultFoundCount = 10001;

const Value& attributeNamed(const Value::Dictionary& attributes, std::string_view name) {
  static const Value kNil;
  auto found = attributes.find(name);
  return found == attributes.end() ? kNil : found->second;
}

Value optionalString(const std::optional<std::string>& text) {
  return text ? Value(*text) : Value();
}

}  // namespace

MessageRecord QueryStream::messageRecordForItem(platform::SearchableItem&& item,
                                                std::optional<std::int64_t> libraryID,
                                                const platform::FileManager& fileManager) {
  MessageRecord message;
  message.attributes = std::move(item.attributeSet.attributes);
  message.libraryID = libraryID;
  if (item.filePath) {
    message.path = std::move(item.filePath);
  } else if (const std::string* path = attributeNamed(message.attributes, kMDItemPath).asString()) {
    message.path = *path;
  }

  Value displayName = attributeNamed(message.attributes, kMDItemDisplayName);
  if (displayName.isNil()) displayName = attributeNamed(message.attributes, kSubjectAttribute);
  if (displayName.isNil() && message.path) {
    displayName = Value(fileManager.displayNameAtPath(*message.path));
  }
  if (!displayName.isNil()) {
    message.attributes.insert_or_assign(std::string(kMDItemDisplayName), std::move(displayName));
  }
  return message;
}

void QueryStream::foundItems(platform::SearchableItems items) {
  auto live = liveQuery();
  if (!live) return;
  PluginContext& context = live->plugin->context();
  log(*live, "TDMailPlugin found items %@", {items.size()});

  std::vector<platform::SearchableItem*> sorted;
  sorted.reserve(items.size());
  for (auto& item : items) sorted.push_back(&item);
  if (sortingAttribute_)
    sortFoundItems(sorted, sortKeysForAttribute(*sortingAttribute_), sortAscending_);

  std::uint64_t runningCount = live->searchQuery->foundItemCount();
  const std::size_t laterChunkSize =
      runningCount >= kLargeResultFoundCount ? kLargeResultChunkSize : kLaterChunkSize;
  if (!context.ports().searchQueryFactory->attributeSetsRespondToAttributes()) return;

  // Messages whose file cannot be found are dropped from a chunk; the final batch's count is
  // lowered by every drop of this delivery. The delivered records are the chunk's own: the chunk
  // is emptied only once they are posted.
  auto resolve = [&](std::vector<MessageRecord>& chunk) {
    auto delivered = TDMailPlugin::loadFilePaths(context, chunk, &foundItemIndex_);
    const std::uint64_t dropped =
        chunk.size() > delivered.size() ? chunk.size() - delivered.size() : 0;
    runningCount = runningCount > dropped ? runningCount - dropped : 0;
    return delivered;
  };

  std::vector<MessageRecord> chunk;
  std::size_t threshold = kFirstChunkSize;
  for (platform::SearchableItem* item : sorted) {
    std::optional<std::int64_t> libraryID;
    const Value& externalID = attributeNamed(item->attributeSet.attributes, kExternalIDAttribute);
    if (!externalID.isNil()) libraryID = externalID.longLongValue();
    switch (live->plugin->admitFoundItem(*live->record, libraryID)) {
      case TDMailPlugin::Admission::QueryGone:
        return;
      case TDMailPlugin::Admission::Duplicate:
        continue;
      case TDMailPlugin::Admission::Admitted:
        break;
    }
    chunk.push_back(
        messageRecordForItem(std::move(*item), libraryID, *context.ports().fileManager));
    if (chunk.size() == threshold) {
      auto delivered = resolve(chunk);
      // An intermediate batch reports how many messages have been delivered so far.
      postResultsBatch(*live, delivered, foundItemIndex_);
      chunk.clear();
      threshold = laterChunkSize;
    }
  }
  if (!live->plugin->isQueryAlive(*live->record)) return;
  if (!chunk.empty()) {
    auto delivered = resolve(chunk);
    postResultsBatch(*live, delivered, runningCount);
    chunk.clear();
  }
}

void QueryStream::postResultsBatch(const Live& live, const std::vector<MessageRecord*>& messages,
                                   std::uint64_t foundItemCount) {
  TDMailPlugin& plugin = *live.plugin;
  auto pasteboard = plugin.pasteboardFromPool();
  if (!pasteboard) return;
  const std::string batchName = pasteboard->name();
  pasteboard->clearContents();
  const std::uint64_t batchNumber = ++resultsBatchCounter_;

  Value::Array records;
  records.reserve(messages.size());
  const std::size_t messageCount = messages.size();
  for (MessageRecord* message : messages) records.push_back(std::move(*message).toValue());
  const std::string type = protocol::pasteboardTypeName(protocol::PasteboardType::ResultsBatch);
  pasteboard->declareTypes({type}, &plugin);
  pasteboard->setPropertyList(
      Value(Value::Dictionary{
          {std::string(key::kMessages), Value(std::move(records))},
          {std::string(key::kFoundItemCount), Value::unsignedInteger(foundItemCount)},
          {std::string(key::kBatchNumber), Value::unsignedInteger(batchNumber)},
          {std::string(key::kQueryString), optionalString(queryString_)},
          {std::string(key::kUniqueName), uniqueName_},
          {std::string(key::kClientName), clientName_},
      }),
      type);
  pasteboard->setTag(key::kUniqueName, uniqueName_);
  pasteboard->setTag(key::kClientName, clientName_);

  // A query torn down since its last check gets no new pending batch; its pasteboard goes back.
  auto pendingBefore = plugin.addPendingBatch(*live.record, {batchName, batchNumber, pasteboard});
  if (!pendingBefore) {
    plugin.pasteboardToPool(pasteboard);
    return;
  }

  Value::Dictionary userInfo;
  if (const Value::Dictionary* received = searchUserInfo_.asDictionary()) userInfo = *received;
  userInfo.insert_or_assign(std::string(key::kUniqueName), uniqueName_);
  userInfo.insert_or_assign(std::string(key::kBatchName), Value(batchName));
  userInfo.insert_or_assign(std::string(key::kFoundItemCount),
                            Value::unsignedInteger(foundItemCount));
  userInfo.insert_or_assign(std::string(key::kBatchNumber), Value::unsignedInteger(batchNumber));
  userInfo.insert_or_assign(std::string(key::kPendingBatches), std::move(*pendingBefore));

  if (plugin.logLevel() > 1) {
    platform::Console& console = *plugin.context().ports().console;
    console.writeLine(foundation::formatString("%@: batchNumber %lu", {batchName, batchNumber}));
    console.writeLine(
        foundation::formatString("%@: messages count %lu", {batchName, messageCount}));
    console.writeLine(
        foundation::formatString("%@: foundItemCount %lu", {batchName, foundItemCount}));
  }
  const std::string name = messageName(Message::QueryHasUpdates);
  log(live, "TDMailPlugin post %@ / %@ - %@ - %@",
      {Value(name), Value(batchName), batchNumber, messageCount});
  plugin.postDistributedNotificationName(name, Value(), Value(std::move(userInfo)), true);
}

}  // namespace trovadex::plugin
