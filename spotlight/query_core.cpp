#include "spotlight/query_core.hpp"

#include "spotlight/evaluator.hpp"
#include "spotlight/match_stream.hpp"
#include "spotlight/query_parser.hpp"
#include "spotlight/query_plan.hpp"

namespace trovadex::spotlight {
namespace {

foundation::Error queryError(std::int64_t code, std::string message) {
  return foundation::Error{std::string(platform::kSearchQueryErrorDomain), code,
                           std::move(message)};
}

std::string matchKey(const std::string& indexName, const std::string& identifier) {
  std::string key = indexName;
  key.push_back('\0');
  key += identifier;
  return key;
}

DeliveryLimits limitsOf(const EngineOptions& options) {
  return DeliveryLimits{options.firstDeliveryCount, options.firstDeliveryInterval,
                        options.deliveryCount,      options.deliveryInterval,
                        options.deliveryCap,        options.deliveryBacklog};
}

}  // namespace

QueryCore::QueryCore(std::shared_ptr<EngineCore> engine, std::string queryString,
                     std::optional<std::vector<std::string>> fetchAttributes)
    : engine_(std::move(engine)),
      queryString_(std::move(queryString)),
      fetchNames_(std::move(fetchAttributes)),
      fetch_(fetchNames_),
      queue_(SerialQueue::make(engine_->queryPool())),
      handlerQueue_(SerialQueue::make(engine_->handlerPool())),
      outbox_(limitsOf(engine_->options())) {}

// The setters swap under the lock and let the old handler go after it: destroying a handler
// may release the last reference to a query, whose destructor takes this lock.
void QueryCore::setFoundItemsHandler(platform::SearchQuery::FoundItemsHandler handler) {
  std::unique_lock<std::mutex> lock(mutex_);
  std::swap(found_, handler);
  lock.unlock();
}

void QueryCore::setCompletionHandler(platform::SearchQuery::CompletionHandler handler) {
  std::unique_lock<std::mutex> lock(mutex_);
  std::swap(completion_, handler);
  lock.unlock();
}

void QueryCore::setRemovedItemsHandler(platform::SearchQuery::RemovedItemsHandler handler) {
  std::unique_lock<std::mutex> lock(mutex_);
  std::swap(removed_, handler);
  lock.unlock();
}

void QueryCore::setGatherEndedHandler(platform::SearchQuery::GatherEndedHandler handler) {
  std::unique_lock<std::mutex> lock(mutex_);
  std::swap(gatherEnded_, handler);
  lock.unlock();
}

void QueryCore::setLive(bool live) {
  std::lock_guard<std::mutex> lock(mutex_);
  if (!started_) live_ = live;
}

bool QueryCore::live() const {
  std::lock_guard<std::mutex> lock(mutex_);
  return live_;
}

void QueryCore::start(std::weak_ptr<platform::SearchQuery> owner) {
  {
    std::lock_guard<std::mutex> lock(mutex_);
    if (started_) return;
    started_ = true;
    owner_ = std::move(owner);
    if (cancelled_) return;
  }
  engine_->registerQuery(shared_from_this());
  std::shared_ptr<QueryCore> self = shared_from_this();
  queue_->post([self] { self->gather(); });
}

void QueryCore::cancel() {
  std::shared_ptr<QueryCore> self = shared_from_this();
  {
    std::lock_guard<std::mutex> lock(mutex_);
    if (cancelled_) return;
    cancelled_ = true;
    if (completed_) return;
  }
  outbox_.wake();
  queue_->post([self] {
    self->finish(queryError(platform::kSearchQueryErrorCancelled, "The query was cancelled."));
  });
}

void QueryCore::abandon() {
  bool running = false;
  {
    std::lock_guard<std::mutex> lock(mutex_);
    running = started_ && !completed_;
    if (!running) cancelled_ = true;
  }
  if (running) cancel();
}

void QueryCore::indexChanged(std::shared_ptr<const std::vector<IndexChange>> changes) {
  if (cancelled_) return;
  std::shared_ptr<QueryCore> self = shared_from_this();
  queue_->post([self, changes] { self->applyChanges(*changes); });
}

void QueryCore::finish(std::optional<foundation::Error> error) {
  startHandlers(outbox_.addEnd(DeliveryOutbox::Kind::Completion, std::move(error)));
}

void QueryCore::startHandlers(bool needed) {
  if (!needed) return;
  std::shared_ptr<QueryCore> self = shared_from_this();
  handlerQueue_->post([self] { self->runHandlers(); });
}

bool QueryCore::keepGathering() {
  startHandlers(outbox_.closeIfDue());
  outbox_.waitForRoom([this] { return cancelled_.load(); });
  return !cancelled_;
}

void QueryCore::gather() {
  if (cancelled_) return;
  ParseResult parsed = parseQuery(queryString_);
  if (!parsed.ok()) {
    finish(queryError(platform::kSearchQueryErrorInvalidQuery, describeParseError(parsed.error())));
    return;
  }
  compiled_ = compileQuery(parsed.tree(), engine_->queryTime());
  // A live query listens before it reads, so no change can fall between the two.
  const bool live = this->live();
  if (live) engine_->registerLive(shared_from_this());

  auto reader = engine_->acquireReader();
  if (!reader) {
    finish(queryError(-2001, "The index is unreachable: " + reader.error().localizedDescription));
    return;
  }
  std::unique_ptr<IndexReader> connection = std::move(reader.value());
  if (foundation::Status begun = connection->begin(); !begun) {
    finish(queryError(-2001, "The index is unreachable: " + begun.error().localizedDescription));
    return;
  }
  const PlanNode plan = planQuery(*compiled_, connection->codes());
  foundation::Status streamed = streamMatches(
      *connection, *compiled_, plan,
      [&](const StoredItem& item, const foundation::Value::Dictionary&) {
        if (!matched_.insert(matchKey(item.indexName, item.identifier)).second) return true;
        startHandlers(outbox_.addFound(fetch_.deliver(item)));
        return keepGathering();
      },
      [&] { return keepGathering(); });
  connection->end();
  engine_->releaseReader(std::move(connection));
  if (cancelled_) return;
  if (!streamed) {
    finish(queryError(-2000, "The search failed: " + streamed.error().localizedDescription));
    return;
  }
  if (live) {
    startHandlers(outbox_.addEnd(DeliveryOutbox::Kind::GatherEnded));
  } else {
    finish(std::nullopt);
  }
}

void QueryCore::applyChanges(const std::vector<IndexChange>& changes) {
  if (cancelled_ || !compiled_) return;
  // Additions and removals reach the handlers in the order the changes happened, so an item
  // removed and added again in one batch ends up present.
  for (const IndexChange& change : changes) {
    const std::string key = matchKey(change.indexName, change.identifier);
    const bool matches =
        change.item && matchesQuery(*compiled_, change.item->attributeSet.attributes);
    const bool matched = matched_.contains(key);
    if (matches && !matched) {
      matched_.insert(key);
      startHandlers(outbox_.addFound(fetch_.deliver(*change.item)));
    } else if (!matches && matched) {
      matched_.erase(key);
      startHandlers(outbox_.addRemoved(change.identifier));
    } else {
      continue;
    }
    outbox_.waitForRoom([this] { return cancelled_.load(); });
    if (cancelled_) return;
  }
  startHandlers(outbox_.flush());
}

void QueryCore::runHandlers() {
  std::optional<DeliveryOutbox::Event> event = outbox_.take();
  if (!event) return;
  switch (event->kind) {
    case DeliveryOutbox::Kind::Found:
      deliverFound(std::move(event->items));
      break;
    case DeliveryOutbox::Kind::Removed:
      deliverRemoved(std::move(event->identifiers));
      break;
    case DeliveryOutbox::Kind::GatherEnded:
      deliverGatherEnded();
      break;
    case DeliveryOutbox::Kind::Completion:
      complete(std::move(event->error));
      break;
  }
  // One event per run, so that other queries' handlers get their turn on the handler threads.
  std::shared_ptr<QueryCore> self = shared_from_this();
  handlerQueue_->post([self] { self->runHandlers(); });
}

void QueryCore::deliverFound(platform::SearchableItems items) {
  platform::SearchQuery::FoundItemsHandler handler;
  std::shared_ptr<platform::SearchQuery> keepAlive;
  {
    std::lock_guard<std::mutex> lock(mutex_);
    if (cancelled_) return;
    handler = found_;
    keepAlive = owner_.lock();
    foundCount_ += items.size();
  }
  if (handler) handler(std::move(items));
}

void QueryCore::deliverRemoved(std::vector<std::string> identifiers) {
  platform::SearchQuery::RemovedItemsHandler handler;
  std::shared_ptr<platform::SearchQuery> keepAlive;
  {
    std::lock_guard<std::mutex> lock(mutex_);
    if (cancelled_) return;
    handler = removed_;
    keepAlive = owner_.lock();
  }
  if (handler) {
    foundation::Value::Array array;
    array.reserve(identifiers.size());
    for (std::string& identifier : identifiers) array.emplace_back(std::move(identifier));
    handler(foundation::Value(std::move(array)));
  }
}

void QueryCore::deliverGatherEnded() {
  platform::SearchQuery::GatherEndedHandler handler;
  std::shared_ptr<platform::SearchQuery> keepAlive;
  {
    std::lock_guard<std::mutex> lock(mutex_);
    if (cancelled_) return;
    handler = gatherEnded_;
    keepAlive = owner_.lock();
  }
  if (handler) handler();
}

void QueryCore::complete(std::optional<foundation::Error> error) {
  platform::SearchQuery::CompletionHandler handler;
  std::shared_ptr<platform::SearchQuery> keepAlive;
  {
    std::lock_guard<std::mutex> lock(mutex_);
    // Once cancelled, only the cancelled error itself completes the query.
    const bool cancelledError = error && error->code == platform::kSearchQueryErrorCancelled;
    if (completed_ || (cancelled_ && !cancelledError)) return;
    completed_ = true;
    handler = completion_;
    keepAlive = owner_.lock();
  }
  engine_->unregisterLive(this);
  if (handler) handler(error);
}

}  // namespace trovadex::spotlight
