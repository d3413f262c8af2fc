// Queries on the engine's threads: deliveries, errors, fetched attributes, live updates,
// cancellation from every side, and shutdown. Every wait has a deadline that fails the test.
#include <gtest/gtest.h>

#include <atomic>
#include <chrono>
#include <condition_variable>
#include <filesystem>
#include <functional>
#include <mutex>
#include <set>
#include <string>
#include <thread>
#include <vector>

#include "foundation/clock.hpp"
#include "spotlight/engine.hpp"

namespace trovadex::spotlight {
namespace {

using foundation::Value;
using namespace std::chrono_literals;

constexpr auto kDeadline = 20s;

platform::SearchableItem mail(const std::string& id, Value::Dictionary attributes) {
  platform::SearchableItem item;
  item.uniqueIdentifier = id;
  item.domainIdentifier = "inbox";
  attributes.emplace("kMDItemContentType", "public.email-message");
  item.attributeSet.attributes = std::move(attributes);
  return item;
}

// Everything a query reported, in order, with a way to wait for a condition on it. The
// handlers share the record's state, so a late call after the test's end stays harmless.
class Recorder {
 public:
  struct Event {
    enum class Kind { Found, Removed, GatherEnded, Completed };
    Kind kind;
    std::vector<std::string> identifiers;
    platform::SearchableItems items;
    std::uint64_t countAtDelivery = 0;
    std::optional<foundation::Error> error;
  };

  void attach(platform::SearchQuery& query) {
    std::weak_ptr<State> state = state_;
    platform::SearchQuery* raw = &query;
    query.setFoundItemsHandler([state, raw](const platform::SearchableItems& items) {
      Event e{Event::Kind::Found};
      for (const auto& item : items) e.identifiers.push_back(item.uniqueIdentifier);
      e.items = items;
      e.countAtDelivery = raw->foundItemCount();
      if (auto s = state.lock()) s->record(std::move(e));
    });
    query.setRemovedItemsHandler([state](const Value& identifiers) {
      Event e{Event::Kind::Removed};
      for (std::size_t i = 0; i < identifiers.count(); ++i) {
        e.identifiers.push_back(*identifiers.at(i).asString());
      }
      if (auto s = state.lock()) s->record(std::move(e));
    });
    query.setGatherEndedHandler([state] {
      if (auto s = state.lock()) s->record(Event{Event::Kind::GatherEnded});
    });
    query.setCompletionHandler([state](const std::optional<foundation::Error>& error) {
      Event e{Event::Kind::Completed};
      e.error = error;
      if (auto s = state.lock()) s->record(std::move(e));
    });
  }

  void record(Event event) { state_->record(std::move(event)); }

  bool waitFor(const std::function<bool(const std::vector<Event>&)>& condition) {
    std::unique_lock<std::mutex> lock(state_->mutex);
    return state_->changed.wait_for(lock, kDeadline, [&] { return condition(state_->events); });
  }
  bool waitForKind(Event::Kind kind, std::size_t count = 1) {
    return waitFor(
        [&](const std::vector<Event>& events) { return countOf(events, kind) >= count; });
  }
  static std::size_t countOf(const std::vector<Event>& events, Event::Kind kind) {
    std::size_t n = 0;
    for (const Event& e : events) n += e.kind == kind;
    return n;
  }
  std::vector<Event> events() {
    std::lock_guard<std::mutex> lock(state_->mutex);
    return state_->events;
  }
  static std::set<std::string> foundIn(const std::vector<Event>& events) {
    std::set<std::string> out;
    for (const Event& e : events) {
      if (e.kind == Event::Kind::Found) out.insert(e.identifiers.begin(), e.identifiers.end());
    }
    return out;
  }
  std::set<std::string> foundIdentifiers() { return foundIn(events()); }
  bool overlapped() const { return state_->overlapped; }

 private:
  struct State {
    std::mutex mutex;
    std::condition_variable changed;
    std::vector<Event> events;
    std::atomic<int> inHandler{0};
    std::atomic<bool> overlapped{false};

