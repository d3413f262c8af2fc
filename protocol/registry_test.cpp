#include <gtest/gtest.h>

#include "plugin/plugin_harness.hpp"
#include "search/td_mail_plugin_query.hpp"

namespace trovadex::plugin {
namespace {

using foundation::Value;
using protocol::Message;
using testing::PluginHarness;

using ClientMap = TDMailPlugin::QueryNamesByClient;

class Registry : public ::testing::Test {
 protected:
  Registry() : plugin_(harness_.start()) {}

  void search(const std::string& uniqueName, const std::string& clientName) {
    plugin_.search(PluginHarness::command(
        Message::Search, {{"uniqueName", uniqueName}, {"clientName", clientName}}));
    engineQueries_[uniqueName] = harness_.fakes.searchQueryFactory->lastQuery();
  }
  void cancel(Value::Dictionary userInfo) {
    harness_.fakes.console->clear();
    plugin_.cancel(PluginHarness::command(Message::Cancel, std::move(userInfo)));
  }
  void terminate(Value::Dictionary userInfo) {
    harness_.fakes.console->clear();
    plugin_.terminate(PluginHarness::command(Message::Terminate, std::move(userInfo)));
  }
  std::shared_ptr<platform::Pasteboard> pendingBatch(const std::string& query,
                                                     std::uint64_t number) {
    auto pasteboard = plugin_.pasteboardFromPool();
    pasteboard->setTag("uniqueName", query);
    EXPECT_TRUE(plugin_.addPendingBatch(*plugin_.queryNamed(query),
                                        {pasteboard->name(), number, pasteboard}));
    return pasteboard;
  }
  std::vector<std::string> lines() const { return harness_.fakes.console->lines(); }

