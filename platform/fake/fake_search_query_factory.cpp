#include "platform/fake/fake_search_query_factory.hpp"

#include <utility>

#include "platform/fake/query_threads.hpp"

namespace trovadex::platform::fake {

FakeSearchQueryFactory::FakeSearchQueryFactory() : threads_(std::make_shared<QueryThreads>()) {}

FakeSearchQueryFactory::~FakeSearchQueryFactory() { threads_->stopAndJoinAll(); }

std::shared_ptr<SearchQuery> FakeSearchQueryFactory::makeQuery(
    const std::string& queryString, const std::optional<std::vector<std::string>>& attributes) {
  std::lock_guard lock(mutex_);
  QueryRequest request{queryString, attributes, refuses_, {}};
  if (refuses_) {
    requests_.push_back(std::move(request));
    return nullptr;
  }
  SearchScript script = defaultScript_;
  if (!queuedScripts_.empty()) {
    script = std::move(queuedScripts_.front());
    queuedScripts_.pop_front();
  }
  auto query = std::make_shared<FakeSearchQuery>(queryString, attributes, capabilities_,
                                                 std::move(script), threads_);
  request.query = query;
  requests_.push_back(std::move(request));
  return query;
}

bool FakeSearchQueryFactory::attributeSetsRespondToAttributes() const {
  return attributeSetsRespond_.load();
}

void FakeSearchQueryFactory::queueScript(SearchScript script) {
  std::lock_guard lock(mutex_);
  queuedScripts_.push_back(std::move(script));
}

void FakeSearchQueryFactory::setDefaultScript(SearchScript script) {
  std::lock_guard lock(mutex_);
  defaultScript_ = std::move(script);
}

void FakeSearchQueryFactory::setCapabilities(FakeSearchQueryCapabilities capabilities) {
  std::lock_guard lock(mutex_);
  capabilities_ = capabilities;
}

void FakeSearchQueryFactory::setReturnsNullQueries(bool refuses) {
  std::lock_guard lock(mutex_);
  refuses_ = refuses;
}

void FakeSearchQueryFactory::setAttributeSetsRespondToAttributes(bool responds) {
  attributeSetsRespond_.store(responds);
}

std::vector<QueryRequest> FakeSearchQueryFactory::requests() const {
  std::lock_guard lock(mutex_);
  return requests_;
}

std::shared_ptr<FakeSearchQuery> FakeSearchQueryFactory::lastQuery() const {
  std::lock_guard lock(mutex_);
  for (auto it = requests_.rbegin(); it != requests_.rend(); ++it) {
    if (!it->refused) return it->query.lock();
  }
  return nullptr;
}

}  // namespace trovadex::platform::fake
