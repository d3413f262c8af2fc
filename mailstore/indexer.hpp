// Indexer: keeps the search engine's index in step with the message store, at start (an
// incremental pass, not a rebuild) and while the host runs (GIO file monitoring).
//
// It works on a thread of its own with its own GLib main context; start() and stop() come from
// the owner's thread, the other operations are safe from any thread.
#pragma once

#include <chrono>
#include <condition_variable>
#include <cstddef>
#include <cstdint>
#include <filesystem>
#include <memory>
#include <mutex>
#include <set>
#include <thread>

#include "mailstore/index_feeder.hpp"
#include "mailstore/indexed_messages_query.hpp"
#include "mailstore/store.hpp"
#include "platform/console.hpp"
#include "platform/search_query.hpp"
#include "platform/searchable_index.hpp"

typedef struct _GMainContext GMainContext;
typedef struct _GMainLoop GMainLoop;
typedef struct _GSource GSource;

namespace trovadex::mailstore {

struct IndexerOptions {
  // File events are gathered for this long before the files are read, so that a burst of events
  // costs one pass.
  std::chrono::milliseconds settleDelay{200};
  // Items handed to the index in one call.
  std::size_t batchSize = 200;
};

struct IndexerCounts {
  std::uint64_t indexed = 0;     // items handed to the index, new or replacing
  std::uint64_t removed = 0;     // identifiers deleted from the index
  std::uint64_t unreadable = 0;  // message files that could not be read or parsed
  std::uint64_t passes = 0;      // completed incremental passes (the start-up one included)
};

// At start the indexer asks the index which messages it holds and in what state, compares that
// with the store, and adds the messages the index lacks, replaces the outdated ones and deletes
// the items whose message is gone. It then follows the store's folders: every new, rewritten or
// deleted .emlx file (an import in another process, a flag change, a file removed by hand)
// reaches the index within settleDelay plus the time to read the files, and so reaches every live
// query. A folder that disappears as a whole causes another incremental pass. Messages that
// cannot be read are logged and left out.
class Indexer {
 public:
  Indexer(std::shared_ptr<Store> store, std::shared_ptr<platform::SearchableIndex> index,
          std::shared_ptr<platform::SearchQueryFactory> queries,
          std::shared_ptr<platform::Console> console, IndexerOptions options = {});
  ~Indexer();
  Indexer(const Indexer&) = delete;
  Indexer& operator=(const Indexer&) = delete;

  // Starts the thread: folder watches first, then the start-up pass, then following changes.
  void start();
  // Ends the work without waiting for the index to answer what is in flight, and joins the
  // thread. Idempotent.
  void stop();

  // Waits until the start-up pass has been answered by the index; false when it failed or the
  // time ran out.
  bool waitUntilInStep(std::chrono::milliseconds timeout);
  IndexerCounts counts() const;

 private:
  void run();
  bool synchronize();
  void fileChanged(const std::filesystem::path& path);
  void examinePending();
  void armSettleTimer();
  bool stopping() const;
  void log(const std::string& line) const;

  // Immutable after construction.
  const std::shared_ptr<Store> store_;
  const std::shared_ptr<platform::Console> console_;
  const IndexerOptions options_;

  IndexFeeder feeder_;
  IndexedMessagesQuery indexedMessages_;

  mutable std::mutex mutex_;
  std::condition_variable inStepChanged_;
  bool stopping_ = false;              // Guarded by mutex_.
  bool startupPassEnded_ = false;      // Guarded by mutex_.
  bool startupPassSucceeded_ = false;  // Guarded by mutex_.
  IndexerCounts counts_;               // Guarded by mutex_.

  // The indexer's thread only.
  std::set<std::filesystem::path> pendingPaths_;
  bool passWanted_ = false;
  GSource* settleTimer_ = nullptr;

  // Set by start() before the thread begins; released by the destructor.
  GMainContext* context_ = nullptr;
  GMainLoop* loop_ = nullptr;
  std::thread thread_;  // Last: joined before anything above goes away.
};

}  // namespace trovadex::mailstore
