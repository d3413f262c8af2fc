// IndexFeeder: hands searchable items and deletions to a searchable index, a batch at a time,
// with a bound on how many batches may wait for the index's answer, so a long start-up pass never
// holds more than a few batches of parsed messages in memory. A refused batch is logged with the
// index's error. Safe from any thread.
#pragma once

#include <condition_variable>
#include <cstddef>
#include <cstdint>
#include <memory>
#include <mutex>
#include <string>
#include <vector>

#include "platform/console.hpp"
#include "platform/searchable_index.hpp"

namespace trovadex::mailstore {

inline constexpr std::size_t kMaxBatchesInFlight = 2;

class IndexFeeder {
 public:
  IndexFeeder(std::shared_ptr<platform::SearchableIndex> index,
              std::shared_ptr<platform::Console> console);
  IndexFeeder(const IndexFeeder&) = delete;
  IndexFeeder& operator=(const IndexFeeder&) = delete;

  // Each returns false, having handed nothing over, once cancel() was called.
  bool index(platform::SearchableItems items);
  bool remove(std::vector<std::string> identifiers);
  // Waits until every batch handed over has been answered.
  bool waitUntilAnswered();
  // Releases every waiter at once (their calls return false), so the caller can stop without
  // waiting for answers that may never come.
  void cancel();

  // Items (or identifiers) in batches that the index refused.
  std::uint64_t refused() const;

 private:
  struct Flow;
  bool waitForRoom();

  const std::shared_ptr<platform::SearchableIndex> index_;  // Immutable after construction.
  const std::shared_ptr<Flow> flow_;  // Shared with the completions, which may outlive the feeder.
};

}  // namespace trovadex::mailstore
