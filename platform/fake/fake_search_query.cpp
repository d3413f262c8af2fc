#include "platform/fake/fake_search_query.hpp"

#include <condition_variable>
#include <deque>
#include <mutex>
#include <utility>

#include "platform/fake/query_threads.hpp"

namespace trovadex::platform::fake {

struct FakeSearchQuery::State {
  explicit State(std::uint64_t queryId) : id(queryId) {}

  const std::uint64_t id;
  mutable std::mutex mutex;
  mutable std::condition_variable changed;
  // Set under mutex; read without it by isCancelled() and by a gate's wait.
  std::atomic<bool> cancelled{false};
  std::atomic<std::uint64_t> foundItemCount{0};

  // Guarded by mutex.
  FoundItemsHandler foundItems;
  CompletionHandler completion;
  RemovedItemsHandler removedItems;
  GatherEndedHandler gatherEnded;
  std::deque<SearchScriptStep> steps;
  std::shared_ptr<ScriptGate> currentGate;
  bool started = false;
  bool waitingForSteps = false;
  bool finished = false;
  bool completionDelivered = false;
  std::thread::id thread;
  std::size_t foundItemsCalls = 0;
  std::size_t removedItemsCalls = 0;
  std::size_t gatherEndedCalls = 0;
  std::size_t completionCalls = 0;
  std::size_t unsupportedCalls = 0;
};

namespace {

using State = FakeSearchQuery::State;
using CompletionHandler = SearchQuery::CompletionHandler;

std::atomic<std::uint64_t> nextQueryId{1};

void cancelState(State& state) {
  std::shared_ptr<ScriptGate> gate;
  {
    std::lock_guard lock(state.mutex);
    if (state.cancelled.load()) return;
    state.cancelled.store(true);
    gate = state.currentGate;
  }
  state.changed.notify_all();
  if (gate) gate->wakeWaiters();
}

// A copy of the handler in member, when the query may still make that call; the call is counted
// here, under the lock that cancel() takes, so that no call is decided on after cancel returns.
template <typename Handler>
Handler takeCall(State& state, Handler State::*member, std::size_t State::*calls) {
  std::lock_guard lock(state.mutex);
  if (state.cancelled.load()) return nullptr;
  Handler handler = state.*member;
  if (handler) ++(state.*calls);
  return handler;
}

// Plays one step. Returns false when the query has ended: its completion was delivered or the
// query object is gone. The query is held for the length of each handler call, so a handler may
// drop the last other reference, and the query is then destroyed here, with no lock held.
class StepPlayer {
 public:
  StepPlayer(State& state, const std::weak_ptr<FakeSearchQuery>& query)
      : state_(state), query_(query) {}

  bool operator()(const FoundItemsStep& step) const {
    auto query = query_.lock();
    if (!query) return false;
    {
      std::lock_guard lock(state_.mutex);
      if (state_.cancelled.load()) return true;
      state_.foundItemCount.store(
          step.foundItemCount.value_or(state_.foundItemCount.load() + step.items.size()));
    }
    if (auto handler = takeCall(state_, &State::foundItems, &State::foundItemsCalls)) {
      handler(step.items);
    }
    return true;
  }

  bool operator()(const RemovedItemsStep& step) const {
    auto query = query_.lock();
    if (!query) return false;
    if (auto handler = takeCall(state_, &State::removedItems, &State::removedItemsCalls)) {
      handler(step.identifiers);
    }
    return true;
  }

  bool operator()(const GatherEndedStep&) const {
    auto query = query_.lock();
    if (!query) return false;
    if (auto handler = takeCall(state_, &State::gatherEnded, &State::gatherEndedCalls)) {
      handler();
    }
    return true;
  }

  bool operator()(const CompletionStep& step) const {
    auto query = query_.lock();
    if (!query) return false;
    CompletionHandler handler;
    {
      std::lock_guard lock(state_.mutex);
      // A cancelled query completes with the cancelled error instead, after the loop.
      if (state_.cancelled.load()) return true;
      state_.completionDelivered = true;
      handler = state_.completion;
      if (handler) ++state_.completionCalls;
    }
    if (handler) handler(step.error);
    return false;
  }

  bool operator()(const GateStep& step) const {
    if (!step.gate) return true;
    {
      std::lock_guard lock(state_.mutex);
      if (state_.cancelled.load()) return true;
      state_.currentGate = step.gate;
    }
    step.gate->passWhenReleased(state_.cancelled);
    std::lock_guard lock(state_.mutex);
    state_.currentGate.reset();
    return true;
  }

