// Two clients drive many searches, clears, cancels and terminations from the main thread while
// their queries deliver on the fake engine's threads. Runs under AddressSanitizer and
// ThreadSanitizer in CI; the checks at the end are that nothing was lost or posted late.
#include <algorithm>
#include <map>
#include <random>
#include <set>

#include <gtest/gtest.h>

#include "search/search_fixture.hpp"
#include "search/td_mail_plugin_query.hpp"

namespace trovadex::plugin {
namespace {

using foundation::Value;
using platform::fake::CompletionStep;
using platform::fake::GatherEndedStep;
using platform::fake::RemovedItemsStep;
using platform::fake::SearchScript;
using protocol::Message;
using testing::PluginHarness;

class Stress : public testing::SearchFixture {
 protected:
  SearchScript randomScript(std::int64_t firstID) {
    SearchScript script;
    const int deliveries = pick(1, 4);
    std::int64_t nextID = firstID;
    for (int delivery = 0; delivery < deliveries; ++delivery) {
      platform::SearchableItems items;
      const int size = pick(1, 1800);
      for (int i = 0; i < size; ++i) {
        // Some repeat an earlier message, some can only be looked up in the library (and are
        // dropped there), the rest carry their path.
        const int kind = pick(0, 19);
        if (kind == 0 && nextID > firstID) {
          items.push_back(
              testing::mailItem(firstID + pick(0, static_cast<int>(nextID - firstID) - 1)));
        } else {
          items.push_back(testing::mailItem(nextID++, {}, /*withPath=*/kind != 1));
        }
      }
      script.push_back(testing::found(std::move(items)));
      if (pick(0, 2) == 0) {
        Value::Array removed;
        for (int i = pick(1, 1200); i > 0; --i) removed.emplace_back("gone-" + std::to_string(i));
        script.push_back(RemovedItemsStep{Value(std::move(removed))});
      }
    }
    script.push_back(pick(0, 1) == 0 ? platform::fake::SearchScriptStep{CompletionStep{}}
                                     : platform::fake::SearchScriptStep{GatherEndedStep{}});
    return script;
  }

  int pick(int low, int high) { return std::uniform_int_distribution<int>(low, high)(random_); }

  // Clears some of the batches announced since the last call, as the companion does once it has
  // read them; now and then with a wrong client name.
  void clearAnnouncedBatches() {
    const auto posts = harness_.fakes.distributedCenter->posts();
    for (; seenPosts_ < posts.size(); ++seenPosts_) {
      const auto& post = posts[seenPosts_];
      const bool results = post.name == protocol::messageName(Message::QueryHasUpdates);
      const bool removals = post.name == protocol::messageName(Message::QueryHasRemovals);
      if ((!results && !removals) || pick(0, 9) < 2) continue;
      Value::Dictionary command{
          {"uniqueName", post.userInfo["uniqueName"]},
          {"clientName", pick(0, 30) == 0 ? Value("intruder") : post.userInfo["clientName"]},
          {"batchName", post.userInfo["batchName"]}};
      plugin_.clear(PluginHarness::command(Message::Clear, std::move(command)));
    }
  }

  std::size_t postsAbout(const std::string& uniqueName) const {
    std::size_t count = 0;
    for (const auto& post : harness_.fakes.distributedCenter->posts()) {
      if (post.userInfo["uniqueName"] == Value(uniqueName)) ++count;
    }
    return count;
  }

