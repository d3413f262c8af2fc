// FakeSearchQueryFactory: makes scripted fake search queries and records every request.
//
// Each query made takes the oldest queued script, or the default script when none is queued,
// and the capabilities set at the time. The factory can refuse to make queries (answering null,
// as a platform that rejects the request) and can say that attribute sets lack their attribute
// dictionaries. Every request is recorded, refused ones included. The factory owns the queries'
// threads: destroying it cancels every running query and joins all of them. Safe from any
// thread, except that the factory must not be destroyed on one of its queries' threads.
#pragma once

#include <atomic>
#include <cstddef>
#include <deque>
#include <memory>
#include <mutex>
#include <optional>
#include <string>
#include <vector>

#include "platform/fake/fake_search_query.hpp"
#include "platform/search_query.hpp"

namespace trovadex::platform::fake {

struct QueryRequest {
  std::string queryString;
  std::optional<std::vector<std::string>> attributes;
  bool refused = false;
  std::weak_ptr<FakeSearchQuery> query;  // expired when refused or since dropped
};

class FakeSearchQueryFactory final : public SearchQueryFactory {
 public:
  FakeSearchQueryFactory();
  ~FakeSearchQueryFactory() override;
  FakeSearchQueryFactory(const FakeSearchQueryFactory&) = delete;
  FakeSearchQueryFactory& operator=(const FakeSearchQueryFactory&) = delete;

  std::shared_ptr<SearchQuery> makeQuery(
      const std::string& queryString,
      const std::optional<std::vector<std::string>>& attributes) override;
  bool attributeSetsRespondToAttributes() const override;

  void queueScript(SearchScript script);
  void setDefaultScript(SearchScript script);
  void setCapabilities(FakeSearchQueryCapabilities capabilities);
  void setReturnsNullQueries(bool refuses);
  void setAttributeSetsRespondToAttributes(bool responds);

  std::vector<QueryRequest> requests() const;
  // The query of the most recent request that made one, while anyone holds it; else null.
  std::shared_ptr<FakeSearchQuery> lastQuery() const;

 private:
  mutable std::mutex mutex_;
  // Guarded by mutex_.
  std::deque<SearchScript> queuedScripts_;
  SearchScript defaultScript_;
  FakeSearchQueryCapabilities capabilities_;
  bool refuses_ = false;
  std::vector<QueryRequest> requests_;

  std::atomic<bool> attributeSetsRespond_{true};
  // Last member: stopped and joined first, while everything above is still whole.
  std::shared_ptr<QueryThreads> threads_;
};

}  // namespace trovadex::platform::fake
