#include "spotlight/engine_search_query.hpp"

#include <cstdio>

namespace trovadex::spotlight {
namespace {

// The live switch of one query; it takes effect when set before start().
class LiveQueryContext final : public platform::SearchQueryContext {
 public:
  explicit LiveQueryContext(std::shared_ptr<QueryCore> core) : core_(std::move(core)) {}
  bool respondsToSetLive() const override { return true; }
  void setLive(bool live) override { core_->setLive(live); }
  bool live() const override { return core_->live(); }

 private:
  const std::shared_ptr<QueryCore> core_;
};

}  // namespace

EngineSearchQuery::EngineSearchQuery(std::shared_ptr<QueryCore> core)
    : core_(std::move(core)), context_(std::make_shared<LiveQueryContext>(core_)) {}

EngineSearchQuery::~EngineSearchQuery() { core_->abandon(); }

void EngineSearchQuery::setFoundItemsHandler(FoundItemsHandler handler) {
  core_->setFoundItemsHandler(std::move(handler));
}
void EngineSearchQuery::setCompletionHandler(CompletionHandler handler) {
  core_->setCompletionHandler(std::move(handler));
}
void EngineSearchQuery::setRemovedItemsHandler(RemovedItemsHandler handler) {
  core_->setRemovedItemsHandler(std::move(handler));
}
void EngineSearchQuery::setGatherEndedHandler(GatherEndedHandler handler) {
  core_->setGatherEndedHandler(std::move(handler));
}

void EngineSearchQuery::start() { core_->start(weak_from_this()); }
void EngineSearchQuery::cancel() { core_->cancel(); }
bool EngineSearchQuery::isCancelled() const { return core_->isCancelled(); }
std::uint64_t EngineSearchQuery::foundItemCount() const { return core_->foundItemCount(); }
std::string EngineSearchQuery::queryString() const { return core_->queryString(); }

foundation::Value EngineSearchQuery::fetchAttributes() const {
  const auto& names = core_->fetchAttributes();
  if (!names) return {};
  foundation::Value::Array array(names->begin(), names->end());
  return foundation::Value(std::move(array));
}

std::string EngineSearchQuery::description() const {
  char address[32];
  std::snprintf(address, sizeof address, "%p", static_cast<const void*>(this));
  return std::string("<CSSearchQuery: ") + address + "; queryString: " + core_->queryString() + ">";
}

std::shared_ptr<platform::SearchQuery> EngineSearchQueryFactory::makeQuery(
    const std::string& queryString, const std::optional<std::vector<std::string>>& attributes) {
  auto core = std::make_shared<QueryCore>(engine_, queryString, attributes);
  return std::make_shared<EngineSearchQuery>(std::move(core));
}

}  // namespace trovadex::spotlight
