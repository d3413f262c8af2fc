#include "platform/fake/fake_search_query.hpp"

#include <gtest/gtest.h>

#include <atomic>
#include <chrono>
#include <condition_variable>
#include <future>
#include <memory>
#include <mutex>
#include <set>
#include <string>
#include <thread>
#include <vector>

#include "platform/fake/fake_search_query_factory.hpp"

namespace trovadex::platform::fake {
namespace {

using foundation::Value;
using namespace std::chrono_literals;

constexpr auto kTimeout = 10s;

SearchableItems itemsNamed(std::initializer_list<const char*> names) {
  SearchableItems items;
  for (const char* name : names) items.push_back(SearchableItem{name, "mail", {}, std::nullopt});
  return items;
}

// What the handlers of one query saw, in order, and on which threads.
class Journal {
 public:
  void add(std::string event) {
    {
      std::lock_guard lock(mutex_);
      events_.push_back(std::move(event));
      threads_.insert(std::this_thread::get_id());
    }
    changed_.notify_all();
  }
  std::vector<std::string> events() const {
    std::lock_guard lock(mutex_);
    return events_;
  }
  std::set<std::thread::id> threads() const {
    std::lock_guard lock(mutex_);
    return threads_;
  }
  bool waitForCount(std::size_t count) const {
    std::unique_lock lock(mutex_);
    return changed_.wait_for(lock, kTimeout, [&] { return events_.size() >= count; });
  }

