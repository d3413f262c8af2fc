#include "spotlight/engine_core.hpp"

#include <algorithm>

#include "foundation/clock.hpp"
#include "spotlight/query_core.hpp"

namespace trovadex::spotlight {
namespace {

void prune(std::vector<std::weak_ptr<QueryCore>>& queries) {
  std::erase_if(queries, [](const std::weak_ptr<QueryCore>& q) { return q.expired(); });
}

}  // namespace

foundation::Result<std::shared_ptr<EngineCore>> EngineCore::open(const std::string& path,
                                                                 EngineOptions options) {
  auto writer = IndexWriter::open(path);
  if (!writer) return writer.error();
  if (!options.clock) options.clock = std::make_shared<foundation::SystemClock>();
  return std::shared_ptr<EngineCore>(
      new EngineCore(path, std::move(options), std::move(writer.value())));
}

EngineCore::EngineCore(std::string path, EngineOptions options, std::unique_ptr<IndexWriter> writer)
    : path_(std::move(path)),
      options_(std::move(options)),
      queryPool_(options_.queryThreads),
      handlerPool_(std::max<std::size_t>(options_.handlerThreads, 1)),
      writerPool_(1),
      writerQueue_(SerialQueue::make(writerPool_)),
      writer_(std::move(writer)) {}

EngineCore::~EngineCore() { shutdown(); }

QueryTime EngineCore::queryTime() const {
  return QueryTime{options_.clock->now().timeIntervalSinceReferenceDate(), options_.timeZone,
                   options_.firstDayOfWeek, options_.locale};
}

foundation::Result<std::unique_ptr<IndexReader>> EngineCore::acquireReader() {
  {
    std::lock_guard<std::mutex> lock(readersMutex_);
    if (!freeReaders_.empty()) {
      std::unique_ptr<IndexReader> reader = std::move(freeReaders_.back());
      freeReaders_.pop_back();
      return reader;
    }
  }
  return IndexReader::open(path_);
}

void EngineCore::releaseReader(std::unique_ptr<IndexReader> reader) {
  std::lock_guard<std::mutex> lock(readersMutex_);
  if (!stopped_) freeReaders_.push_back(std::move(reader));
}

void EngineCore::write(std::function<void(IndexWriter*)> change) {
  if (stopped_) {
    change(nullptr);
    return;
  }
  auto shared = std::make_shared<std::function<void(IndexWriter*)>>(std::move(change));
  writerQueue_->post([this, shared] { (*shared)(writer_.get()); });
}

void EngineCore::publish(const std::vector<IndexChange>& changes) {
  if (changes.empty()) return;
  std::vector<std::shared_ptr<QueryCore>> live;
  {
    std::lock_guard<std::mutex> lock(queriesMutex_);
    prune(liveQueries_);
    for (const std::weak_ptr<QueryCore>& weak : liveQueries_) {
      if (auto query = weak.lock()) live.push_back(std::move(query));
    }
  }
  if (live.empty()) return;
  auto shared = std::make_shared<const std::vector<IndexChange>>(changes);
  for (const std::shared_ptr<QueryCore>& query : live) query->indexChanged(shared);
}

void EngineCore::registerQuery(const std::shared_ptr<QueryCore>& query) {
  std::lock_guard<std::mutex> lock(queriesMutex_);
  prune(queries_);
  queries_.push_back(query);
}

void EngineCore::registerLive(const std::shared_ptr<QueryCore>& query) {
  std::lock_guard<std::mutex> lock(queriesMutex_);
  liveQueries_.push_back(query);
}

void EngineCore::unregisterLive(const QueryCore* query) {
  std::lock_guard<std::mutex> lock(queriesMutex_);
  std::erase_if(liveQueries_, [query](const std::weak_ptr<QueryCore>& weak) {
    std::shared_ptr<QueryCore> locked = weak.lock();
    return !locked || locked.get() == query;
  });
}

void EngineCore::shutdown() {
  if (stopped_.exchange(true)) return;
  std::vector<std::shared_ptr<QueryCore>> running;
  {
    std::lock_guard<std::mutex> lock(queriesMutex_);
    for (const std::weak_ptr<QueryCore>& weak : queries_) {
      if (auto query = weak.lock()) running.push_back(std::move(query));
    }
    queries_.clear();
    liveQueries_.clear();
  }
  for (const std::shared_ptr<QueryCore>& query : running) query->cancel();
  running.clear();
  // Index changes first (their completions may still reach queries), then the queries, then
  // the handler calls that the queries' last work queued.
  writerPool_.shutdown();
  queryPool_.shutdown();
  handlerPool_.shutdown();
  writer_.reset();
  std::lock_guard<std::mutex> lock(readersMutex_);
  freeReaders_.clear();
}

}  // namespace trovadex::spotlight