  PluginHarness harness_;
  TDMailPlugin& plugin_;
  std::map<std::string, std::shared_ptr<platform::fake::FakeSearchQuery>> engineQueries_;
};

TEST_F(Registry, CancelDetachesCancelsAndForgetsTheQuery) {
  search("q1", "c1");
  search("q2", "c1");
  auto record = plugin_.queryNamed("q1");
  cancel({{"uniqueName", "q1"}, {"clientName", "c1"}});

  auto& engineQuery = *engineQueries_["q1"];
  EXPECT_TRUE(engineQuery.isCancelled());
  EXPECT_FALSE(engineQuery.hasFoundItemsHandler());
  EXPECT_FALSE(engineQuery.hasCompletionHandler());
  EXPECT_FALSE(engineQuery.hasRemovedItemsHandler());
  EXPECT_FALSE(engineQuery.hasGatherEndedHandler());
  EXPECT_EQ(record->searchQuery(), nullptr);
  EXPECT_EQ(plugin_.queryNames(), std::vector<Value>{"q2"});
  EXPECT_EQ(plugin_.queryNamesByClient(), (ClientMap{{"c1", {"q2"}}}));
  EXPECT_EQ(lines(), (std::vector<std::string>{
                         "TrovadexMailPlugin - q1 - TDMailPlugin received "
                         "org.trovadex.MailPlugin.Cancel / c1",
                         "TrovadexMailPlugin - q1 - TDMailPlugin cancel query",
                         "TrovadexMailPlugin - n/a - TDMailPlugin active query count: 1",
                         "TrovadexMailPlugin - n/a - TDMailPlugin active pasteboard count: 0"}));
  EXPECT_FALSE(engineQueries_["q2"]->isCancelled());
}

TEST_F(Registry, CancellingTwiceChangesNothingTheSecondTime) {
  search("q1", "c1");
  cancel({{"uniqueName", "q1"}, {"clientName", "c1"}});
  cancel({{"uniqueName", "q1"}, {"clientName", "c1"}});
  EXPECT_EQ(lines(),
            (std::vector<std::string>{"TrovadexMailPlugin - q1 - TDMailPlugin received "
                                      "org.trovadex.MailPlugin.Cancel / c1",
                                      "TrovadexMailPlugin - q1 - TDMailPlugin cancel query"}));
  EXPECT_TRUE(plugin_.queryNames().empty());
  EXPECT_TRUE(plugin_.queryNamesByClient().empty());
}

TEST_F(Registry, CancelWithoutAUniqueNameOnlyLogsItsArrival) {
  search("q1", "c1");
  cancel({{"clientName", "c1"}});
  EXPECT_EQ(lines(), std::vector<std::string>{"TrovadexMailPlugin - none - TDMailPlugin received "
                                              "org.trovadex.MailPlugin.Cancel / c1"});
  EXPECT_EQ(plugin_.queryNames().size(), 1u);
}

TEST_F(Registry, CancelWithoutAClientNameLeavesTheClientListsAlone) {
  search("q1", "c1");
  cancel({{"uniqueName", "q1"}});
  EXPECT_TRUE(plugin_.queryNames().empty());
  EXPECT_EQ(plugin_.queryNamesByClient(), (ClientMap{{"c1", {"q1"}}}));
}

TEST_F(Registry, AClientsKeyGoesWithItsLastQuery) {
  search("q1", "c1");
  search("q2", "c1");
  search("q3", "c2");
  cancel({{"uniqueName", "q1"}, {"clientName", "c1"}});
  EXPECT_EQ(plugin_.queryNamesByClient(), (ClientMap{{"c1", {"q2"}}, {"c2", {"q3"}}}));
  cancel({{"uniqueName", "q2"}, {"clientName", "c1"}});
  EXPECT_EQ(plugin_.queryNamesByClient(), (ClientMap{{"c2", {"q3"}}}));
  terminate({{"clientName", "c9"}});
  EXPECT_EQ(
      harness_.consoleLines("active client count"),
      std::vector<std::string>{"TrovadexMailPlugin - n/a - TDMailPlugin active client count: 1"});
}

TEST_F(Registry, AnyClientMayCancelAQueryByNameAndOnlyItsOwnListChanges) {
  search("q1", "c1");
  cancel({{"uniqueName", "q1"}, {"clientName", "c2"}});
  EXPECT_TRUE(plugin_.queryNames().empty());
  EXPECT_EQ(plugin_.queryNamesByClient(), (ClientMap{{"c1", {"q1"}}})) << "a stale name stays";
}

TEST_F(Registry, CancelStrikesEveryEqualNameFromTheClientsList) {
  search("q1", "c1");
  search("q1", "c1");  // the same name twice stands twice in the list
  ASSERT_EQ(plugin_.queryNamesByClient(), (ClientMap{{"c1", {"q1", "q1"}}}));
  plugin_.cancelQuery("q1", Value("c1"));
  EXPECT_TRUE(plugin_.queryNamesByClient().empty());
}

TEST_F(Registry, CancellingAnUnknownQueryLeavesOtherNamesOfTheClient) {
  search("q1", "c1");
  cancel({{"uniqueName", "nothing"}, {"clientName", "c1"}});
  EXPECT_EQ(lines(),
            (std::vector<std::string>{"TrovadexMailPlugin - nothing - TDMailPlugin received "
                                      "org.trovadex.MailPlugin.Cancel / c1",
                                      "TrovadexMailPlugin - nothing - TDMailPlugin cancel query"}));
  EXPECT_EQ(plugin_.queryNamesByClient(), (ClientMap{{"c1", {"q1"}}}));
  cancel({{"uniqueName", "nothing"}, {"clientName", "c2"}});
  EXPECT_EQ(plugin_.queryNamesByClient(), (ClientMap{{"c1", {"q1"}}}));
}

TEST_F(Registry, ACancelledQuerysBatchesGoBackInPostingOrderAndTheCountsAreLogged) {
  search("q1", "c1");
  search("q2", "c1");
  auto first = pendingBatch("q1", 1);
  auto second = pendingBatch("q1", 2);
  auto third = pendingBatch("q1", 3);
  pendingBatch("q2", 1);
  pendingBatch("q2", 2);

  cancel({{"uniqueName", "q1"}, {"clientName", "c1"}});
  EXPECT_EQ(plugin_.pasteboardPool(), (std::vector{first, second, third}));
  EXPECT_TRUE(first->tag("uniqueName").isNil());
  EXPECT_EQ(harness_.consoleLines("active"),
            (std::vector<std::string>{
                "TrovadexMailPlugin - n/a - TDMailPlugin active query count: 1",
                "TrovadexMailPlugin - n/a - TDMailPlugin active pasteboard count: 2"}));
}

TEST_F(Registry, TheReturnedBatchesOfACancelledQueryStillLeaveAtMostFiveInThePool) {
  search("q1", "c1");
  std::vector<std::shared_ptr<platform::Pasteboard>> batches;
  for (std::uint64_t number = 1; number <= 7; ++number)
    batches.push_back(pendingBatch("q1", number));
  plugin_.cancelQuery("q1", Value("c1"));
  EXPECT_EQ(plugin_.pasteboardPool(), (std::vector(batches.begin() + 2, batches.end())));
}

TEST_F(Registry, TerminateWithAnEmptyActiveNamesCancelsEveryRecordedName) {
  search("q1", "c1");
  search("q2", "c1");
  search("q3", "c2");
  terminate({{"clientName", "c1"}, {"activeNames", Value::Array{}}});
  EXPECT_EQ(plugin_.queryNames(), std::vector<Value>{"q3"});
  EXPECT_EQ(plugin_.queryNamesByClient(), (ClientMap{{"c2", {"q3"}}}));
  const auto logged = lines();
  EXPECT_EQ(logged.front(),
            "TrovadexMailPlugin - n/a - TDMailPlugin received "
            "org.trovadex.MailPlugin.Terminate / c1");
  EXPECT_EQ(logged[1], "TrovadexMailPlugin - n/a - TDMailPlugin terminate client c1");
  EXPECT_EQ(
      std::vector(logged.end() - 2, logged.end()),
      (std::vector<std::string>{"TrovadexMailPlugin - n/a - TDMailPlugin active query count: 1",
                                "TrovadexMailPlugin - n/a - TDMailPlugin active client count: 1"}));
}

TEST_F(Registry, TerminateOfAnUnknownClientWithoutNamesOnlyLogs) {
  search("q1", "c1");
  terminate({{"clientName", "ghost"}});
  EXPECT_EQ(lines(), (std::vector<std::string>{
                         "TrovadexMailPlugin - n/a - TDMailPlugin received "
                         "org.trovadex.MailPlugin.Terminate / ghost",
                         "TrovadexMailPlugin - n/a - TDMailPlugin terminate client ghost",
                         "TrovadexMailPlugin - n/a - TDMailPlugin active query count: 1",
                         "TrovadexMailPlugin - n/a - TDMailPlugin active client count: 1"}));
}

TEST_F(Registry, TerminateOfAnUnknownClientCancelsTheNamedQueriesEvenOfOtherClients) {
  search("q1", "c1");
  search("q2", "c1");
  terminate({{"clientName", "ghost"}, {"activeNames", Value::Array{"q1", "nothing"}}});
  EXPECT_EQ(plugin_.queryNames(), std::vector<Value>{"q2"});
  EXPECT_EQ(plugin_.queryNamesByClient(), (ClientMap{{"c1", {"q1", "q2"}}}))
      << "the other client keeps the stale name";
  EXPECT_EQ(harness_.consoleLines("cancel query").size(), 2u);
}

TEST_F(Registry, TerminateWithoutAClientNameIgnoresTheActiveNames) {
  search("q1", "c1");
  terminate({{"activeNames", Value::Array{"q1"}}});
  EXPECT_EQ(lines(), std::vector<std::string>{"TrovadexMailPlugin - n/a - TDMailPlugin received "
                                              "org.trovadex.MailPlugin.Terminate / (null)"});
  EXPECT_EQ(plugin_.queryNames().size(), 1u);
}

}  // namespace
}  // namespace trovadex::plugin
