// QueryCore: one search query's state and work, behind the SearchQuery the plug-in holds.
//
// Life: made unstarted; start() puts the gather on the query's own work queue; the gather plans
// the query, confirms candidates and puts found items in the query's outbox; a one-shot query
// then completes, a live one reports gather-ended and afterwards turns each index change into
// additions and removals, through the same outbox. The outbox's events reach the handlers on a
// second serial queue, on the engine's handler threads, so the gather goes on while a handler
// runs and the next delivery holds what was found meanwhile. cancel() marks the query, never
// waits, and queues the cancelled completion; every delivery checks the mark under the state
// lock right before it calls a handler, so none starts after cancel() has returned. Handlers are
// called on the handler queue only (so never concurrently), from copies taken under the lock,
// and with the SearchQuery kept alive for the length of the call.
// Public methods are safe from any thread.
#pragma once

#include <atomic>
#include <cstdint>
#include <memory>
#include <mutex>
#include <optional>
#include <string>
#include <unordered_set>
#include <vector>

#include "platform/search_query.hpp"
#include "spotlight/compiled_query.hpp"
#include "spotlight/delivery_outbox.hpp"
#include "spotlight/engine_core.hpp"
#include "spotlight/fetch_list.hpp"

namespace trovadex::spotlight {

class QueryCore : public std::enable_shared_from_this<QueryCore> {
 public:
  QueryCore(std::shared_ptr<EngineCore> engine, std::string queryString,
            std::optional<std::vector<std::string>> fetchAttributes);

  void setFoundItemsHandler(platform::SearchQuery::FoundItemsHandler handler);
  void setCompletionHandler(platform::SearchQuery::CompletionHandler handler);
  void setRemovedItemsHandler(platform::SearchQuery::RemovedItemsHandler handler);
  void setGatherEndedHandler(platform::SearchQuery::GatherEndedHandler handler);
  void setLive(bool live);
  bool live() const;

  // owner is the SearchQuery to keep alive while handlers run.
  void start(std::weak_ptr<platform::SearchQuery> owner);
  void cancel();
  // The owner let go: cancel a query that is running; an unstarted one just goes quiet.
  void abandon();
  bool isCancelled() const { return cancelled_.load(); }
  std::uint64_t foundItemCount() const { return foundCount_.load(); }

  const std::string& queryString() const { return queryString_; }
  const std::optional<std::vector<std::string>>& fetchAttributes() const { return fetchNames_; }

  // Called by the engine with committed index changes, in commit order.
  void indexChanged(std::shared_ptr<const std::vector<IndexChange>> changes);

 private:
  // On the work queue.
  void gather();
  void applyChanges(const std::vector<IndexChange>& changes);
  // Queues the completion behind everything found so far.
  void finish(std::optional<foundation::Error> error);
  // Starts the handler side when an outbox call says so.
  void startHandlers(bool needed);
  // Back-pressure and timed deliveries; false once cancelled.
  bool keepGathering();

  // On the handler queue: one outbox event per run, then the next run is queued.
  void runHandlers();
  void deliverFound(platform::SearchableItems items);
  void deliverRemoved(std::vector<std::string> identifiers);
  void deliverGatherEnded();
  // Delivers the completion once; a successful one only when not cancelled.
  void complete(std::optional<foundation::Error> error);

  // Immutable after construction.
  const std::shared_ptr<EngineCore> engine_;
  const std::string queryString_;
  const std::optional<std::vector<std::string>> fetchNames_;
  const FetchList fetch_;
  const std::shared_ptr<SerialQueue> queue_;         // gather and index changes
  const std::shared_ptr<SerialQueue> handlerQueue_;  // handler calls
  DeliveryOutbox outbox_;                            // safe from any thread

  std::atomic<bool> cancelled_{false};
  std::atomic<std::uint64_t> foundCount_{0};

  // Guarded by mutex_.
  mutable std::mutex mutex_;
  platform::SearchQuery::FoundItemsHandler found_;
  platform::SearchQuery::CompletionHandler completion_;
  platform::SearchQuery::RemovedItemsHandler removed_;
  platform::SearchQuery::GatherEndedHandler gatherEnded_;
  std::weak_ptr<platform::SearchQuery> owner_;
  bool live_ = false;
  bool started_ = false;
  bool completed_ = false;

  // Used on the work queue only.
  std::optional<Predicate> compiled_;
  std::unordered_set<std::string> matched_;  // index name + '\0' + identifier
};

}  // namespace trovadex::spotlight
