// The engine's SearchQuery, its live context and the factory that makes them.
//
// A query made here starts nothing until start(); a malformed query string is reported through
// the completion handler (CSSearchQueryErrorDomain, -2002) when the query runs, never by
// makeQuery. Dropping the last reference to a running query cancels it. Safe from any thread.
#pragma once

#include <memory>
#include <optional>
#include <string>
#include <vector>

#include "platform/search_query.hpp"
#include "spotlight/engine_core.hpp"
#include "spotlight/query_core.hpp"

namespace trovadex::spotlight {

class EngineSearchQuery final : public platform::SearchQuery,
                                public std::enable_shared_from_this<EngineSearchQuery> {
 public:
  explicit EngineSearchQuery(std::shared_ptr<QueryCore> core);
  ~EngineSearchQuery() override;

  void setFoundItemsHandler(FoundItemsHandler handler) override;
  void setCompletionHandler(CompletionHandler handler) override;
  bool respondsToSetRemovedItemsHandler() const override { return true; }
  void setRemovedItemsHandler(RemovedItemsHandler handler) override;
  bool respondsToSetGatherEndedHandler() const override { return true; }
  void setGatherEndedHandler(GatherEndedHandler handler) override;
  std::shared_ptr<platform::SearchQueryContext> queryContext() override { return context_; }

  void start() override;
  void cancel() override;
  bool isCancelled() const override;
  std::uint64_t foundItemCount() const override;

  std::string queryString() const override;
  foundation::Value fetchAttributes() const override;
  std::string description() const override;

 private:
  // Immutable after construction.
  const std::shared_ptr<QueryCore> core_;
  const std::shared_ptr<platform::SearchQueryContext> context_;
};

class EngineSearchQueryFactory final : public platform::SearchQueryFactory {
 public:
  explicit EngineSearchQueryFactory(std::shared_ptr<EngineCore> engine)
      : engine_(std::move(engine)) {}
  std::shared_ptr<platform::SearchQuery> makeQuery(
      const std::string& queryString,
      const std::optional<std::vector<std::string>>& attributes) override;
  bool attributeSetsRespondToAttributes() const override { return true; }

 private:
  const std::shared_ptr<EngineCore> engine_;
};

}  // namespace trovadex::spotlight
