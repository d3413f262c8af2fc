// The pool, Clear and cancel driven from several threads at once; run under ThreadSanitizer in CI.
#include <algorithm>
#include <atomic>
#include <set>
#include <thread>

#include <gtest/gtest.h>

#include "plugin/plugin_harness.hpp"
#include "search/td_mail_plugin_query.hpp"

namespace trovadex::plugin {
namespace {

using foundation::Value;
using protocol::Message;
using testing::PluginHarness;

const std::vector<std::string> kQueries{"q0", "q1", "q2"};

void searchFor(TDMailPlugin& plugin, const std::string& name) {
  plugin.search(
      PluginHarness::command(Message::Search, {{"uniqueName", name}, {"clientName", "c1"}}));
}

// Posts a batch as the results poster does: take, tag, file as pending (or give back when the
// query is gone), and sometimes clear it at once as the companion would.
void postAndClear(TDMailPlugin& plugin, std::size_t seed, int rounds) {
  for (int round = 0; round < rounds; ++round) {
    const std::string& name = kQueries[(seed + round) % kQueries.size()];
    auto pasteboard = plugin.pasteboardFromPool();
    pasteboard->setTag("uniqueName", name);
    pasteboard->setTag("clientName", "c1");
    auto record = plugin.queryNamed(name);
    if (!record || !plugin.addPendingBatch(*record, {pasteboard->name(), 1, pasteboard})) {
      plugin.pasteboardToPool(pasteboard);
      continue;
    }
    if (round % 3 != 0) {
      plugin.clear(PluginHarness::command(
          Message::Clear,
          {{"uniqueName", name}, {"clientName", "c1"}, {"batchName", pasteboard->name()}}));
    }
  }
}

TEST(PoolConcurrency, TakesReturnsClearsAndCancelsFromSeveralThreadsWithoutLosingAPasteboard) {
  PluginHarness harness;
  TDMailPlugin& plugin = harness.start();
  for (const auto& name : kQueries) searchFor(plugin, name);

  std::atomic<bool> stop{false};
  std::vector<std::thread> threads;
  for (std::size_t seed = 0; seed < 2; ++seed) {
    threads.emplace_back([&plugin, seed] { postAndClear(plugin, seed, 1500); });
  }
  threads.emplace_back([&plugin, &stop] {
    while (!stop.load()) plugin.pasteboardToPool(plugin.pasteboardFromPool());
  });
  threads.emplace_back([&plugin, &stop] {
    for (std::size_t round = 0; !stop.load(); ++round) {
      const std::string& name = kQueries[round % kQueries.size()];
      plugin.cancelQuery(name, Value("c1"));
      searchFor(plugin, name);
    }
  });
  threads[0].join();
  threads[1].join();
  stop.store(true);
  threads[2].join();
  threads[3].join();

  for (const auto& name : kQueries) plugin.cancelQuery(name, Value("c1"));
  const auto pool = plugin.pasteboardPool();
  EXPECT_LE(pool.size(), 5u);
  EXPECT_EQ(std::set(pool.begin(), pool.end()).size(), pool.size()) << "no pasteboard twice";
  for (const auto& pasteboard : plugin.pasteboards()) {
    const bool pooled = std::find(pool.begin(), pool.end(), pasteboard) != pool.end();
    const bool givenUp =
        harness.fakes.pasteboardServer->releaseGloballyCount(pasteboard->name()) > 0;
    EXPECT_NE(pooled, givenUp) << pasteboard->name()
                               << " is pooled or given up, not both or neither";
  }
}

}  // namespace
}  // namespace trovadex::plugin
