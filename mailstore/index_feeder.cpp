#include "mailstore/index_feeder.hpp"

namespace trovadex::mailstore {

struct IndexFeeder::Flow {
  explicit Flow(std::shared_ptr<platform::Console> log) : console(std::move(log)) {}

  // Called once per batch, on an engine thread.
  void answered(std::size_t count, const char* what,
                const std::optional<foundation::Error>& error) {
    if (error && console) {
      console->writeLine("Indexer: the index refused " + std::to_string(count) + " " + what + ": " +
                         error->description());
    }
    std::lock_guard lock(mutex);
    --inFlight;
    if (error) refused += count;
    changed.notify_all();
  }

  const std::shared_ptr<platform::Console> console;  // Immutable after construction.
  std::mutex mutex;
  std::condition_variable changed;
  std::size_t inFlight = 0;   // Guarded by mutex.
  std::uint64_t refused = 0;  // Guarded by mutex.
  bool cancelled = false;     // Guarded by mutex.
};

IndexFeeder::IndexFeeder(std::shared_ptr<platform::SearchableIndex> index,
                         std::shared_ptr<platform::Console> console)
    : index_(std::move(index)), flow_(std::make_shared<Flow>(std::move(console))) {}

bool IndexFeeder::waitForRoom() {
  std::unique_lock lock(flow_->mutex);
  flow_->changed.wait(lock,
                      [&] { return flow_->cancelled || flow_->inFlight < kMaxBatchesInFlight; });
  if (flow_->cancelled) return false;
  ++flow_->inFlight;
  return true;
}

bool IndexFeeder::index(platform::SearchableItems items) {
  if (items.empty()) return true;
  if (!waitForRoom()) return false;
  const std::size_t count = items.size();
  index_->indexSearchableItems(
      items, [flow = flow_, count](const auto& error) { flow->answered(count, "items", error); });
  return true;
}

bool IndexFeeder::remove(std::vector<std::string> identifiers) {
  if (identifiers.empty()) return true;
  if (!waitForRoom()) return false;
  const std::size_t count = identifiers.size();
  index_->deleteSearchableItemsWithIdentifiers(
      identifiers,
      [flow = flow_, count](const auto& error) { flow->answered(count, "deletions", error); });
  return true;
}

bool IndexFeeder::waitUntilAnswered() {
  std::unique_lock lock(flow_->mutex);
  flow_->changed.wait(lock, [&] { return flow_->cancelled || flow_->inFlight == 0; });
  return !flow_->cancelled;
}

void IndexFeeder::cancel() {
  std::lock_guard lock(flow_->mutex);
  flow_->cancelled = true;
  flow_->changed.notify_all();
}

std::uint64_t IndexFeeder::refused() const {
  std::lock_guard lock(flow_->mutex);
  return flow_->refused;
}

}  // namespace trovadex::mailstore
