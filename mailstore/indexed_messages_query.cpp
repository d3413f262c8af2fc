#include "mailstore/indexed_messages_query.hpp"

#include <vector>

namespace trovadex::mailstore {

// What the handlers gather, shared with them so that a late handler call finds it alive.
struct IndexedMessagesQuery::Gathering {
  std::mutex mutex;
  std::condition_variable finished;
  IndexedMessages messages;                // Guarded by mutex.
  bool done = false;                       // Guarded by mutex.
  std::optional<foundation::Error> error;  // Guarded by mutex.
};

IndexedMessagesQuery::IndexedMessagesQuery(std::shared_ptr<platform::SearchQueryFactory> queries)
    : queries_(std::move(queries)) {}

foundation::Result<IndexedMessages> IndexedMessagesQuery::run() {
  const std::vector<std::string> attributes(kIndexedStateAttributes.begin(),
                                            kIndexedStateAttributes.end());
  auto query = queries_->makeQuery(kIndexedMessagesQueryString, attributes);
  if (!query) {
    return foundation::Error{std::string(platform::kSearchQueryErrorDomain),
                             platform::kSearchQueryErrorInvalidQuery,
                             "the search engine refused the query for indexed messages"};
  }
  auto gathering = std::make_shared<Gathering>();
  query->setFoundItemsHandler([gathering](const platform::SearchableItems& items) {
    std::lock_guard lock(gathering->mutex);
    for (const auto& item : items) {
      auto state = indexedStateOf(item);
      gathering->messages[item.uniqueIdentifier] =
          state ? std::optional<IndexedMessageState>(std::move(state->second)) : std::nullopt;
    }
  });
  query->setCompletionHandler([gathering](const std::optional<foundation::Error>& error) {
    std::lock_guard lock(gathering->mutex);
    gathering->error = error;
    gathering->done = true;
    gathering->finished.notify_all();
  });
  {
    std::lock_guard lock(mutex_);
    if (cancelled_) {
      return foundation::Error{std::string(platform::kSearchQueryErrorDomain),
                               platform::kSearchQueryErrorCancelled, "the indexer is stopping"};
    }
    query_ = query;
  }
  query->start();
  {
    std::unique_lock lock(gathering->mutex);
    gathering->finished.wait(lock, [&] { return gathering->done; });
  }
  {
    std::lock_guard lock(mutex_);
    query_.reset();
  }
  // The query has completed: no handler touches the gathering any more.
  if (gathering->error) return *gathering->error;
  return std::move(gathering->messages);
}

void IndexedMessagesQuery::cancel() {
  std::shared_ptr<platform::SearchQuery> running;
  {
    std::lock_guard lock(mutex_);
    cancelled_ = true;
    running = query_;
  }
  if (running) running->cancel();  // its completion receives the cancelled error
}

}  // namespace trovadex::mailstore