    void record(Event event) {
      if (inHandler.fetch_add(1) != 0) overlapped = true;
      {
        std::lock_guard<std::mutex> lock(mutex);
        events.push_back(std::move(event));
      }
      changed.notify_all();
      inHandler.fetch_sub(1);
    }
  };
  std::shared_ptr<State> state_ = std::make_shared<State>();
};

using Kind = Recorder::Event::Kind;

class SearchQueryTest : public testing::Test {
 protected:
  void SetUp() override { open(EngineOptions{}); }
  void TearDown() override {
    engine_.reset();
    for (const char* suffix : {"", "-wal", "-shm"}) std::filesystem::remove(path_ + suffix);
  }

  void open(EngineOptions options) {
    engine_.reset();
    path_ = (std::filesystem::path(testing::TempDir()) /
             ("spotlight-queries-" + std::to_string(::getpid()) + ".db"))
                .string();
    for (const char* suffix : {"", "-wal", "-shm"}) std::filesystem::remove(path_ + suffix);
    options.clock = clock_;
    options.timeZone = "UTC";
    auto engine = Engine::open(path_, std::move(options));
    ASSERT_TRUE(engine.ok());
    engine_ = std::move(engine.value());
    index_ = engine_->indexFactory()->indexWithName("mail");
  }

  // Applies a change and waits for its completion.
  void change(const std::function<void(platform::SearchableIndex::Completion)>& call) {
    std::mutex mutex;
    std::condition_variable done;
    bool finished = false;
    std::optional<foundation::Error> error;
    call([&](const std::optional<foundation::Error>& e) {
      std::lock_guard<std::mutex> lock(mutex);
      error = e;
      finished = true;
      done.notify_all();
    });
    std::unique_lock<std::mutex> lock(mutex);
    ASSERT_TRUE(done.wait_for(lock, kDeadline, [&] { return finished; }));
    EXPECT_FALSE(error.has_value()) << error->description();
  }
  void add(const platform::SearchableItems& items) {
    change([&](auto completion) { index_->indexSearchableItems(items, completion); });
  }
  void remove(const std::vector<std::string>& ids) {
    change([&](auto completion) { index_->deleteSearchableItemsWithIdentifiers(ids, completion); });
  }

  std::shared_ptr<platform::SearchQuery> query(
      const std::string& text, std::optional<std::vector<std::string>> fetch = std::nullopt) {
    return engine_->queryFactory()->makeQuery(text, fetch);
  }

