// EngineCore: the state an engine's queries and indexes share: the worker threads, the index
// writer and its queue, a pool of read connections, and the registries of running and live
// queries that index changes and shutdown reach.
//
// Queries and index handles keep the core alive, so a handle that outlives the Engine stays
// safe to call; after shutdown it simply does nothing more. Safe from any thread; the writer is
// used on the writer queue only.
#pragma once

#include <atomic>
#include <memory>
#include <mutex>
#include <string>
#include <vector>

#include "foundation/error.hpp"
#include "spotlight/engine_options.hpp"
#include "spotlight/index_reader.hpp"
#include "spotlight/index_writer.hpp"
#include "spotlight/serial_queue.hpp"
#include "spotlight/time_expression.hpp"
#include "spotlight/worker_pool.hpp"

namespace trovadex::spotlight {

class QueryCore;

class EngineCore {
 public:
  static foundation::Result<std::shared_ptr<EngineCore>> open(const std::string& path,
                                                              EngineOptions options);
  ~EngineCore();

  const EngineOptions& options() const { return options_; }
  WorkerPool& queryPool() { return queryPool_; }
  WorkerPool& handlerPool() { return handlerPool_; }
  bool stopped() const { return stopped_.load(); }
  // "Now" and the calendar settings for a query starting at this moment.
  QueryTime queryTime() const;

  // A read connection for the calling task, opened when none is free; hand it back after use.
  foundation::Result<std::unique_ptr<IndexReader>> acquireReader();
  void releaseReader(std::unique_ptr<IndexReader> reader);

  // Runs a change on the writer queue; the writer is null once the engine has shut down.
  void write(std::function<void(IndexWriter* writer)> change);
  // Hands committed changes to every live query, in commit order.
  void publish(const std::vector<IndexChange>& changes);

  void registerQuery(const std::shared_ptr<QueryCore>& query);
  void registerLive(const std::shared_ptr<QueryCore>& query);
  void unregisterLive(const QueryCore* query);

  // Cancels every query, runs the work already queued, joins all threads and closes the
  // database. Idempotent; must not be called from an engine thread.
  void shutdown();

 private:
  EngineCore(std::string path, EngineOptions options, std::unique_ptr<IndexWriter> writer);

  // Immutable after construction.
  const std::string path_;
  const EngineOptions options_;
  WorkerPool queryPool_;
  WorkerPool handlerPool_;
  WorkerPool writerPool_;
  std::shared_ptr<SerialQueue> writerQueue_;
  std::atomic<bool> stopped_{false};
  // Used on the writer queue only (and reset by shutdown once the writer thread is joined).
  std::unique_ptr<IndexWriter> writer_;
  // Guarded by readersMutex_.
  std::mutex readersMutex_;
  std::vector<std::unique_ptr<IndexReader>> freeReaders_;
  // Guarded by queriesMutex_.
  std::mutex queriesMutex_;
  std::vector<std::weak_ptr<QueryCore>> queries_;
  std::vector<std::weak_ptr<QueryCore>> liveQueries_;
};

}  // namespace trovadex::spotlight
