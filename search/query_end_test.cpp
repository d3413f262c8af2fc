#include <gtest/gtest.h>

#include "search/search_fixture.hpp"
#include "search/td_mail_plugin_query.hpp"

namespace trovadex::plugin {
namespace {

using foundation::Value;
using platform::fake::CompletionStep;
using platform::fake::GateStep;
using platform::fake::GatherEndedStep;
using platform::fake::RemovedItemsStep;
using platform::fake::ScriptGate;
using protocol::Message;
using protocol::PasteboardType;
using testing::found;
using testing::kWaitTimeout;
using testing::mailItems;

Value identifiers(std::size_t count) {
  Value::Array ids;
  for (std::size_t i = 0; i < count; ++i) ids.emplace_back("id-" + std::to_string(i));
  return Value(std::move(ids));
}

using RemovedItems = testing::SearchFixture;

TEST_F(RemovedItems, TravelInBatchesOf1000NumberedOnTheirOwnCounter) {
  platform::fake::SearchScript script;
  for (int delivery = 0; delivery < 7; ++delivery)
    script.push_back(found(mailItems(delivery * 10, 10)));
  script.push_back(RemovedItemsStep{identifiers(2500)});
  auto query = search("q1", script);
  ASSERT_TRUE(query->waitUntilIdle(kWaitTimeout));

  const auto removals = userInfos(Message::QueryHasRemovals);
  ASSERT_EQ(removals.size(), 3u);
  std::vector<std::size_t> sizes;
  for (std::size_t i = 0; i < removals.size(); ++i) {
    EXPECT_EQ(removals[i]["batchNumber"], Value::unsignedInteger(i + 1));
    EXPECT_EQ(removals[i]["uniqueName"], Value("q1"));
    const Value batch = payload(removals[i], PasteboardType::RemovalBatch);
    EXPECT_EQ(batch["batchNumber"], Value::unsignedInteger(i + 1));
    EXPECT_EQ(batch["clientName"], Value("c1"));
    sizes.push_back(batch["messageIDs"].count());
  }
  EXPECT_EQ(sizes, (std::vector<std::size_t>{1000, 1000, 500}));
  EXPECT_EQ(payload(removals[2], PasteboardType::RemovalBatch)["messageIDs"].at(0),
            Value("id-2000"));

  const auto lines = harness_.consoleLines("QueryHasRemovals");
  ASSERT_EQ(lines.size(), 3u);
  EXPECT_EQ(lines[2],
            "TrovadexMailPlugin - q1 - TDMailPlugin post "
            "org.trovadex.MailPlugin.QueryHasRemovals / " +
                *removals[2]["batchName"].asString() + " - 7 - 500")
      << "the line shows the results counter";
  EXPECT_EQ(plugin_.pendingBatchesOf("q1").size(), 7u) << "removal batches are never pending";
  EXPECT_EQ(plugin_.queryNamed("q1")->messageIDs().size(), 70u)
      << "removals leave messageIDs alone";
}

TEST_F(RemovedItems, SkipNonStringsAndReportAnArgumentThatIsNoArray) {
  auto query = search("q1", {RemovedItemsStep{Value(Value::Array{"a", Value::integer(5), "b"})},
                             RemovedItemsStep{Value("not a list")}});
  ASSERT_TRUE(query->waitUntilIdle(kWaitTimeout));
  const auto removals = userInfos(Message::QueryHasRemovals);
  ASSERT_EQ(removals.size(), 1u);
  EXPECT_EQ(payload(removals[0], PasteboardType::RemovalBatch)["messageIDs"],
            Value(Value::Array{"a", "b"}));
  EXPECT_EQ(harness_.consoleLines("REMOVAL ERROR"),
            std::vector<std::string>{"TrovadexMailPlugin - q1 - TDMailPlugin REMOVAL ERROR. "
                                     "Unexpected argument: not a list"});
}

using Completion = testing::SearchFixture;

TEST_F(Completion, PostsQueryDidCompleteThenUnregistersAndReturnsThePendingBatches) {
  auto query = search("q1", {found(mailItems(1, 5)), CompletionStep{}}, {{"queryString", "x"}});
  ASSERT_TRUE(query->waitUntilFinished(kWaitTimeout));

  const auto completions = userInfos(Message::QueryDidComplete);
  ASSERT_EQ(completions.size(), 1u);
  EXPECT_EQ(completions[0]["notification"], Value("completed"));
  EXPECT_EQ(completions[0]["queryString"], Value("x"));
  EXPECT_EQ(completions[0]["uniqueName"], Value("q1"));
  for (const char* key : {"errorCode", "errorDomain", "errorMessage"}) {
    EXPECT_TRUE(completions[0][key].isNil()) << key;
  }
  EXPECT_TRUE(plugin_.queryNames().empty());
  EXPECT_TRUE(plugin_.queryNamesByClient().empty());
  EXPECT_EQ(plugin_.pasteboardPool().size(), 1u) << "the uncleared batch came back";
  EXPECT_EQ(harness_.consoleLines("TDMailPlugin completed. Error: (null)").size(), 1u);
  EXPECT_EQ(harness_.consoleLines("QueryDidComplete - 5").size(), 1u);
}

TEST_F(Completion, WithAnErrorCarriesItsCodeDomainAndMessage) {
  const foundation::Error error{"CSSearchQueryErrorDomain", -2002, "The query is not valid."};
  auto query = search("q1", {CompletionStep{error}});
  ASSERT_TRUE(query->waitUntilFinished(kWaitTimeout));
  const auto completions = userInfos(Message::QueryDidComplete);
  ASSERT_EQ(completions.size(), 1u);
  EXPECT_EQ(completions[0]["errorCode"], Value::integer(-2002));
  EXPECT_EQ(completions[0]["errorCode"].kind(), Value::Kind::Integer);
  EXPECT_EQ(completions[0]["errorDomain"], Value("CSSearchQueryErrorDomain"));
  EXPECT_EQ(completions[0]["errorMessage"], Value("The query is not valid."));
  EXPECT_EQ(harness_.consoleLines("TDMailPlugin QUERY ERROR: " + error.description()).size(), 1u);
  EXPECT_TRUE(plugin_.queryNames().empty());
}

TEST_F(Completion, NeverComesFromACancelledQuery) {
  auto gate = std::make_shared<ScriptGate>();
  auto query = search(
      "q1", {found(mailItems(1, 3)), GateStep{gate}, found(mailItems(10, 3)), CompletionStep{}});
  ASSERT_TRUE(gate->waitUntilReached(kWaitTimeout));
  plugin_.cancel(testing::PluginHarness::command(Message::Cancel,
                                                 {{"uniqueName", "q1"}, {"clientName", "c1"}}));
  gate->release();
  ASSERT_TRUE(query->waitUntilFinished(kWaitTimeout));
  EXPECT_EQ(harness_.posts(Message::QueryHasUpdates).size(), 1u);
  EXPECT_TRUE(harness_.posts(Message::QueryDidComplete).empty());
  EXPECT_EQ(plugin_.pasteboardPool().size(), 1u);
}

TEST_F(Completion, EndOfGatheringKeepsALiveQueryRunning) {
  auto query = search("q1", {found(mailItems(1, 3), 3), GatherEndedStep{}});
  ASSERT_TRUE(query->waitUntilIdle(kWaitTimeout));
  const auto completions = userInfos(Message::QueryDidComplete);
  ASSERT_EQ(completions.size(), 1u);
  EXPECT_EQ(completions[0]["notification"], Value("completed"));
  EXPECT_EQ(harness_.consoleLines("TDMailPlugin gather ended").size(), 1u);
  EXPECT_EQ(plugin_.queryNames(), std::vector<Value>{"q1"});

  query->appendSteps({found(mailItems(50, 2))});
  ASSERT_TRUE(harness_.waitForPosts(Message::QueryHasUpdates, 2)) << "later additions are reported";
}

TEST_F(Completion, AReplacedRecordsQueryGoesQuiet) {
  auto gate = std::make_shared<ScriptGate>();
  auto first = search("q1", {GateStep{gate}, found(mailItems(1, 3)), CompletionStep{}});
  ASSERT_TRUE(gate->waitUntilReached(kWaitTimeout));
  std::weak_ptr<platform::fake::FakeSearchQuery> firstQuery = first;
  first.reset();
  auto second = search("q1", {});  // same name, no lineage: the first record is replaced
  gate->release();
  if (auto stillThere = firstQuery.lock()) {
    ASSERT_TRUE(stillThere->waitUntilFinished(kWaitTimeout));
  }
  ASSERT_TRUE(second->waitUntilIdle(kWaitTimeout));
  EXPECT_TRUE(harness_.posts(Message::QueryHasUpdates).empty());
  EXPECT_TRUE(harness_.posts(Message::QueryDidComplete).empty());
  EXPECT_EQ(plugin_.queryNames(), std::vector<Value>{"q1"});
}

}  // namespace
}  // namespace trovadex::plugin
