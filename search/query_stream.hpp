// QueryStream: the result handlers of one running query, and the two batch posters they call.
//
// Found items are sorted per delivery, de-duplicated by library ID over the query's life, cut into
// chunks (750, then 1500, or 2000 once the query has found 10001 or more), resolved to message
// files, written to a pool pasteboard and announced with QueryHasUpdates. Removed items travel in
// chunks of 1000 with QueryHasRemovals; completion and the end of a live query's first gathering
// post QueryDidComplete, and completion then cancels the query.
//
// The search command makes one stream per query and installs its handlers on the engine query,
// which owns them. The stream holds the plug-in, the record and the engine query weakly, so a
// query torn down or replaced goes quiet: every handler checks that its query is alive on entry
// and, while chunking, before each element. Called on the query's handler thread; the engine
// calls one query's handlers one at a time, so the counters need no lock.
#pragma once

#include <cstdint>
#include <memory>
#include <optional>
#include <string>
#include <vector>

#include "foundation/error.hpp"
#include "foundation/value.hpp"
#include "platform/file_manager.hpp"
#include "platform/search_query.hpp"
#include "plugin/td_mail_plugin.hpp"

namespace trovadex::plugin {

class TDMailPluginQuery;

class QueryStream {
 public:
  QueryStream(const std::shared_ptr<TDMailPlugin>& plugin,
              const std::shared_ptr<TDMailPluginQuery>& record,
              const std::shared_ptr<platform::SearchQuery>& searchQuery,
              foundation::Value searchUserInfo);

  // Installs the found-items and completion handlers; the removed-items handler where the query
  // offers it; and, where the query has a context with a live switch, turns live mode on and
  // installs the gather-ended handler. The query keeps the stream alive through its handlers.
  static void install(const std::shared_ptr<QueryStream>& stream, platform::SearchQuery& query);

  void foundItems(platform::SearchableItems items);
  void removedItems(const foundation::Value& identifiers);
  void completed(const std::optional<foundation::Error>& error);
  void gatherEnded();

 private:
  struct Live {
    std::shared_ptr<TDMailPlugin> plugin;
    std::shared_ptr<TDMailPluginQuery> record;
    std::shared_ptr<platform::SearchQuery> searchQuery;
  };
  // The plug-in, record and query when the query is alive; nothing otherwise.
  std::optional<Live> liveQuery() const;

  // The message record of a found item, before its file is looked up: its attributes, library
  // ID, path (the item's own, else its kMDItemPath) and a display name.
  static MessageRecord messageRecordForItem(platform::SearchableItem&& item,
                                            std::optional<std::int64_t> libraryID,
                                            const platform::FileManager& fileManager);
  // Writes and announces one batch; the records' contents move into the batch.
  void postResultsBatch(const Live& live, const std::vector<MessageRecord*>& messages,
                        std::uint64_t foundItemCount);
  void postRemovalBatch(const Live& live, const std::vector<std::string>& identifiers);
  // The Search userInfo with "notification" = "completed".
  foundation::Value::Dictionary completionUserInfo() const;
  void log(const Live& live, std::string_view format,
           std::initializer_list<foundation::FormatArgument> arguments = {}) const;

  // Immutable after construction.
  const std::weak_ptr<TDMailPlugin> plugin_;
  const std::weak_ptr<TDMailPluginQuery> record_;
  const std::weak_ptr<platform::SearchQuery> searchQuery_;
  const foundation::Value searchUserInfo_;
  // The names as the Search command carried them, whatever their kind.
  const foundation::Value uniqueName_;
  const foundation::Value clientName_;
  const std::optional<std::string> queryString_;
  const std::optional<std::string> sortingAttribute_;
  const bool sortAscending_;

  // Used only by this query's handlers, which never run at the same time.
  std::uint64_t resultsBatchCounter_ = 0;
  std::uint64_t removalBatchCounter_ = 0;
  std::uint64_t foundItemIndex_ = 0;
};

}  // namespace trovadex::plugin
