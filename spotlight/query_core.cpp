#include "spotlight/query_core.hpp"

#include <chrono>

#include "spotlight/evaluator.hpp"
#include "spotlight/match_stream.hpp"
#include "spotlight/query_parser.hpp"
#include "spotlight/query_plan.hpp"

namespace trovadex::spotlight {
namespace {

using Clock = std::chrono::steady_clock;

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

// Collects found items and says when a delivery is due: by count, or by time since the last.
class DeliveryBatch {
 public:
  explicit DeliveryBatch(const EngineOptions& options) : options_(options), last_(Clock::now()) {}

  void add(platform::SearchableItem item) { items_.push_back(std::move(item)); }
  bool empty() const { return items_.empty(); }
  bool due() const {
    if (items_.empty()) return false;
    const bool first = deliveries_ == 0;
    const std::size_t count = first ? options_.firstDeliveryCount : options_.deliveryCount;
    const auto interval = first ? options_.firstDeliveryInterval : options_.deliveryInterval;
    return items_.size() >= count || Clock::now() - last_ >= interval;
  }
  platform::SearchableItems take() {
    ++deliveries_;
    last_ = Clock::now();
    return std::exchange(items_, {});
  }

 private:
  const EngineOptions& options_;
  platform::SearchableItems items_;
  std::size_t deliveries_ = 0;
  Clock::time_point last_;
};

}  // namespace

QueryCore::QueryCore(std::shared_ptr<EngineCore> engine, std::string queryString,
                     std::optional<std::vector<std::string>> fetchAttributes)
    : engine_(std::move(engine)),
      queryString_(std::move(queryString)),
      fetchNames_(std::move(fetchAttributes)),
      fetch_(fetchNames_),
      queue_(SerialQueue::make(engine_->queryPool())) {}

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
  queue_->post([self] {
    self->complete(queryError(platform::kSearchQueryErrorCancelled, "The query was cancelled."));
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

void QueryCore::gather() {
  if (cancelled_) return;
  ParseResult parsed = parseQuery(queryString_);
  if (!parsed.ok()) {
    complete(
        queryError(platform::kSearchQueryErrorInvalidQuery, describeParseError(parsed.error())));
    return;
  }
  compiled_ = compileQuery(parsed.tree(), engine_->queryTime());
  // A live query listens before it reads, so no change can fall between the two.
  const bool live = this->live();
  if (live) engine_->registerLive(shared_from_this());

  auto reader = engine_->acquireReader();
  if (!reader) {
    complete(queryError(-2001, "The index is unreachable: " + reader.error().localizedDescription));
    return;
  }
  std::unique_ptr<IndexReader> connection = std::move(reader.value());
  if (foundation::Status begun = connection->begin(); !begun) {
    complete(queryError(-2001, "The index is unreachable: " + begun.error().localizedDescription));
    return;
  }
  const PlanNode plan = planQuery(*compiled_, connection->codes());
  DeliveryBatch batch(engine_->options());
  bool stopped = false;
  auto flushIfDue = [&] {
    if (batch.due() && !deliverFound(batch.take())) stopped = true;
    return !stopped && !cancelled_;
  };
  StreamWindows windows;
  windows.extraKeys = fetch_.storedKeys();
  foundation::Status streamed = streamMatches(
      *connection, *compiled_, plan,
      [&](const StoredItem& item, const foundation::Value::Dictionary& decoded) {
        if (!matched_.insert(matchKey(item.indexName, item.identifier)).second) return true;
        batch.add(fetch_.deliver(item, decoded));
        return flushIfDue();
      },
      flushIfDue, windows);
  connection->end();
  engine_->releaseReader(std::move(connection));
  if (stopped || cancelled_) return;
  if (!streamed) {
    complete(queryError(-2000, "The search failed: " + streamed.error().localizedDescription));
    return;
  }
  if (!batch.empty() && !deliverFound(batch.take())) return;
  if (live) {
    deliverGatherEnded();
  } else {
    complete(std::nullopt);
  }
}

void QueryCore::applyChanges(const std::vector<IndexChange>& changes) {
  if (cancelled_ || !compiled_) return;
  // Runs of additions and of removals are delivered in the order the changes happened, so an
  // item removed and added again in one batch ends up present.
  platform::SearchableItems found;
  std::vector<std::string> removed;
  const std::size_t limit = std::max<std::size_t>(engine_->options().deliveryCount, 1);
  auto flushFound = [&] { return found.empty() || deliverFound(std::exchange(found, {})); };
  auto flushRemoved = [&] { return removed.empty() || deliverRemoved(std::exchange(removed, {})); };
  for (const IndexChange& change : changes) {
    const std::string key = matchKey(change.indexName, change.identifier);
    const bool matches =
        change.item && matchesQuery(*compiled_, change.item->attributeSet.attributes);
    const bool matched = matched_.contains(key);
    if (matches && !matched) {
      if (!flushRemoved()) return;
      matched_.insert(key);
      found.push_back(fetch_.deliver(*change.item));
      if (found.size() >= limit && !flushFound()) return;
    } else if (!matches && matched) {
      if (!flushFound()) return;
      matched_.erase(key);
      removed.push_back(change.identifier);
      if (removed.size() >= limit && !flushRemoved()) return;
    }
  }
  if (flushFound()) flushRemoved();
}

bool QueryCore::deliverFound(platform::SearchableItems items) {
  platform::SearchQuery::FoundItemsHandler handler;
  std::shared_ptr<platform::SearchQuery> keepAlive;
  {
    std::lock_guard<std::mutex> lock(mutex_);
    if (cancelled_) return false;
    handler = found_;
    keepAlive = owner_.lock();
    foundCount_ += items.size();
  }
  if (handler) handler(items);
  return !cancelled_;
}

bool QueryCore::deliverRemoved(std::vector<std::string> identifiers) {
  platform::SearchQuery::RemovedItemsHandler handler;
  std::shared_ptr<platform::SearchQuery> keepAlive;
  {
    std::lock_guard<std::mutex> lock(mutex_);
    if (cancelled_) return false;
    handler = removed_;
    keepAlive = owner_.lock();
  }
  if (handler) {
    foundation::Value::Array array;
    array.reserve(identifiers.size());
    for (std::string& identifier : identifiers) array.emplace_back(std::move(identifier));
    handler(foundation::Value(std::move(array)));
  }
  return !cancelled_;
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
