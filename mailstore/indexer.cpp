#include "mailstore/indexer.hpp"

#include <gio/gio.h>

#include <algorithm>
#include <cstdio>
#include <exception>
#include <vector>

#include "mailstore/attributes.hpp"
#include "mailstore/message_folder_monitor.hpp"
#include "mailstore/message_path.hpp"
#include "mailstore/message_source.hpp"

namespace trovadex::mailstore {
namespace {

using Clock = std::chrono::steady_clock;

double secondsSince(Clock::time_point start) {
  return std::chrono::duration<double>(Clock::now() - start).count();
}

std::string formatSeconds(double seconds) {
  char text[32];
  std::snprintf(text, sizeof text, "%.2f", seconds);
  return text;
}

// The file that holds the message now, whole preferred, among the two kinds in its folder.
std::optional<std::filesystem::path> currentMessageFile(const std::filesystem::path& folder,
                                                        std::int64_t libraryID) {
  for (auto kind : {MessageDataKind::Whole, MessageDataKind::Partial}) {
    std::filesystem::path candidate = folder / messageFileName(libraryID, kind);
    std::error_code error;
    if (std::filesystem::is_regular_file(candidate, error)) return candidate;
  }
  return std::nullopt;
}

}  // namespace

Indexer::Indexer(std::shared_ptr<Store> store, std::shared_ptr<platform::SearchableIndex> index,
                 std::shared_ptr<platform::SearchQueryFactory> queries,
                 std::shared_ptr<platform::Console> console, IndexerOptions options)
    : store_(std::move(store)),
      console_(std::move(console)),
      options_(options),
      feeder_(std::move(index), console_),
      indexedMessages_(std::move(queries)) {}

Indexer::~Indexer() {
  stop();
  if (loop_ != nullptr) g_main_loop_unref(loop_);
  if (context_ != nullptr) g_main_context_unref(context_);
}

void Indexer::start() {
  if (thread_.joinable()) return;
  context_ = g_main_context_new();
  loop_ = g_main_loop_new(context_, FALSE);
  thread_ = std::thread([this] {
    try {
      run();
    } catch (const std::exception& exception) {
      log(std::string("the indexer stopped after an error: ") + exception.what());
    } catch (...) {
      log("the indexer stopped after an unknown error");
    }
  });
}

void Indexer::stop() {
  {
    std::lock_guard lock(mutex_);
    if (stopping_) return;
    stopping_ = true;
    inStepChanged_.notify_all();
  }
  indexedMessages_.cancel();
  feeder_.cancel();
  if (!thread_.joinable()) return;
  // A source rather than g_main_loop_quit, so that a stop that comes before the loop turns is
  // not lost: the loop quits as soon as it starts.
  GSource* quit = g_idle_source_new();
  g_source_set_callback(
      quit,
      [](gpointer loop) -> gboolean {
        g_main_loop_quit(static_cast<GMainLoop*>(loop));
        return G_SOURCE_REMOVE;
      },
      loop_, nullptr);
  g_source_attach(quit, context_);
  g_source_unref(quit);
  thread_.join();
}

bool Indexer::waitUntilInStep(std::chrono::milliseconds timeout) {
  std::unique_lock lock(mutex_);
  inStepChanged_.wait_for(lock, timeout, [&] { return startupPassEnded_ || stopping_; });
  return startupPassSucceeded_;
}

IndexerCounts Indexer::counts() const {
  std::lock_guard lock(mutex_);
  return counts_;
}

bool Indexer::stopping() const {
  std::lock_guard lock(mutex_);
  return stopping_;
}

void Indexer::log(const std::string& line) const {
  if (console_) console_->writeLine("Indexer: " + line);
}

void Indexer::run() {
  g_main_context_push_thread_default(context_);
  {
    // Watches come first, so that what changes during the start-up pass is seen afterwards.
    MessageFolderMonitor monitor(store_->v10Folder(),
                                 {[this](const std::filesystem::path& path) { fileChanged(path); },
                                  [this](const std::filesystem::path&) {
                                    passWanted_ = true;
                                    armSettleTimer();
                                  }},
                                 console_);
    monitor.start();
    log("watching " + std::to_string(monitor.watchedFolders()) + " folders of " +
        store_->v10Folder().string());

    const bool inStep = synchronize();
    {
      std::lock_guard lock(mutex_);
      startupPassEnded_ = true;
      startupPassSucceeded_ = inStep;
      inStepChanged_.notify_all();
    }
    if (!stopping()) g_main_loop_run(loop_);
    if (settleTimer_ != nullptr) {
      g_source_destroy(settleTimer_);
      g_source_unref(settleTimer_);
      settleTimer_ = nullptr;
    }
    monitor.releaseRetiredWatches();
  }
  // Sources still attached (file events that came too late) are dropped with the context.
  g_main_context_pop_thread_default(context_);
}

bool Indexer::synchronize() {
  const auto started = Clock::now();
  auto indexed = indexedMessages_.run();
  if (!indexed) {
    if (!stopping()) log("cannot read what the index holds: " + indexed.error().description());
    return false;
  }
  std::vector<StoredMessage> stored;
  if (auto listed = store_->forEachMessage([&](const StoredMessage& message) {
        stored.push_back(message);
        return true;
      });
      !listed) {
    log("cannot list the store's messages: " + listed.error().description());
    return false;
  }
  const std::size_t storedCount = stored.size();
  SynchronizationPlan plan = planSynchronization(std::move(stored), indexed.value());

  IndexerCounts passCounts;
  for (std::size_t first = 0; first < plan.toDelete.size(); first += options_.batchSize) {
    const auto end = plan.toDelete.begin() + static_cast<std::ptrdiff_t>(std::min(
                                                 plan.toDelete.size(), first + options_.batchSize));
    std::vector<std::string> batch(plan.toDelete.begin() + static_cast<std::ptrdiff_t>(first), end);
    passCounts.removed += batch.size();
    if (!feeder_.remove(std::move(batch))) return false;
  }
  platform::SearchableItems items;
  auto handOver = [&] {
    passCounts.indexed += items.size();
    bool handed = feeder_.index(std::move(items));
    items.clear();
    return handed;
  };
  for (auto* list : {&plan.toAdd, &plan.toUpdate}) {
    for (const auto& message : *list) {
      if (stopping()) return false;
      auto source = messageSourceFor(*store_, message);
      auto item = source ? searchableItemForMessage(source.value())
                         : foundation::Result<platform::SearchableItem>(source.error());
      if (!item) {
        ++passCounts.unreadable;
        log("cannot index message " + std::to_string(message.libraryID) + ": " +
            item.error().localizedDescription);
        continue;
      }
      items.push_back(std::move(item.value()));
      if (items.size() >= options_.batchSize && !handOver()) return false;
    }
  }
  if (!handOver() || !feeder_.waitUntilAnswered()) return false;

  {
    std::lock_guard lock(mutex_);
    counts_.indexed += passCounts.indexed;
    counts_.removed += passCounts.removed;
    counts_.unreadable += passCounts.unreadable;
    ++counts_.passes;
  }
  log("in step with the store: " + std::to_string(storedCount) + " messages, " +
      std::to_string(plan.toAdd.size()) + " added, " + std::to_string(plan.toUpdate.size()) +
      " updated, " + std::to_string(plan.toDelete.size()) + " removed, " +
      std::to_string(plan.unchanged) + " unchanged, " + std::to_string(passCounts.unreadable) +
      " unreadable, in " + formatSeconds(secondsSince(started)) + " s");
  return true;
}

void Indexer::fileChanged(const std::filesystem::path& path) {
  pendingPaths_.insert(path);
  armSettleTimer();
}

void Indexer::armSettleTimer() {
  if (settleTimer_ != nullptr) return;
  settleTimer_ = g_timeout_source_new(static_cast<guint>(options_.settleDelay.count()));
  g_source_set_callback(
      settleTimer_,
      [](gpointer self) -> gboolean {
        auto* indexer = static_cast<Indexer*>(self);
        // The timer fires once; dropping it here lets the next event arm a new one.
        g_source_unref(indexer->settleTimer_);
        indexer->settleTimer_ = nullptr;
        try {
          indexer->examinePending();
        } catch (const std::exception& exception) {
          indexer->log(std::string("examining changed files failed: ") + exception.what());
        } catch (...) {
        }
        return G_SOURCE_REMOVE;
      },
      this, nullptr);
  g_source_attach(settleTimer_, context_);
}

void Indexer::examinePending() {
  std::set<std::filesystem::path> paths;
  paths.swap(pendingPaths_);
  if (passWanted_) {
    // A folder went away with its files: only a whole pass finds what it held. The paths are
    // still examined afterwards, since a file may have arrived before its row was committed.
    passWanted_ = false;
    if (!synchronize() && stopping()) return;
  }
  std::set<std::int64_t> seen;
  platform::SearchableItems items;
  std::vector<std::string> removals;
  std::uint64_t unreadable = 0;
  for (const auto& path : paths) {
    const auto location = parseMessagePath(store_->v10Folder(), path);
    if (!location || !seen.insert(location->file.libraryID).second) continue;
    const std::int64_t libraryID = location->file.libraryID;
    const auto file = currentMessageFile(path.parent_path(), libraryID);
    if (!file) {
      removals.push_back(std::to_string(libraryID));
      continue;
    }
    auto source = messageSourceForPath(*store_, *file);
    auto item = source ? searchableItemForMessage(source.value())
                       : foundation::Result<platform::SearchableItem>(source.error());
    if (!item) {
      // An empty file is one that its writer has only just made: its done event brings it back.
      std::error_code sizeError;
      if (std::filesystem::file_size(*file, sizeError) == 0 && !sizeError) continue;
      ++unreadable;
      log("cannot index " + file->string() + ": " + item.error().localizedDescription);
      continue;
    }
    items.push_back(std::move(item.value()));
  }
  const std::size_t indexed = items.size();
  const std::size_t removed = removals.size();
  if (!feeder_.remove(std::move(removals))) return;
  for (std::size_t first = 0; first < items.size(); first += options_.batchSize) {
    const std::size_t last = std::min(items.size(), first + options_.batchSize);
    platform::SearchableItems batch(
        std::make_move_iterator(items.begin() + static_cast<std::ptrdiff_t>(first)),
        std::make_move_iterator(items.begin() + static_cast<std::ptrdiff_t>(last)));
    if (!feeder_.index(std::move(batch))) return;
  }
  {
    std::lock_guard lock(mutex_);
    counts_.indexed += indexed;
    counts_.removed += removed;
    counts_.unreadable += unreadable;
  }
  if (indexed + removed + unreadable > 0) {
    log("followed the store: " + std::to_string(indexed) + " indexed, " + std::to_string(removed) +
        " removed, " + std::to_string(unreadable) + " unreadable");
  }
}

}  // namespace trovadex::mailstore
