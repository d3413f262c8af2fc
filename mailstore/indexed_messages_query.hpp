// IndexedMessagesQuery: asks the search engine which mail messages its index holds, and in what
// state (the file name, size and modification time each item was made from).
//
// It runs one query for every item of content type "public.email-message", fetching only the
// state attributes, and gathers the deliveries until the query completes. run() blocks its
// caller; cancel() may come from any thread and makes a run in progress, and every later one,
// fail with the engine's cancelled error.
#pragma once

#include <condition_variable>
#include <map>
#include <memory>
#include <mutex>
#include <optional>
#include <string>

#include "foundation/error.hpp"
#include "mailstore/indexer_sync_plan.hpp"
#include "platform/search_query.hpp"

namespace trovadex::mailstore {

inline constexpr const char* kIndexedMessagesQueryString =
    "kMDItemContentType == \"public.email-message\"";

// Every identifier the index holds for mail, with the item's state when it is a library ID.
using IndexedMessages = std::map<std::string, std::optional<IndexedMessageState>>;

class IndexedMessagesQuery {
 public:
  explicit IndexedMessagesQuery(std::shared_ptr<platform::SearchQueryFactory> queries);
  IndexedMessagesQuery(const IndexedMessagesQuery&) = delete;
  IndexedMessagesQuery& operator=(const IndexedMessagesQuery&) = delete;

  // Fails when the engine refuses the query or ends it with an error.
  foundation::Result<IndexedMessages> run();
  void cancel();

 private:
  struct Gathering;

  const std::shared_ptr<platform::SearchQueryFactory> queries_;  // Immutable after construction.
  std::mutex mutex_;
  bool cancelled_ = false;                        // Guarded by mutex_.
  std::shared_ptr<platform::SearchQuery> query_;  // Guarded by mutex_: the one running.
};

}  // namespace trovadex::mailstore
