#include <gtest/gtest.h>

#include "plugin/plugin_harness.hpp"
#include "search/td_mail_plugin_query.hpp"

namespace trovadex::plugin {
namespace {

using foundation::Value;
using protocol::Message;
using testing::PluginHarness;

class Clear : public ::testing::Test {
 protected:
  Clear() : plugin_(harness_.start()) {
    plugin_.search(
        PluginHarness::command(Message::Search, {{"uniqueName", "q1"}, {"clientName", "c1"}}));
    plugin_.search(
        PluginHarness::command(Message::Search, {{"uniqueName", "q2"}, {"clientName", "c1"}}));
  }

  // A results batch of query, pending and tagged as the batch poster leaves it.
  std::shared_ptr<platform::Pasteboard> pendingBatch(const std::string& query,
                                                     std::uint64_t number) {
    auto pasteboard = taggedPasteboard(query, "c1");
    EXPECT_TRUE(plugin_.addPendingBatch(*plugin_.queryNamed(query),
                                        {pasteboard->name(), number, pasteboard}));
    return pasteboard;
  }
  std::shared_ptr<platform::Pasteboard> taggedPasteboard(const std::string& query,
                                                         const std::string& client) {
    auto pasteboard = plugin_.pasteboardFromPool();
    pasteboard->setTag("uniqueName", query);
    pasteboard->setTag("clientName", client);
    return pasteboard;
  }
  void clear(Value::Dictionary userInfo) {
    harness_.fakes.console->clear();
    plugin_.clear(PluginHarness::command(Message::Clear, std::move(userInfo)));
  }
  std::vector<std::string> errorLines() const { return harness_.consoleLines("ERROR"); }

