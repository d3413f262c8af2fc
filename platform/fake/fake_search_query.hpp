// FakeSearchQuery: a search query that plays a script on a thread of its own, and its context.
//
// start() launches the query's thread, which runs the script's steps in order (see
// search_script.hpp), calling the installed handlers serially through copies while it holds the
// query alive for each call. cancel() never blocks; once it returns no found-items, removed-items
// or gather-ended call starts, and unless a completion was already delivered, a completion
// handler still installed receives Error{"CSSearchQueryErrorDomain", -2003}. Dropping the last
// reference cancels the query and clears its handlers, so nothing is called any more. The
// optional facilities can be switched off per query (FakeSearchQueryCapabilities); using one
// that the query says it lacks is ignored and counted. Everything is safe from any thread;
// handlers run on the query's thread.
#pragma once

#include <atomic>
#include <chrono>
#include <cstddef>
#include <cstdint>
#include <memory>
#include <optional>
#include <string>
#include <thread>
#include <vector>

#include "platform/fake/search_script.hpp"
#include "platform/search_query.hpp"

namespace trovadex::platform::fake {

class QueryThreads;

enum class QueryContextKind {
  Live,            // a context that offers the live switch
  WithoutSetLive,  // a context that lacks it
  None,            // no context at all
};

struct FakeSearchQueryCapabilities {
  bool respondsToSetRemovedItemsHandler = true;
  bool respondsToSetGatherEndedHandler = true;
  QueryContextKind context = QueryContextKind::Live;
};

class FakeSearchQueryContext final : public SearchQueryContext {
 public:
  explicit FakeSearchQueryContext(bool respondsToSetLive) : respondsToSetLive_(respondsToSetLive) {}
  bool respondsToSetLive() const override { return respondsToSetLive_; }
  // Ignored (and counted) when the context lacks the switch.
  void setLive(bool live) override;
  bool live() const override { return live_.load(); }
  std::size_t unsupportedCallCount() const { return unsupportedCalls_.load(); }

 private:
  const bool respondsToSetLive_;  // Immutable after construction.
  std::atomic<bool> live_{false};
  std::atomic<std::size_t> unsupportedCalls_{0};
};

class FakeSearchQuery final : public SearchQuery,
                              public std::enable_shared_from_this<FakeSearchQuery> {
 public:
  // Made by FakeSearchQueryFactory; threads is where start() launches the query's thread.
  FakeSearchQuery(std::string queryString, std::optional<std::vector<std::string>> attributes,
                  FakeSearchQueryCapabilities capabilities, SearchScript script,
                  std::weak_ptr<QueryThreads> threads);
  ~FakeSearchQuery() override;

  void setFoundItemsHandler(FoundItemsHandler handler) override;
  void setCompletionHandler(CompletionHandler handler) override;
  bool respondsToSetRemovedItemsHandler() const override;
  void setRemovedItemsHandler(RemovedItemsHandler handler) override;
  bool respondsToSetGatherEndedHandler() const override;
  void setGatherEndedHandler(GatherEndedHandler handler) override;
  std::shared_ptr<SearchQueryContext> queryContext() override { return context_; }

  void start() override;
  void cancel() override;
  bool isCancelled() const override;
  std::uint64_t foundItemCount() const override;

  std::string queryString() const override { return queryString_; }
  foundation::Value fetchAttributes() const override;
  std::string description() const override;

  // --- For tests ---
  // Adds steps after those already scripted; a running query plays them next.
  void appendSteps(const SearchScript& steps);
  // Waits until the query's thread has played every step and waits for more, or has ended.
  bool waitUntilIdle(std::chrono::milliseconds timeout) const;
  // Waits until the query's thread has ended (after a completion, or once cancelled).
  bool waitUntilFinished(std::chrono::milliseconds timeout) const;

  bool isStarted() const;
  std::thread::id threadId() const;  // the query's thread, once started
  std::shared_ptr<FakeSearchQueryContext> context() const { return context_; }
  bool hasFoundItemsHandler() const;
  bool hasCompletionHandler() const;
  bool hasRemovedItemsHandler() const;
  bool hasGatherEndedHandler() const;
  // Handler calls that were decided on (each such call is then made), by kind.
  std::size_t foundItemsCallCount() const;
  std::size_t removedItemsCallCount() const;
  std::size_t gatherEndedCallCount() const;
  std::size_t completionCallCount() const;
  // Calls of setters the query said it lacks.
  std::size_t unsupportedCallCount() const;

  struct State;  // Shared with the query's thread; defined in the .cpp.

 private:
  // Immutable after construction.
  const std::string queryString_;
  const std::optional<std::vector<std::string>> attributes_;
  const FakeSearchQueryCapabilities capabilities_;
  const std::shared_ptr<FakeSearchQueryContext> context_;
  const std::weak_ptr<QueryThreads> threads_;
  const std::shared_ptr<State> state_;  // guarded by its own mutex
};

// The error a cancelled query's completion receives.
foundation::Error searchQueryCancelledError();

}  // namespace trovadex::platform::fake