  std::shared_ptr<foundation::ManualClock> clock_ = std::make_shared<foundation::ManualClock>();
  std::string path_;
  std::unique_ptr<Engine> engine_;
  std::shared_ptr<platform::SearchableIndex> index_;
};

TEST_F(SearchQueryTest, DeliversMatchesInBoundedBatchesThenCompletes) {
  EngineOptions options;
  options.firstDeliveryCount = 5;
  options.deliveryCount = 40;
  options.deliveryCap = 40;
  open(options);
  platform::SearchableItems items;
  for (int i = 0; i < 300; ++i) {
    items.push_back(mail("m" + std::to_string(i),
                         {{"kMDItemSubject", i % 3 == 0 ? "Lunch plans" : "Other business"}}));
  }
  add(items);
  auto q =
      query(R"((kMDItemContentType = "public.email-message") && (kMDItemSubject == "lunch*"cdw))");
  Recorder recorder;
  recorder.attach(*q);
  q->start();
  ASSERT_TRUE(recorder.waitForKind(Kind::Completed));
  const auto events = recorder.events();
  ASSERT_GE(events.size(), 4u);
  EXPECT_EQ(events.front().identifiers.size(), 5u);  // the first delivery comes early
  std::uint64_t delivered = 0;
  for (std::size_t i = 0; i + 1 < events.size(); ++i) {
    ASSERT_EQ(events[i].kind, Kind::Found);
    EXPECT_LE(events[i].identifiers.size(), 40u);
    delivered += events[i].identifiers.size();
    EXPECT_EQ(events[i].countAtDelivery, delivered);  // the count grew before the call
  }
  EXPECT_EQ(delivered, 100u);
  EXPECT_EQ(recorder.foundIdentifiers().size(), 100u);
  EXPECT_FALSE(events.back().error.has_value());
  EXPECT_EQ(q->foundItemCount(), 100u);
  EXPECT_FALSE(recorder.overlapped());
}

// While a slow handler runs, the gather goes on and the next delivery holds what was found
// meanwhile; no delivery but the last is a handful of items, and none passes the cap.
TEST_F(SearchQueryTest, DeliveriesGrowWhileASlowHandlerRuns) {
  EngineOptions options;
  options.firstDeliveryCount = 10;
  options.firstDeliveryInterval = std::chrono::hours(1);
  options.deliveryCount = 200;
  options.deliveryInterval = std::chrono::hours(1);
  options.deliveryCap = 1500;
  open(options);
  platform::SearchableItems items;
  for (int i = 0; i < 4000; ++i) {
    items.push_back(mail("m" + std::to_string(i), {{"kMDItemSubject", "Weekly report"}}));
  }
  add(items);
  auto q = query(R"(kMDItemContentType == "public.email-message")",
                 std::vector<std::string>{"kMDItemSubject"});
  std::mutex mutex;
  std::condition_variable changed;
  std::vector<std::size_t> sizes;
  bool completed = false;
  q->setFoundItemsHandler([&](const platform::SearchableItems& found) {
    bool first = false;
    {
      std::lock_guard<std::mutex> lock(mutex);
      sizes.push_back(found.size());
      first = sizes.size() == 1;
    }
    if (first) std::this_thread::sleep_for(100ms);  // a handler that takes its time
  });
  q->setCompletionHandler([&](const std::optional<foundation::Error>& error) {
    EXPECT_FALSE(error.has_value());
    std::lock_guard<std::mutex> lock(mutex);
    completed = true;
    changed.notify_all();
  });
  q->start();
  std::unique_lock<std::mutex> lock(mutex);
  ASSERT_TRUE(changed.wait_for(lock, kDeadline, [&] { return completed; }));
  ASSERT_GE(sizes.size(), 3u);
  EXPECT_EQ(sizes.front(), 10u);  // the first delivery comes early
  EXPECT_GT(sizes[1], 200u);      // what the gather found while the first handler ran
  std::size_t total = 0;
  for (std::size_t i = 0; i < sizes.size(); ++i) {
    total += sizes[i];
    EXPECT_LE(sizes[i], 1500u);
    if (i > 0 && i + 1 < sizes.size()) EXPECT_GE(sizes[i], 200u) << "delivery " << i;
  }
  EXPECT_EQ(total, 4000u);
}

TEST_F(SearchQueryTest, ReportsAMalformedQueryThroughTheCompletionOnly) {
  add({mail("m1", {{"kMDItemSubject", "x"}})});
  for (const std::string text : {R"(kMDItemSubject == "x)", "", "a == $time.fortnight"}) {
    auto q = query(text);
    ASSERT_NE(q, nullptr);
    Recorder recorder;
    recorder.attach(*q);
    q->start();
    ASSERT_TRUE(recorder.waitForKind(Kind::Completed)) << text;
    const auto events = recorder.events();
    ASSERT_EQ(events.size(), 1u) << text;
    ASSERT_TRUE(events[0].error.has_value());
    EXPECT_EQ(events[0].error->domain, "CSSearchQueryErrorDomain");
    EXPECT_EQ(events[0].error->code, -2002);
    EXPECT_NE(events[0].error->localizedDescription.find("at byte"), std::string::npos);
  }
}

TEST_F(SearchQueryTest, DeliversOnlyTheFetchedAttributesAndTheFilePath) {
  add({mail("m1", {{"kMDItemSubject", "Hello"},
                   {"kMDItemAuthors", Value::Array{"Zoë"}},
                   {"kMDItemTextContent", "body words"},
                   {"kMDItemPath", "/mail/1.emlx"},
                   {"_kMDItemExternalID", Value::integer(1)}})});
  auto q = query(R"(kMDItemTextContent == "words")",
                 std::vector<std::string>{"subject", "kMDItemAuthors", "kMDItemTextContent",
                                          "_kMDItemExternalID", "kMDItemMissing"});
  Recorder recorder;
  recorder.attach(*q);
  q->start();
  ASSERT_TRUE(recorder.waitForKind(Kind::Completed));
  const auto events = recorder.events();
  ASSERT_EQ(events.front().kind, Kind::Found);
  const platform::SearchableItem& item = events.front().items.at(0);
  const Value::Dictionary expected{{"subject", "Hello"},
                                   {"kMDItemAuthors", Value::Array{"Zoë"}},
                                   {"_kMDItemExternalID", Value::integer(1)}};
  EXPECT_EQ(Value(item.attributeSet.attributes), Value(expected));
  EXPECT_EQ(item.filePath, "/mail/1.emlx");
  EXPECT_EQ(item.domainIdentifier, "inbox");
  EXPECT_EQ(q->fetchAttributes().count(), 5u);

  auto bare = query(R"(kMDItemSubject == "Hello")");
  Recorder bareRecorder;
  bareRecorder.attach(*bare);
  bare->start();
  ASSERT_TRUE(bareRecorder.waitForKind(Kind::Completed));
  EXPECT_TRUE(bareRecorder.events().front().items.at(0).attributeSet.attributes.empty());
  EXPECT_TRUE(bare->fetchAttributes().isNil());
}

TEST_F(SearchQueryTest, LiveQueryFollowsAdditionsUpdatesAndDeletions) {
  add({mail("a", {{"kMDItemSubject", "Invoice 1"}}), mail("b", {{"kMDItemSubject", "Lunch"}})});
  auto q = query(R"(kMDItemSubject == "invoice*"cdw)");
  ASSERT_TRUE(q->queryContext()->respondsToSetLive());
  q->queryContext()->setLive(true);
  Recorder recorder;
  recorder.attach(*q);
  q->start();
  ASSERT_TRUE(recorder.waitForKind(Kind::GatherEnded));
  EXPECT_EQ(recorder.foundIdentifiers(), (std::set<std::string>{"a"}));

  add({mail("c", {{"kMDItemSubject", "Invoice 2"}})});  // new and matching
  ASSERT_TRUE(recorder.waitForKind(Kind::Found, 2));
  add({mail("b", {{"kMDItemSubject", "Invoice for lunch"}})});  // updated into the set
  ASSERT_TRUE(recorder.waitForKind(Kind::Found, 3));
  add({mail("a", {{"kMDItemSubject", "Paid"}})});  // updated out of the set
  ASSERT_TRUE(recorder.waitForKind(Kind::Removed, 1));
  add({mail("d", {{"kMDItemSubject", "Unrelated"}})});  // never matches
  remove({"c"});                                        // deleted
  ASSERT_TRUE(recorder.waitForKind(Kind::Removed, 2));

  const auto events = recorder.events();
  std::vector<std::pair<Kind, std::vector<std::string>>> sequence;
  for (const auto& e : events) sequence.emplace_back(e.kind, e.identifiers);
  const std::vector<std::pair<Kind, std::vector<std::string>>> expected = {
      {Kind::Found, {"a"}}, {Kind::GatherEnded, {}}, {Kind::Found, {"c"}},
      {Kind::Found, {"b"}}, {Kind::Removed, {"a"}},  {Kind::Removed, {"c"}}};
  EXPECT_EQ(sequence, expected);
  EXPECT_EQ(q->foundItemCount(), 3u);
  EXPECT_FALSE(q->isCancelled());

  q->cancel();
  ASSERT_TRUE(recorder.waitForKind(Kind::Completed));
  EXPECT_EQ(recorder.events().back().error->code, -2003);
  add({mail("e", {{"kMDItemSubject", "Invoice 3"}})});  // no longer reported
  EXPECT_EQ(Recorder::countOf(recorder.events(), Kind::Found), 3u);
}

TEST_F(SearchQueryTest, AHandlerMayCancelItsOwnQueryMidStream) {
  EngineOptions options;
  options.firstDeliveryCount = 1;
  options.deliveryCount = 1;
  open(options);
  platform::SearchableItems items;
  for (int i = 0; i < 200; ++i)
    items.push_back(mail("m" + std::to_string(i), {{"kMDItemSubject", "same"}}));
  add(items);
  auto q = query(R"(kMDItemSubject == "same")");
  Recorder recorder;
  std::weak_ptr<platform::SearchQuery> weak = q;
  recorder.attach(*q);
  q->setFoundItemsHandler([recorder, weak](const platform::SearchableItems& found) mutable {
    Recorder::Event e{Kind::Found};
    e.identifiers = {found.at(0).uniqueIdentifier};
    recorder.record(std::move(e));
    if (auto self = weak.lock()) self->cancel();
  });
  q->start();
  ASSERT_TRUE(recorder.waitForKind(Kind::Completed));
  const auto events = recorder.events();
  ASSERT_EQ(events.size(), 2u);
  EXPECT_EQ(events[0].kind, Kind::Found);
  EXPECT_EQ(events[1].error->domain, "CSSearchQueryErrorDomain");
  EXPECT_EQ(events[1].error->code, -2003);
  EXPECT_TRUE(q->isCancelled());
}

TEST_F(SearchQueryTest, CancelNeverWaitsForARunningHandlerAndNothingFollowsIt) {
  EngineOptions options;
  options.firstDeliveryCount = 1;
  options.deliveryCount = 1;
  open(options);
  platform::SearchableItems items;
  for (int i = 0; i < 50; ++i)
    items.push_back(mail("m" + std::to_string(i), {{"kMDItemSubject", "same"}}));
  add(items);
  auto q = query(R"(kMDItemSubject == "same")");
  Recorder recorder;
  recorder.attach(*q);
  std::mutex gateMutex;
  std::condition_variable gate;
  bool inside = false;
  bool release = false;
  std::atomic<int> foundCalls{0};
  q->setFoundItemsHandler([&](const platform::SearchableItems&) {
    foundCalls.fetch_add(1);
    std::unique_lock<std::mutex> lock(gateMutex);
    inside = true;
    gate.notify_all();
    gate.wait_for(lock, kDeadline, [&] { return release; });
  });
  q->start();
  {
    std::unique_lock<std::mutex> lock(gateMutex);
    ASSERT_TRUE(gate.wait_for(lock, kDeadline, [&] { return inside; }));
  }
  // The handler is blocked on this thread's say-so: cancel must return regardless.
  q->cancel();
  const int callsAtCancel = foundCalls.load();
  {
    std::lock_guard<std::mutex> lock(gateMutex);
    release = true;
  }
  gate.notify_all();
  ASSERT_TRUE(recorder.waitForKind(Kind::Completed));
  EXPECT_EQ(foundCalls.load(), callsAtCancel);
  EXPECT_EQ(recorder.events().back().error->code, -2003);
  EXPECT_EQ(Recorder::countOf(recorder.events(), Kind::Completed), 1u);
}

TEST_F(SearchQueryTest, DetachedHandlersHearNothingAfterCancel) {
  add({mail("m1", {{"kMDItemSubject", "x"}})});
  auto q = query(R"(kMDItemSubject == "x")");
  q->queryContext()->setLive(true);
  Recorder recorder;
  recorder.attach(*q);
  q->start();
  ASSERT_TRUE(recorder.waitForKind(Kind::GatherEnded));
  q->setFoundItemsHandler(nullptr);
  q->setCompletionHandler(nullptr);
  q->setRemovedItemsHandler(nullptr);
  q->setGatherEndedHandler(nullptr);
  q->cancel();
  // A later query on the same queue completes after the cancelled one's completion would have.
  auto probe = query(R"(kMDItemSubject == "x")");
  Recorder probeRecorder;
  probeRecorder.attach(*probe);
  probe->start();
  ASSERT_TRUE(probeRecorder.waitForKind(Kind::Completed));
  engine_->shutdown();
  EXPECT_EQ(recorder.events().size(), 2u);  // the found item and gather-ended only
}

TEST_F(SearchQueryTest, DroppingTheLastReferenceCancelsARunningQuery) {
  add({mail("m1", {{"kMDItemSubject", "x"}})});
  Recorder recorder;
  {
    auto q = query(R"(kMDItemSubject == "x")");
    q->queryContext()->setLive(true);
    recorder.attach(*q);
    q->start();
    ASSERT_TRUE(recorder.waitForKind(Kind::GatherEnded));
  }
  ASSERT_TRUE(recorder.waitForKind(Kind::Completed));
  EXPECT_EQ(recorder.events().back().error->code, -2003);
  // A query dropped before it starts just goes quiet.
  Recorder unstarted;
  {
    query(R"(kMDItemSubject == "x")")->setCompletionHandler([&](const auto&) {
      unstarted.record({Kind::Completed});
    });
  }
  engine_->shutdown();
  EXPECT_TRUE(unstarted.events().empty());
}

TEST_F(SearchQueryTest, ShutdownCancelsLiveQueriesJoinsAndRefusesLaterChanges) {
  add({mail("m1", {{"kMDItemSubject", "x"}})});
  auto q = query(R"(kMDItemSubject == "x")");
  q->queryContext()->setLive(true);
  Recorder recorder;
  recorder.attach(*q);
  q->start();
  ASSERT_TRUE(recorder.waitForKind(Kind::GatherEnded));
  engine_->shutdown();
  // Shutdown returned: the cancelled completion has already been delivered.
  ASSERT_EQ(recorder.events().back().kind, Kind::Completed);
  EXPECT_EQ(recorder.events().back().error->code, -2003);
  std::optional<foundation::Error> refused;
  bool called = false;
  index_->indexSearchableItems({mail("m2", {})}, [&](const std::optional<foundation::Error>& e) {
    called = true;
    refused = e;
  });
  EXPECT_TRUE(called);
  EXPECT_TRUE(refused.has_value());
  auto late = query(R"(kMDItemSubject == "x")");
  late->start();  // does nothing, and must not crash
  late->cancel();
}

TEST_F(SearchQueryTest, ManyQueriesAndWritersAtOnceStayConsistent) {
  platform::SearchableItems seed;
  for (int i = 0; i < 100; ++i)
    seed.push_back(mail("s" + std::to_string(i), {{"kMDItemSubject", "alpha"}}));
  add(seed);
  std::vector<std::shared_ptr<platform::SearchQuery>> queries;
  std::vector<std::unique_ptr<Recorder>> recorders;
  for (int i = 0; i < 8; ++i) {
    auto q = query(R"(kMDItemSubject == "alpha")");
    q->queryContext()->setLive(i % 2 == 0);
    recorders.push_back(std::make_unique<Recorder>());
    recorders.back()->attach(*q);
    queries.push_back(q);
  }
  std::thread writer([&] {
    for (int i = 0; i < 20; ++i)
      add({mail("w" + std::to_string(i), {{"kMDItemSubject", "alpha"}})});
  });
  for (auto& q : queries) q->start();
  writer.join();
  for (std::size_t i = 0; i < queries.size(); ++i) {
    if (i % 2 == 0) {
      // A live query converges on every item, however its gather and the writes interleaved.
      ASSERT_TRUE(recorders[i]->waitFor([](const std::vector<Recorder::Event>& events) {
        return Recorder::foundIn(events).size() == 120;
      }));
    } else {
      ASSERT_TRUE(recorders[i]->waitForKind(Kind::Completed));
      EXPECT_GE(recorders[i]->foundIdentifiers().size(), 100u);
    }
    EXPECT_FALSE(recorders[i]->overlapped());
  }
  for (auto& q : queries) q->cancel();
}

TEST(EngineExplain, ExplainsPlansAndRejectsMalformedQueries) {
  const std::string path = (std::filesystem::path(testing::TempDir()) /
                            ("spotlight-explain-" + std::to_string(::getpid()) + ".db"))
                               .string();
  std::filesystem::remove(path);
  {
    auto engine = Engine::open(path);
    ASSERT_TRUE(engine.ok());
    auto explained = engine.value()->explain(R"(kMDItemSubject == "x"cdw)");
    ASSERT_TRUE(explained.ok());
    EXPECT_EQ(explained.value(), "empty");  // nothing indexed: the attribute is unknown
    auto malformed = engine.value()->explain("kMDItemSubject ==");
    ASSERT_FALSE(malformed.ok());
    EXPECT_EQ(malformed.error().code, -2002);
  }
  for (const char* suffix : {"", "-wal", "-shm"}) std::filesystem::remove(path + suffix);
}

TEST(EngineOpen, ReportsAnIndexThatCannotBeOpened) {
  auto engine = Engine::open("/nonexistent-directory/for/sure/index.db");
  ASSERT_FALSE(engine.ok());
  EXPECT_FALSE(engine.error().localizedDescription.empty());
}

}  // namespace
}  // namespace trovadex::spotlight