 private:
  State& state_;
  const std::weak_ptr<FakeSearchQuery>& query_;
};

void deliverCancelledCompletion(State& state, const std::weak_ptr<FakeSearchQuery>& weakQuery) {
  auto query = weakQuery.lock();
  if (!query) return;
  CompletionHandler handler;
  {
    std::lock_guard lock(state.mutex);
    if (!state.cancelled.load() || state.completionDelivered) return;
    state.completionDelivered = true;
    handler = state.completion;
    if (handler) ++state.completionCalls;
  }
  if (handler) handler(searchQueryCancelledError());
}

void playScript(const std::shared_ptr<State>& state,
                const std::weak_ptr<FakeSearchQuery>& weakQuery) {
  {
    std::lock_guard lock(state->mutex);
    state->thread = std::this_thread::get_id();
  }
  for (bool running = true; running;) {
    SearchScriptStep step;
    {
      std::unique_lock lock(state->mutex);
      state->waitingForSteps = true;
      state->changed.notify_all();
      state->changed.wait(lock, [&] { return state->cancelled.load() || !state->steps.empty(); });
      state->waitingForSteps = false;
      if (state->cancelled.load()) break;
      step = std::move(state->steps.front());
      state->steps.pop_front();
    }
    running = std::visit(StepPlayer(*state, weakQuery), step);
  }
  deliverCancelledCompletion(*state, weakQuery);
  {
    std::lock_guard lock(state->mutex);
    state->finished = true;
  }
  state->changed.notify_all();
}

}  // namespace

foundation::Error searchQueryCancelledError() {
  return foundation::Error{std::string(kSearchQueryErrorDomain), kSearchQueryErrorCancelled,
                           "The operation couldn't be completed. (CSSearchQueryErrorDomain error "
                           "-2003.)"};
}

void FakeSearchQueryContext::setLive(bool live) {
  if (!respondsToSetLive_) {
    unsupportedCalls_.fetch_add(1);
    return;
  }
  live_.store(live);
}

FakeSearchQuery::FakeSearchQuery(std::string queryString,
                                 std::optional<std::vector<std::string>> attributes,
                                 FakeSearchQueryCapabilities capabilities, SearchScript script,
                                 std::weak_ptr<QueryThreads> threads)
    : queryString_(std::move(queryString)),
      attributes_(std::move(attributes)),
      capabilities_(capabilities),
      context_(capabilities.context == QueryContextKind::None
                   ? nullptr
                   : std::make_shared<FakeSearchQueryContext>(capabilities.context ==
                                                              QueryContextKind::Live)),
      threads_(std::move(threads)),
      state_(std::make_shared<State>(nextQueryId.fetch_add(1))) {
  state_->steps.assign(std::make_move_iterator(script.begin()),
                       std::make_move_iterator(script.end()));
}

FakeSearchQuery::~FakeSearchQuery() {
  // Nothing may be called once the query is gone; the handlers die here, outside the lock.
  FoundItemsHandler foundItems;
  CompletionHandler completion;
  RemovedItemsHandler removedItems;
  GatherEndedHandler gatherEnded;
  {
    std::lock_guard lock(state_->mutex);
    foundItems = std::move(state_->foundItems);
    completion = std::move(state_->completion);
    removedItems = std::move(state_->removedItems);
    gatherEnded = std::move(state_->gatherEnded);
    state_->foundItems = nullptr;
    state_->completion = nullptr;
    state_->removedItems = nullptr;
    state_->gatherEnded = nullptr;
  }
  cancelState(*state_);
  if (auto threads = threads_.lock()) threads->release(state_->id);
}

namespace {

template <typename Handler>
void replaceHandler(State& state, Handler State::*member, Handler handler) {
  {
    std::lock_guard lock(state.mutex);
    std::swap(state.*member, handler);
  }
  // The former handler is destroyed here, outside the lock.
}

}  // namespace

void FakeSearchQuery::setFoundItemsHandler(FoundItemsHandler handler) {
  replaceHandler(*state_, &State::foundItems, std::move(handler));
}

void FakeSearchQuery::setCompletionHandler(CompletionHandler handler) {
  replaceHandler(*state_, &State::completion, std::move(handler));
}

bool FakeSearchQuery::respondsToSetRemovedItemsHandler() const {
  return capabilities_.respondsToSetRemovedItemsHandler;
}

void FakeSearchQuery::setRemovedItemsHandler(RemovedItemsHandler handler) {
  if (!capabilities_.respondsToSetRemovedItemsHandler) {
    std::lock_guard lock(state_->mutex);
    ++state_->unsupportedCalls;
    return;
  }
  replaceHandler(*state_, &State::removedItems, std::move(handler));
}

bool FakeSearchQuery::respondsToSetGatherEndedHandler() const {
  return capabilities_.respondsToSetGatherEndedHandler;
}

void FakeSearchQuery::setGatherEndedHandler(GatherEndedHandler handler) {
  if (!capabilities_.respondsToSetGatherEndedHandler) {
    std::lock_guard lock(state_->mutex);
    ++state_->unsupportedCalls;
    return;
  }
  replaceHandler(*state_, &State::gatherEnded, std::move(handler));
}

void FakeSearchQuery::start() {
  {
    std::lock_guard lock(state_->mutex);
    if (state_->started || state_->cancelled.load()) return;
    state_->started = true;
  }
  auto threads = threads_.lock();
  if (!threads) return;  // the engine has shut down
  std::weak_ptr<State> weakState = state_;
  threads->launch(
      state_->id, [state = state_, query = weak_from_this()] { playScript(state, query); },
      [weakState] {
        if (auto state = weakState.lock()) cancelState(*state);
      });
}

void FakeSearchQuery::cancel() { cancelState(*state_); }

bool FakeSearchQuery::isCancelled() const { return state_->cancelled.load(); }

std::uint64_t FakeSearchQuery::foundItemCount() const { return state_->foundItemCount.load(); }

foundation::Value FakeSearchQuery::fetchAttributes() const {
  if (!attributes_) return {};
  foundation::Value::Array names(attributes_->begin(), attributes_->end());
  return foundation::Value(std::move(names));
}

std::string FakeSearchQuery::description() const {
  return "<FakeSearchQuery: " + queryString_ + ">";
}

void FakeSearchQuery::appendSteps(const SearchScript& steps) {
  {
    std::lock_guard lock(state_->mutex);
    state_->steps.insert(state_->steps.end(), steps.begin(), steps.end());
  }
  state_->changed.notify_all();
}

bool FakeSearchQuery::waitUntilIdle(std::chrono::milliseconds timeout) const {
  std::unique_lock lock(state_->mutex);
  return state_->changed.wait_for(lock, timeout, [&] {
    return state_->finished || (state_->waitingForSteps && state_->steps.empty());
  });
}

bool FakeSearchQuery::waitUntilFinished(std::chrono::milliseconds timeout) const {
  std::unique_lock lock(state_->mutex);
  return state_->changed.wait_for(lock, timeout, [&] { return state_->finished; });
}

bool FakeSearchQuery::isStarted() const {
  std::lock_guard lock(state_->mutex);
  return state_->started;
}

std::thread::id FakeSearchQuery::threadId() const {
  std::lock_guard lock(state_->mutex);
  return state_->thread;
}

bool FakeSearchQuery::hasFoundItemsHandler() const {
  std::lock_guard lock(state_->mutex);
  return static_cast<bool>(state_->foundItems);
}

bool FakeSearchQuery::hasCompletionHandler() const {
  std::lock_guard lock(state_->mutex);
  return static_cast<bool>(state_->completion);
}

bool FakeSearchQuery::hasRemovedItemsHandler() const {
  std::lock_guard lock(state_->mutex);
  return static_cast<bool>(state_->removedItems);
}

bool FakeSearchQuery::hasGatherEndedHandler() const {
  std::lock_guard lock(state_->mutex);
  return static_cast<bool>(state_->gatherEnded);
}

std::size_t FakeSearchQuery::foundItemsCallCount() const {
  std::lock_guard lock(state_->mutex);
  return state_->foundItemsCalls;
}

std::size_t FakeSearchQuery::removedItemsCallCount() const {
  std::lock_guard lock(state_->mutex);
  return state_->removedItemsCalls;
}

std::size_t FakeSearchQuery::gatherEndedCallCount() const {
  std::lock_guard lock(state_->mutex);
  return state_->gatherEndedCalls;
}

std::size_t FakeSearchQuery::completionCallCount() const {
  std::lock_guard lock(state_->mutex);
  return state_->completionCalls;
}

std::size_t FakeSearchQuery::unsupportedCallCount() const {
  std::lock_guard lock(state_->mutex);
  return state_->unsupportedCalls + (context_ ? context_->unsupportedCallCount() : 0);
}

}  // namespace trovadex::platform::fake