 private:
  mutable std::mutex mutex_;
  mutable std::condition_variable changed_;
  std::vector<std::string> events_;
  std::set<std::thread::id> threads_;
};

std::string describe(const std::optional<foundation::Error>& error) {
  return error ? "complete " + error->domain + " " + std::to_string(error->code) : "complete ok";
}

// Installs every handler, each writing one line to the journal.
void record(const std::shared_ptr<FakeSearchQuery>& query, Journal& journal) {
  std::weak_ptr<FakeSearchQuery> weak = query;
  query->setFoundItemsHandler([&journal, weak](const SearchableItems& items) {
    auto self = weak.lock();
    journal.add("found " + std::to_string(items.size()) + " of " +
                std::to_string(self ? self->foundItemCount() : 0));
  });
  query->setRemovedItemsHandler([&journal](const Value& identifiers) {
    journal.add("removed " + identifiers.description());
  });
  query->setGatherEndedHandler([&journal] { journal.add("gather ended"); });
  query->setCompletionHandler(
      [&journal](const std::optional<foundation::Error>& error) { journal.add(describe(error)); });
}

std::shared_ptr<FakeSearchQuery> makeQuery(FakeSearchQueryFactory& factory, SearchScript script) {
  factory.queueScript(std::move(script));
  auto query = std::dynamic_pointer_cast<FakeSearchQuery>(factory.makeQuery("q", std::nullopt));
  EXPECT_NE(query, nullptr);
  return query;
}

TEST(FakeSearchQuery, PlaysItsScriptInOrderOnOneThreadOfItsOwn) {
  FakeSearchQueryFactory factory;
  auto query =
      makeQuery(factory, {FoundItemsStep{itemsNamed({"a", "b"}), 40},
                          RemovedItemsStep{Value(Value::Array{"a"})}, GatherEndedStep{},
                          FoundItemsStep{itemsNamed({"c"}), std::nullopt},
                          CompletionStep{std::nullopt}, FoundItemsStep{itemsNamed({"x"})}});
  Journal journal;
  record(query, journal);

  query->start();
  ASSERT_TRUE(query->waitUntilFinished(kTimeout));

  // The count is the one scripted before a delivery, else the previous count plus the items;
  // nothing after the completion is played.
  EXPECT_EQ(journal.events(),
            (std::vector<std::string>{"found 2 of 40", "removed (\n    a\n)", "gather ended",
                                      "found 1 of 41", "complete ok"}));
  ASSERT_EQ(journal.threads().size(), 1u);
  EXPECT_EQ(*journal.threads().begin(), query->threadId());
  EXPECT_NE(query->threadId(), std::this_thread::get_id());
  EXPECT_FALSE(query->isCancelled());
}

TEST(FakeSearchQuery, GateHoldsTheQueryThreadUntilTheTestReleasesIt) {
  FakeSearchQueryFactory factory;
  auto gate = std::make_shared<ScriptGate>();
  auto query = makeQuery(factory, {FoundItemsStep{itemsNamed({"a"})}, GateStep{gate},
                                   FoundItemsStep{itemsNamed({"b"})}, CompletionStep{}});
  Journal journal;
  record(query, journal);

  query->start();
  ASSERT_TRUE(gate->waitUntilReached(kTimeout));
  journal.add("main-thread command");
  gate->release();
  ASSERT_TRUE(query->waitUntilFinished(kTimeout));

  EXPECT_EQ(journal.events(), (std::vector<std::string>{"found 1 of 1", "main-thread command",
                                                        "found 1 of 2", "complete ok"}));
}

TEST(FakeSearchQuery, HandlerMayCancelItsOwnQueryAndThenHearsOnlyTheCancelledCompletion) {
  FakeSearchQueryFactory factory;
  auto query = makeQuery(factory, {FoundItemsStep{itemsNamed({"a"})},
                                   FoundItemsStep{itemsNamed({"b"})}, CompletionStep{}});
  Journal journal;
  record(query, journal);
  std::weak_ptr<FakeSearchQuery> weak = query;
  query->setFoundItemsHandler([&journal, weak](const SearchableItems&) {
    journal.add("found");
    if (auto self = weak.lock()) self->cancel();  // on the query's own thread: must not block
  });

  query->start();
  ASSERT_TRUE(query->waitUntilFinished(kTimeout));

  EXPECT_EQ(journal.events(),
            (std::vector<std::string>{"found", "complete CSSearchQueryErrorDomain -2003"}));
  EXPECT_TRUE(query->isCancelled());
}

TEST(FakeSearchQuery, CancelFromAnotherThreadReturnsAtOnceAndNoDeliveryStartsAfterIt) {
  FakeSearchQueryFactory factory;
  SearchScript script;
  for (int i = 0; i < 50; ++i) script.push_back(FoundItemsStep{itemsNamed({"m"})});
  auto query = makeQuery(factory, script);

  // The tenth delivery stays in its handler until cancel() has returned on the test's thread.
  std::mutex mutex;
  std::condition_variable changed;
  bool inTenth = false;
  bool cancelReturned = false;
  bool tenthWaitedInVain = false;
  std::size_t foundCalls = 0;
  query->setFoundItemsHandler([&](const SearchableItems&) {
    std::unique_lock lock(mutex);
    if (++foundCalls != 10) return;
    inTenth = true;
    changed.notify_all();
    tenthWaitedInVain = !changed.wait_for(lock, kTimeout, [&] { return cancelReturned; });
  });
  Journal completions;
  query->setCompletionHandler(
      [&](const std::optional<foundation::Error>& error) { completions.add(describe(error)); });

  query->start();
  {
    std::unique_lock lock(mutex);
    ASSERT_TRUE(changed.wait_for(lock, kTimeout, [&] { return inTenth; }));
  }
  query->cancel();
  {
    std::lock_guard lock(mutex);
    cancelReturned = true;
  }
  changed.notify_all();
  ASSERT_TRUE(query->waitUntilFinished(kTimeout));

  std::lock_guard lock(mutex);
  EXPECT_FALSE(tenthWaitedInVain);
  EXPECT_EQ(foundCalls, 10u);
  EXPECT_EQ(query->foundItemsCallCount(), 10u);
  EXPECT_EQ(completions.events(),
            (std::vector<std::string>{"complete CSSearchQueryErrorDomain -2003"}));
}

TEST(FakeSearchQuery, CancellingALiveQueryCompletesItOnceAndOnlyIfAHandlerIsInstalled) {
  FakeSearchQueryFactory factory;
  auto live = makeQuery(factory, {FoundItemsStep{itemsNamed({"a"})}});
  Journal journal;
  record(live, journal);
  live->start();
  ASSERT_TRUE(live->waitUntilIdle(kTimeout));
  EXPECT_FALSE(live->isCancelled());

  live->cancel();
  live->cancel();
  ASSERT_TRUE(live->waitUntilFinished(kTimeout));
  EXPECT_EQ(journal.events(),
            (std::vector<std::string>{"found 1 of 1", "complete CSSearchQueryErrorDomain -2003"}));

  auto detached = makeQuery(factory, {});
  Journal quiet;
  record(detached, quiet);
  detached->setCompletionHandler(nullptr);
  detached->start();
  detached->cancel();
  ASSERT_TRUE(detached->waitUntilFinished(kTimeout));
  EXPECT_TRUE(quiet.events().empty());
  EXPECT_EQ(detached->completionCallCount(), 0u);
}

TEST(FakeSearchQuery, DroppingTheLastReferenceCancelsTheQueryAndSilencesIt) {
  FakeSearchQueryFactory factory;
  auto gate = std::make_shared<ScriptGate>();
  auto query = makeQuery(factory, {FoundItemsStep{itemsNamed({"a"})}, GateStep{gate},
                                   FoundItemsStep{itemsNamed({"b"})}, CompletionStep{}});
  Journal journal;
  record(query, journal);
  query->start();
  ASSERT_TRUE(gate->waitUntilReached(kTimeout));

  query.reset();  // joins the query's thread, which the gate must let go

  EXPECT_EQ(journal.events(), (std::vector<std::string>{"found 1 of 1"}));
  EXPECT_EQ(factory.lastQuery(), nullptr);
}

// Signals when the last copy of the handler that holds it is destroyed.
struct DestructionSignal {
  explicit DestructionSignal(std::promise<void>& promise) : promise_(promise) {}
  ~DestructionSignal() { promise_.set_value(); }
  std::promise<void>& promise_;
};

TEST(FakeSearchQuery, HandlerMayDropTheLastReferenceToItsQuery) {
  auto factory = std::make_unique<FakeSearchQueryFactory>();
  std::shared_ptr<SearchQuery> owner = makeQuery(
      *factory,
      {FoundItemsStep{itemsNamed({"a"})}, FoundItemsStep{itemsNamed({"b"})}, CompletionStep{}});
  std::mutex ownerMutex;
  std::atomic<int> foundCalls{0};
  std::atomic<int> completionCalls{0};
  std::promise<void> handlersDestroyed;
  auto signal = std::make_shared<DestructionSignal>(handlersDestroyed);
  owner->setFoundItemsHandler([&, signal](const SearchableItems&) {
    foundCalls.fetch_add(1);
    std::lock_guard lock(ownerMutex);
    owner.reset();  // the query now lives only for the length of this call
  });
  owner->setCompletionHandler(
      [&](const std::optional<foundation::Error>&) { completionCalls.fetch_add(1); });
  signal.reset();

  {
    std::lock_guard lock(ownerMutex);
    owner->start();
  }
  ASSERT_EQ(handlersDestroyed.get_future().wait_for(kTimeout), std::future_status::ready);
  factory.reset();  // joins the thread that destroyed its own query

  EXPECT_EQ(foundCalls.load(), 1);
  EXPECT_EQ(completionCalls.load(), 0);
}

TEST(FakeSearchQuery, DestroyingTheFactoryCancelsRunningQueriesAndJoinsThem) {
  auto factory = std::make_unique<FakeSearchQueryFactory>();
  auto query = makeQuery(*factory, {FoundItemsStep{itemsNamed({"a"})}});
  Journal journal;
  record(query, journal);
  query->start();
  ASSERT_TRUE(query->waitUntilIdle(kTimeout));

  factory.reset();

  EXPECT_TRUE(query->isCancelled());
  EXPECT_EQ(journal.events(),
            (std::vector<std::string>{"found 1 of 1", "complete CSSearchQueryErrorDomain -2003"}));
}

TEST(FakeSearchQuery, StepsAppendedToARunningQueryArePlayedNext) {
  FakeSearchQueryFactory factory;
  auto query = makeQuery(factory, {});
  Journal journal;
  record(query, journal);
  query->start();
  ASSERT_TRUE(query->waitUntilIdle(kTimeout));

  query->appendSteps({RemovedItemsStep{Value("not an array")}, GatherEndedStep{}});
  ASSERT_TRUE(journal.waitForCount(2));
  query->appendSteps({CompletionStep{foundation::Error{"Domain", 7, "failed"}}});
  ASSERT_TRUE(query->waitUntilFinished(kTimeout));

  EXPECT_EQ(journal.events(), (std::vector<std::string>{"removed not an array", "gather ended",
                                                        "complete Domain 7"}));
}

TEST(FakeSearchQueryFactory, RecordsRequestsAndHandsOutQueuedScriptsInOrder) {
  FakeSearchQueryFactory factory;
  factory.queueScript({FoundItemsStep{itemsNamed({"first"})}, CompletionStep{}});
  factory.setDefaultScript({CompletionStep{foundation::Error{"Default", 1, ""}}});

  auto first = std::dynamic_pointer_cast<FakeSearchQuery>(
      factory.makeQuery("kind = 1", std::vector<std::string>{"kMDItemSubject", "kMDItemPath"}));
  auto second =
      std::dynamic_pointer_cast<FakeSearchQuery>(factory.makeQuery("kind = 2", std::nullopt));
  factory.setReturnsNullQueries(true);
  EXPECT_EQ(factory.makeQuery("refused", std::nullopt), nullptr);

  const auto requests = factory.requests();
  ASSERT_EQ(requests.size(), 3u);
  EXPECT_EQ(requests[0].queryString, "kind = 1");
  EXPECT_EQ(requests[0].attributes, (std::vector<std::string>{"kMDItemSubject", "kMDItemPath"}));
  EXPECT_FALSE(requests[1].attributes.has_value());
  EXPECT_TRUE(requests[2].refused);
  EXPECT_EQ(factory.lastQuery(), second);
  EXPECT_EQ(first->fetchAttributes(), Value(Value::Array{"kMDItemSubject", "kMDItemPath"}));
  EXPECT_TRUE(second->fetchAttributes().isNil());

  Journal firstJournal;
  Journal secondJournal;
  record(first, firstJournal);
  record(second, secondJournal);
  first->start();
  second->start();
  ASSERT_TRUE(first->waitUntilFinished(kTimeout));
  ASSERT_TRUE(second->waitUntilFinished(kTimeout));
  EXPECT_EQ(firstJournal.events(), (std::vector<std::string>{"found 1 of 1", "complete ok"}));
  EXPECT_EQ(secondJournal.events(), (std::vector<std::string>{"complete Default 1"}));
}

TEST(FakeSearchQueryFactory, OptionalFacilitiesCanBeTakenAway) {
  FakeSearchQueryFactory factory;
  EXPECT_TRUE(factory.attributeSetsRespondToAttributes());
  factory.setAttributeSetsRespondToAttributes(false);
  EXPECT_FALSE(factory.attributeSetsRespondToAttributes());

  auto full = makeQuery(factory, {});
  EXPECT_TRUE(full->respondsToSetRemovedItemsHandler());
  EXPECT_TRUE(full->respondsToSetGatherEndedHandler());
  ASSERT_NE(full->queryContext(), nullptr);
  EXPECT_TRUE(full->queryContext()->respondsToSetLive());
  full->queryContext()->setLive(true);
  EXPECT_TRUE(full->context()->live());

  factory.setCapabilities({false, false, QueryContextKind::WithoutSetLive});
  auto bare = makeQuery(
      factory, {RemovedItemsStep{Value(Value::Array{"x"})}, GatherEndedStep{}, CompletionStep{}});
  EXPECT_FALSE(bare->respondsToSetRemovedItemsHandler());
  EXPECT_FALSE(bare->respondsToSetGatherEndedHandler());
  EXPECT_FALSE(bare->queryContext()->respondsToSetLive());
  Journal journal;
  record(bare, journal);  // the two unsupported setters are ignored and counted
  bare->queryContext()->setLive(true);
  EXPECT_FALSE(bare->queryContext()->live());
  EXPECT_EQ(bare->unsupportedCallCount(), 3u);
  EXPECT_FALSE(bare->hasRemovedItemsHandler());
  bare->start();
  ASSERT_TRUE(bare->waitUntilFinished(kTimeout));
  EXPECT_EQ(journal.events(), (std::vector<std::string>{"complete ok"}));

  factory.setCapabilities({true, true, QueryContextKind::None});
  EXPECT_EQ(makeQuery(factory, {})->queryContext(), nullptr);
}

}  // namespace
}  // namespace trovadex::platform::fake