  PluginHarness harness_;
  TDMailPlugin& plugin_;
};

TEST_F(Clear, ReturnsTheBatchsPasteboardAndStrikesItsEntry) {
  auto first = pendingBatch("q1", 1);
  auto second = pendingBatch("q1", 2);
  clear({{"uniqueName", "q1"}, {"clientName", "c1"}, {"batchName", first->name()}});

  EXPECT_EQ(harness_.fakes.console->lines(),
            std::vector<std::string>{"TrovadexMailPlugin - q1 - TDMailPlugin received "
                                     "org.trovadex.MailPlugin.Clear / c1 - " +
                                     first->name()});
  EXPECT_EQ(plugin_.pasteboardPool(), std::vector{first});
  EXPECT_TRUE(first->tag("clientName").isNil());
  const auto pending = plugin_.pendingBatchesOf("q1");
  ASSERT_EQ(pending.size(), 1u);
  EXPECT_EQ(pending[0].pasteboard, second);
}

TEST_F(Clear, WithoutAUniqueNameOrABatchNameStopsAfterTheReceivedLine) {
  auto batch = pendingBatch("q1", 1);
  clear({{"clientName", "c1"}, {"batchName", batch->name()}});
  EXPECT_EQ(harness_.fakes.console->lines().size(), 1u);
  EXPECT_EQ(harness_.fakes.console->lines()[0].rfind("TrovadexMailPlugin - none - ", 0), 0u);
  clear({{"uniqueName", "q1"}, {"clientName", "c1"}});
  EXPECT_EQ(harness_.fakes.console->lines().size(), 1u);
  EXPECT_EQ(plugin_.pendingBatchesOf("q1").size(), 1u);
  EXPECT_TRUE(plugin_.pasteboardPool().empty());
}

TEST_F(Clear, OfABatchNameNeverHandedOutIsAClientMismatchWithNothingTagged) {
  clear({{"uniqueName", "q1"}, {"clientName", "c1"}, {"batchName", "made-up"}});
  EXPECT_EQ(errorLines(),
            std::vector<std::string>{"TrovadexMailPlugin - q1 - TDMailPlugin PASTEBOARD USE ERROR. "
                                     "Pasteboard client mismatch: (null) - c1"});
}

TEST_F(Clear, WithoutAClientNameIsAClientMismatch) {
  auto batch = pendingBatch("q1", 1);
  clear({{"uniqueName", "q1"}, {"batchName", batch->name()}});
  EXPECT_EQ(errorLines(),
            std::vector<std::string>{"TrovadexMailPlugin - q1 - TDMailPlugin PASTEBOARD USE ERROR. "
                                     "Pasteboard client mismatch: c1 - (null)"});
  EXPECT_EQ(plugin_.pendingBatchesOf("q1").size(), 1u);
}

TEST_F(Clear, TwiceFindsTheTagsGoneTheSecondTimeAndLeavesThePoolAlone) {
  auto batch = pendingBatch("q1", 1);
  const Value::Dictionary command{
      {"uniqueName", "q1"}, {"clientName", "c1"}, {"batchName", batch->name()}};
  clear(command);
  clear(command);
  EXPECT_EQ(errorLines(),
            std::vector<std::string>{"TrovadexMailPlugin - q1 - TDMailPlugin PASTEBOARD USE ERROR. "
                                     "Pasteboard client mismatch: (null) - c1"});
  EXPECT_EQ(plugin_.pasteboardPool(), std::vector{batch}) << "no double entry";
}

TEST_F(Clear, OfAnotherQuerysBatchIsAQueryMismatch) {
  auto batch = pendingBatch("q2", 1);
  clear({{"uniqueName", "q1"}, {"clientName", "c1"}, {"batchName", batch->name()}});
  EXPECT_EQ(errorLines(),
            std::vector<std::string>{"TrovadexMailPlugin - q1 - TDMailPlugin PASTEBOARD USE ERROR. "
                                     "Pasteboard query mismatch: q2 - q1"});
  EXPECT_EQ(plugin_.pendingBatchesOf("q2").size(), 1u);
}

TEST_F(Clear, ForAQueryNoLongerRegisteredLeavesThePasteboardOutOfThePool) {
  auto orphan = taggedPasteboard("q9", "c1");
  clear({{"uniqueName", "q9"}, {"clientName", "c1"}, {"batchName", orphan->name()}});
  EXPECT_EQ(errorLines(), std::vector<std::string>{
                              "TrovadexMailPlugin - q9 - TDMailPlugin PASTEBOARD CLEAR ERROR. "
                              "Missing query"});
  EXPECT_TRUE(plugin_.pasteboardPool().empty());
  EXPECT_EQ(orphan->tag("clientName"), Value("c1")) << "stays tagged";
}

TEST_F(Clear, AfterTheQueryWasCancelledIsAClientMismatch) {
  auto batch = pendingBatch("q1", 1);
  plugin_.cancelQuery("q1", Value("c1"));
  clear({{"uniqueName", "q1"}, {"clientName", "c1"}, {"batchName", batch->name()}});
  EXPECT_EQ(errorLines(),
            std::vector<std::string>{"TrovadexMailPlugin - q1 - TDMailPlugin PASTEBOARD USE ERROR. "
                                     "Pasteboard client mismatch: (null) - c1"});
  EXPECT_EQ(plugin_.pasteboardPool(), std::vector{batch});
}

TEST_F(Clear, OfARemovalBatchFindsNoEntryAndNeverReturnsIt) {
  auto removal = taggedPasteboard("q1", "c1");  // tagged, but never pending
  clear({{"uniqueName", "q1"}, {"clientName", "c1"}, {"batchName", removal->name()}});
  EXPECT_EQ(errorLines(),
            std::vector<std::string>{"TrovadexMailPlugin - q1 - TDMailPlugin PASTEBOARD USE ERROR. "
                                     "Pasteboard mismatch: " +
                                     removal->name() + " - 0"});
  EXPECT_TRUE(plugin_.pasteboardPool().empty());
}

TEST_F(Clear, OfAPasteboardPendingTwiceStrikesBothAndKeepsIt) {
  auto batch = pendingBatch("q1", 1);
  ASSERT_TRUE(plugin_.addPendingBatch(*plugin_.queryNamed("q1"), {batch->name(), 2, batch}));
  clear({{"uniqueName", "q1"}, {"clientName", "c1"}, {"batchName", batch->name()}});
  EXPECT_EQ(errorLines(),
            std::vector<std::string>{"TrovadexMailPlugin - q1 - TDMailPlugin PASTEBOARD USE ERROR. "
                                     "Pasteboard mismatch: " +
                                     batch->name() + " - 2"});
  EXPECT_TRUE(plugin_.pendingBatchesOf("q1").empty());
  EXPECT_TRUE(plugin_.pasteboardPool().empty());
}

}  // namespace
}  // namespace trovadex::plugin
