#include <gtest/gtest.h>

#include "search/search_fixture.hpp"
#include "search/td_mail_plugin_query.hpp"

namespace trovadex::plugin {
namespace {

using foundation::Value;
using platform::fake::FakeSearchQueryCapabilities;
using platform::fake::QueryContextKind;
using protocol::Message;
using testing::PluginHarness;

using ClientMap = TDMailPlugin::QueryNamesByClient;
constexpr const char* kRestriction = "kMDItemContentType = \"public.email-message\"";

class SearchCommand : public testing::SearchFixture {
 protected:
  std::string queryStringSent(Value::Dictionary extra) {
    search("q", {}, std::move(extra));
    return harness_.fakes.searchQueryFactory->requests().back().queryString;
  }
};

TEST_F(SearchCommand, RestrictsTheClientsQueryStringToMailMessages) {
  EXPECT_EQ(queryStringSent({{"queryString", "kMDItemSubject == \"x*\"cd"}}),
            std::string("(") + kRestriction + ") && (kMDItemSubject == \"x*\"cd)");
  EXPECT_EQ(queryStringSent({{"queryString", ""}}), kRestriction);
  EXPECT_EQ(queryStringSent({}), kRestriction);
  EXPECT_EQ(harness_.fakes.searchQueryFactory->requests().back().attributes->size(), 90u);
}

TEST_F(SearchCommand, FilesTheRecordAnnouncesItAndThenStartsTheQuery) {
  const Value::Dictionary command{{"uniqueName", "q1"},
                                  {"clientName", "c1"},
                                  {"version", "3.1"},
                                  {"lineageName", "L"},
                                  {"queryString", "kMDItemSubject == x"},
                                  {"sortingAttribute", "kMDItemFSCreationDate"},
                                  {"sortAscending", Value::boolean(true)},
                                  {"extra", Value::integer(4)}};
  auto query = search("q1", {}, command);
  ASSERT_NE(query, nullptr);
  EXPECT_TRUE(query->isStarted());

  auto record = plugin_.queryNamed("q1");
  ASSERT_NE(record, nullptr);
  EXPECT_EQ(record->clientName(), Value("c1"));
  EXPECT_EQ(record->lineageName(), Value("L"));
  EXPECT_EQ(record->queryString(), "kMDItemSubject == x") << "as received, without the restriction";
  EXPECT_EQ(record->sortingAttribute(), "kMDItemFSCreationDate");
  EXPECT_TRUE(record->sortAscending());
  EXPECT_FALSE(record->error().has_value());
  EXPECT_EQ(plugin_.queryNamesByClient(), (ClientMap{{"c1", {"q1"}}}));

  const auto started = harness_.posts(Message::QueryDidStart);
  ASSERT_EQ(started.size(), 1u);
  Value::Dictionary expected = command;
  expected["version"] = Value("1");
  expected["compatibilityVersion"] = Value::integer(1);
  EXPECT_EQ(started[0].userInfo, Value(expected));
  EXPECT_EQ(
      harness_.fakes.console->lines(),
      (std::vector<std::string>{
          "TrovadexMailPlugin - q1 - TDMailPlugin received org.trovadex.MailPlugin.Search / "
          "c1 - 3.1",
          "TrovadexMailPlugin - q1 - TDMailPlugin query kMDItemSubject == x",
          "TrovadexMailPlugin - q1 - TDMailPlugin post org.trovadex.MailPlugin.QueryDidStart"}));
}

TEST_F(SearchCommand, SortsDescendingWhenTheDirectionIsMissing) {
  search("q1", {}, {{"sortingAttribute", "kMDItemSubject"}});
  EXPECT_FALSE(plugin_.queryNamed("q1")->sortAscending());
}

TEST_F(SearchCommand, ReplacesTheClientsEarlierQueriesOfTheSameLineageFirst) {
  auto sameLineage = search("q1", {}, {{"lineageName", "L"}});
  auto otherLineage = search("q2", {}, {{"lineageName", "M"}});
  auto otherClient = search("q3", {}, {{"lineageName", "L"}, {"clientName", "c2"}});
  auto noLineage = search("q4", {});
  harness_.fakes.distributedCenter->clearPosts();
  harness_.fakes.console->clear();

  plugin_.search(
      PluginHarness::command(Message::Search, {{"clientName", "c1"}, {"lineageName", "L"}}));
  EXPECT_TRUE(sameLineage->isCancelled()) << "even a command without a unique name replaces";
  EXPECT_FALSE(otherLineage->isCancelled());
  EXPECT_FALSE(otherClient->isCancelled());
  EXPECT_FALSE(noLineage->isCancelled());
  EXPECT_EQ(plugin_.queryNames(), (std::vector<Value>{"q2", "q3", "q4"}));
  EXPECT_TRUE(harness_.fakes.distributedCenter->posts().empty());
  EXPECT_TRUE(harness_.consoleLines("TDMailPlugin query").empty());

  auto successor = search("q5", {}, {{"lineageName", "M"}});
  EXPECT_TRUE(otherLineage->isCancelled());
  EXPECT_EQ(plugin_.queryNamesByClient(), (ClientMap{{"c1", {"q4", "q5"}}, {"c2", {"q3"}}}));
}

TEST_F(SearchCommand, OfTheSameUniqueNameTwiceReplacesTheRecordWithoutCancellingIt) {
  auto first = search("q1");
  const std::weak_ptr<platform::fake::FakeSearchQuery> firstQuery = first;
  auto firstRecord = plugin_.queryNamed("q1");
  first.reset();
  search("q1");
  EXPECT_NE(plugin_.queryNamed("q1"), firstRecord);
  EXPECT_EQ(plugin_.queryNamesByClient(), (ClientMap{{"c1", {"q1", "q1"}}}));
  EXPECT_EQ(harness_.consoleLines("cancel query").size(), 0u);
  EXPECT_NE(firstRecord->searchQuery(), nullptr) << "replaced, not cancelled";
  firstRecord.reset();
  EXPECT_TRUE(firstQuery.expired()) << "owned by nothing, the first query is gone";
}

TEST_F(SearchCommand, WithoutAUniqueNameStopsAfterTheReceivedLine) {
  plugin_.search(
      PluginHarness::command(Message::Search, {{"clientName", "c1"}, {"queryString", "x"}}));
  EXPECT_TRUE(harness_.fakes.searchQueryFactory->requests().empty());
  EXPECT_EQ(harness_.fakes.console->lines().size(), 1u);
}

TEST_F(SearchCommand, WithoutAClientNameFilesTheQueryByNameOnly) {
  plugin_.search(PluginHarness::command(Message::Search, {{"uniqueName", "q1"}}));
  EXPECT_EQ(plugin_.queryNames(), std::vector<Value>{"q1"});
  EXPECT_TRUE(plugin_.queryNamesByClient().empty());
  EXPECT_TRUE(plugin_.queryNamed("q1")->clientName().isNil());
}

TEST_F(SearchCommand, ThatTheEngineRefusesIsNeitherFiledNorAnnounced) {
  harness_.fakes.searchQueryFactory->setReturnsNullQueries(true);
  plugin_.search(
      PluginHarness::command(Message::Search, {{"uniqueName", "q1"}, {"clientName", "c1"}}));
  EXPECT_TRUE(plugin_.queryNames().empty());
  EXPECT_TRUE(plugin_.queryNamesByClient().empty());
  EXPECT_TRUE(harness_.posts(Message::QueryDidStart).empty());
}

TEST_F(SearchCommand, MakesTheQueryLiveWhereTheEngineOffersIt) {
  auto query = search("q1");
  EXPECT_TRUE(query->context()->live());
  EXPECT_TRUE(query->hasGatherEndedHandler());
  EXPECT_TRUE(query->hasRemovedItemsHandler());
  EXPECT_TRUE(query->hasFoundItemsHandler());
  EXPECT_TRUE(query->hasCompletionHandler());
}

TEST_F(SearchCommand, KeepsTheQueryOneShotWhenAnyLiveFacilityIsMissing) {
  const FakeSearchQueryCapabilities partial[] = {
      {true, true, QueryContextKind::WithoutSetLive},
      {true, true, QueryContextKind::None},
      {true, false, QueryContextKind::Live},
  };
  for (const auto& capabilities : partial) {
    harness_.fakes.searchQueryFactory->setCapabilities(capabilities);
    auto query = search("q");
    EXPECT_FALSE(query->hasGatherEndedHandler());
    if (query->context()) {
      EXPECT_FALSE(query->context()->live());
    }
    EXPECT_EQ(query->unsupportedCallCount(), 0u) << "no facility is used without asking";
  }
}

TEST_F(SearchCommand, InstallsNoRemovedItemsHandlerWhereTheEngineHasNone) {
  harness_.fakes.searchQueryFactory->setCapabilities({false, true, QueryContextKind::Live});
  auto query = search("q1");
  EXPECT_FALSE(query->hasRemovedItemsHandler());
  EXPECT_EQ(query->unsupportedCallCount(), 0u);
  plugin_.cancelQuery("q1", Value("c1"));
  EXPECT_EQ(query->unsupportedCallCount(), 0u) << "cancel asks too";
}

TEST_F(SearchCommand, RunningQueriesAreNamedInPluginQuit) {
  search("q1");
  search("q2", {}, {{"clientName", "c2"}});
  harness_.fakes.localCenter->postNotification(
      std::string(platform::kApplicationWillTerminateNotification), Value(), Value(), false);
  harness_.runMain();
  const auto quit = harness_.posts(Message::PluginQuit);
  ASSERT_EQ(quit.size(), 1u);
  EXPECT_EQ(quit[0].userInfo["activeNames"], Value(Value::Array{"q1", "q2"}));
  EXPECT_EQ(plugin_.queryNames().size(), 2u) << "reported, not cancelled";
}

}  // namespace
}  // namespace trovadex::plugin