  std::mt19937 random_{20261122};
  std::size_t seenPosts_ = 0;
};

TEST_F(Stress, TwoClientsCommandsAndDeliveriesLeaveEveryPasteboardAccountedFor) {
  const std::vector<std::string> clients{"c1", "c2"};
  std::vector<std::pair<std::string, std::string>> started;  // name, client
  std::map<std::string, std::size_t> postsAtCancel;

  std::shared_ptr<platform::fake::FakeSearchQuery> lastQuery;
  for (int round = 0; round < 300; ++round) {
    const int action = pick(0, 99);
    if (action < 45) {
      const std::string name = "s" + std::to_string(round);
      const std::string& client = clients[pick(0, 1)];
      lastQuery = search(name, randomScript(round * 10000),
                         {{"clientName", client},
                          {"lineageName", "L" + std::to_string(pick(0, 9))},
                          {"sortingAttribute", "kMDItemFSContentChangeDate"}});
      started.emplace_back(name, client);
    } else if (action < 70) {
      clearAnnouncedBatches();
    } else if (action < 82 && !started.empty()) {
      const auto& [name, client] = started[pick(0, static_cast<int>(started.size()) - 1)];
      plugin_.cancel(
          PluginHarness::command(Message::Cancel, {{"uniqueName", name}, {"clientName", client}}));
      postsAtCancel[name] = postsAbout(name);
    } else if (action < 87) {
      Value::Array activeNames;
      if (!started.empty()) activeNames.emplace_back(started.back().first);
      plugin_.terminate(PluginHarness::command(
          Message::Terminate,
          {{"clientName", clients[pick(0, 1)]}, {"activeNames", Value(activeNames)}}));
    } else if (action < 89) {
      auto editor = harness_.fakes.workspace->launchApplication("com.example.Editor");
      harness_.fakes.workspace->terminateApplication(editor);
    } else if (lastQuery) {
      // Let the newest query stream to its end while the others go on delivering.
      EXPECT_TRUE(lastQuery->waitUntilIdle(testing::kWaitTimeout));
    }
    harness_.runMain();
  }
  clearAnnouncedBatches();
  for (const auto& client : clients) {
    plugin_.terminate(PluginHarness::command(Message::Terminate, {{"clientName", client}}));
  }
  harness_.stopEngineQueries();
  harness_.runMain();

  EXPECT_TRUE(plugin_.queryNames().empty());
  EXPECT_TRUE(plugin_.queryNamesByClient().empty());

  for (const auto& [name, count] : postsAtCancel) {
    EXPECT_EQ(postsAbout(name), count) << name << " posted after it was cancelled";
  }

  std::map<std::string, std::uint64_t> lastBatchNumber;
  for (const auto& post : harness_.posts(Message::QueryHasUpdates)) {
    const std::string name = *post.userInfo["uniqueName"].asString();
    const std::uint64_t number = post.userInfo["batchNumber"].unsignedLongLongValue();
    EXPECT_GT(number, lastBatchNumber[name]) << name;
    lastBatchNumber[name] = number;
  }

  const auto pool = plugin_.pasteboardPool();
  EXPECT_LE(pool.size(), 5u);
  EXPECT_EQ(std::set(pool.begin(), pool.end()).size(), pool.size());
  const std::string removalType =
      protocol::pasteboardTypeName(protocol::PasteboardType::RemovalBatch);
  std::size_t lostToRemovals = 0;
  for (const auto& pasteboard : plugin_.pasteboards()) {
    const bool pooled = std::find(pool.begin(), pool.end(), pasteboard) != pool.end();
    const bool givenUp =
        harness_.fakes.pasteboardServer->releaseGloballyCount(pasteboard->name()) > 0;
    const bool removalBatch = !pasteboard->propertyListForType(removalType).isNil();
    lostToRemovals += removalBatch ? 1 : 0;
    EXPECT_EQ(int{pooled} + int{givenUp} + int{removalBatch}, 1)
        << pasteboard->name() << ": pooled " << pooled << ", given up " << givenUp
        << ", removal batch " << removalBatch;
  }
  EXPECT_GT(harness_.posts(Message::QueryHasUpdates).size(), 20u) << "the run exercised streaming";
  EXPECT_GE(lostToRemovals, harness_.posts(Message::QueryHasRemovals).size())
      << "every announced removal batch keeps its pasteboard";
}

}  // namespace
}  // namespace trovadex::plugin
