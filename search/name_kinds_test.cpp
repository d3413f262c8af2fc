// Query, client and lineage names that are not strings: the registry, lineages, ownership checks
// and echoes use them as the companion sent them.
#include <gtest/gtest.h>

#include "platform/fake/script_gate.hpp"
#include "search/search_fixture.hpp"
#include "search/td_mail_plugin_query.hpp"

namespace trovadex::plugin {
namespace {

using foundation::Value;
using protocol::Message;
using protocol::PasteboardType;
using testing::found;
using testing::kWaitTimeout;
using testing::mailItems;
using testing::PluginHarness;

using ClientMap = TDMailPlugin::QueryNamesByClient;

class NamesOfAnyKind : public testing::SearchFixture {
 protected:
  // Sends Search with these names (nil ones left out) and a script for its query.
  std::shared_ptr<platform::fake::FakeSearchQuery> searchNamed(
      const Value& uniqueName, const Value& clientName, const Value& lineageName = Value(),
      platform::fake::SearchScript script = {}) {
    auto held = std::make_shared<platform::fake::ScriptGate>();
    script.insert(script.begin(), platform::fake::GateStep{held});
    harness_.fakes.searchQueryFactory->queueScript(std::move(script));
    Value::Dictionary command{{"queryString", "kMDItemSubject == x"}};
    if (!uniqueName.isNil()) command.emplace("uniqueName", uniqueName);
    if (!clientName.isNil()) command.emplace("clientName", clientName);
    if (!lineageName.isNil()) command.emplace("lineageName", lineageName);
    plugin_.search(PluginHarness::command(Message::Search, std::move(command)));
    auto query = harness_.fakes.searchQueryFactory->lastQuery();
    held->release();
    return query;
  }
  void send(Message message, Value::Dictionary userInfo) {
    harness_.fakes.console->clear();
    auto notification = PluginHarness::command(message, std::move(userInfo));
    switch (message) {
      case Message::Cancel:
        plugin_.cancel(notification);
        break;
      case Message::Clear:
        plugin_.clear(notification);
        break;
      case Message::Terminate:
        plugin_.terminate(notification);
        break;
      default:
        FAIL() << "not a command of this test";
    }
  }
};

TEST_F(NamesOfAnyKind, ANumberNamesAQueryThatOnlyAnEqualNumberCancels) {
  const Value seven = Value::integer(7);
  const Value client = Value::unsignedInteger(3);
  auto query = searchNamed(seven, client);
  ASSERT_NE(query, nullptr);
  EXPECT_EQ(plugin_.queryNames(), std::vector<Value>{seven});
  EXPECT_EQ(plugin_.queryNamesByClient(), (ClientMap{{client, {seven}}}));

  const auto started = harness_.posts(Message::QueryDidStart);
  ASSERT_EQ(started.size(), 1u);
  EXPECT_EQ(started[0].userInfo["uniqueName"].kind(), Value::Kind::Integer) << "echoed unchanged";
  EXPECT_EQ(started[0].userInfo["clientName"].kind(), Value::Kind::Unsigned);

  send(Message::Cancel, {{"uniqueName", "7"}, {"clientName", client}});
  EXPECT_FALSE(query->isCancelled()) << "the string \"7\" is another name";
  EXPECT_EQ(plugin_.queryNames().size(), 1u);

  send(Message::Cancel, {{"uniqueName", Value::real(7.0)}, {"clientName", Value::integer(3)}});
  EXPECT_TRUE(query->isCancelled());
  EXPECT_TRUE(plugin_.queryNames().empty());
  EXPECT_TRUE(plugin_.queryNamesByClient().empty()) << "the numeric client's list went too";
  EXPECT_EQ(harness_.consoleLines("TDMailPlugin cancel query"),
            std::vector<std::string>{"TrovadexMailPlugin - 7 - TDMailPlugin cancel query"});
}

TEST_F(NamesOfAnyKind, ALineageOfAnyKindReplacesItsOwnOnly) {
  const Value client = Value::integer(1);
  auto first = searchNamed("q1", client, Value::integer(5));
  auto other = searchNamed("q2", client, "5");
  auto second = searchNamed("q3", client, Value::real(5.0));
  EXPECT_TRUE(first->isCancelled()) << "5.0 is the lineage 5";
  EXPECT_FALSE(other->isCancelled()) << "the string \"5\" is another lineage";
  EXPECT_FALSE(second->isCancelled());
  EXPECT_EQ(plugin_.queryNamesByClient(), (ClientMap{{client, {"q2", "q3"}}}));
}

TEST_F(NamesOfAnyKind, TerminateUsesANumericClientAndNamesOfAnyKind) {
  auto own = searchNamed("mine", Value::integer(9));
  auto named = searchNamed(Value::boolean(true), "someone else");
  auto untouched = searchNamed("theirs", "someone else");
  // true is the number 1, as isEqual: has it.
  send(Message::Terminate,
       {{"clientName", Value::integer(9)}, {"activeNames", Value::Array{Value::integer(1)}}});
  EXPECT_TRUE(own->isCancelled());
  EXPECT_TRUE(named->isCancelled());
  EXPECT_FALSE(untouched->isCancelled());
  EXPECT_EQ(plugin_.queryNames(), std::vector<Value>{"theirs"});
  EXPECT_EQ(harness_.consoleLines("terminate client"),
            std::vector<std::string>{"TrovadexMailPlugin - n/a - TDMailPlugin terminate client 9"});
}

// A dictionary is a name like any other: it keys the registry, tags the batches and must come
// back equal, key for key, to clear them. The platform's maps take any copyable value as a key,
// so refusing it here would be the surprise.
TEST_F(NamesOfAnyKind, ADictionaryNameStreamsTagsAndClearsItsBatches) {
  const Value name = Value::Dictionary{{"id", Value::integer(4)}, {"tab", "inbox"}};
  const Value client = Value::Array{"app", Value::integer(2)};
  auto query = searchNamed(name, client, Value(), {found(mailItems(1, 3))});
  ASSERT_TRUE(query->waitUntilIdle(kWaitTimeout));

  const auto updates = userInfos(Message::QueryHasUpdates);
  ASSERT_EQ(updates.size(), 1u);
  EXPECT_EQ(updates[0]["uniqueName"], name);
  const Value batch = payload(updates[0], PasteboardType::ResultsBatch);
  EXPECT_EQ(batch["uniqueName"], name);
  EXPECT_EQ(batch["clientName"], client);
  ASSERT_EQ(plugin_.pendingBatchesOf(name).size(), 1u);

  send(Message::Clear, {{"uniqueName", Value::Dictionary{{"id", Value::integer(4)}}},
                        {"clientName", client},
                        {"batchName", updates[0]["batchName"]}});
  EXPECT_EQ(harness_.consoleLines("query mismatch").size(), 1u) << "a different dictionary";
  send(Message::Clear, {{"uniqueName", Value::Dictionary{{"id", Value::real(4)}, {"tab", "inbox"}}},
                        {"clientName", client},
                        {"batchName", updates[0]["batchName"]}});
  EXPECT_TRUE(harness_.consoleLines("ERROR").empty());
  EXPECT_TRUE(plugin_.pendingBatchesOf(name).empty());
  EXPECT_EQ(plugin_.pasteboardPool().size(), 1u);
}

TEST_F(NamesOfAnyKind, ABatchNameThatIsNoStringNamesNoPasteboard) {
  auto query = searchNamed("q1", "c1", Value(), {found(mailItems(1, 3))});
  ASSERT_TRUE(query->waitUntilIdle(kWaitTimeout));
  send(Message::Clear,
       {{"uniqueName", "q1"}, {"clientName", "c1"}, {"batchName", Value::integer(1)}});
  EXPECT_EQ(harness_.consoleLines("ERROR"),
            std::vector<std::string>{"TrovadexMailPlugin - q1 - TDMailPlugin PASTEBOARD USE ERROR. "
                                     "Pasteboard client mismatch: (null) - c1"});
  EXPECT_EQ(plugin_.pendingBatchesOf("q1").size(), 1u);
}

}  // namespace
}  // namespace trovadex::plugin
