#include <gtest/gtest.h>

#include "plugin/log_history.hpp"
#include "plugin/plugin_harness.hpp"

namespace trovadex::plugin {
namespace {

using foundation::Value;
using protocol::Message;
using testing::PluginHarness;

std::string versionFor(const Value& bundleVersion) {
  PluginHarness harness;
  harness.fakes.pluginBundle->setInfo("CFBundleVersion", bundleVersion);
  return harness.start().version();
}

TEST(PluginVersion, KeepsTheTextAfterTheFirstDashUnlessTheDashEndsIt) {
  const std::pair<Value, std::string> table[] = {
      {"412-7", "7"},   {"2-3-4", "3-4"}, {"15-", "15-"}, {"88", "88"},
      {"1.2-", "1.2-"}, {"10-20", "20"},  {"-5", "5"},    {"", ""},
  };
  for (const auto& [bundleVersion, expected] : table) {
    EXPECT_EQ(versionFor(bundleVersion), expected) << bundleVersion.description();
  }
}

TEST(PluginVersion, IsEmptyWhenTheBundleHasNone) {
  EXPECT_EQ(versionFor(Value()), "");
  EXPECT_EQ(versionFor(Value::integer(7)), "");
}

TEST(PluginStart, LoadAndInitializeRegisterTheBundleAndCreateTheInstanceOnALaterMainPass) {
  PluginHarness harness;
  TDMailPlugin::load(harness.context);
  TDMailPlugin::initialize(harness.context);

  EXPECT_EQ(harness.fakes.hostClasses->mailBundle().registerBundleCount(), 1u);
  EXPECT_EQ(harness.context.sharedInstance, nullptr) << "never inside initialize itself";
  ASSERT_EQ(harness.fakes.dispatcher->pendingMainCount(), 1u);

  ASSERT_TRUE(harness.fakes.dispatcher->runOneMain());
  ASSERT_NE(harness.context.sharedInstance, nullptr);
  EXPECT_EQ(harness.fakes.console->lines(),
            (std::vector<std::string>{"TrovadexMailPlugin - n/a - TDMailPlugin load",
                                      "TrovadexMailPlugin - n/a - TDMailPlugin initialize",
                                      "TrovadexMailPlugin - n/a - TDMailPlugin register",
                                      "TrovadexMailPlugin - n/a - TDMailPlugin create instance"}));
  EXPECT_EQ(harness.posts(Message::PluginReady).size(), 1u);
}

TEST(PluginStart, WithoutTheHostsBundleClassLogsOneLineAndStaysInert) {
  PluginHarness harness;
  harness.fakes.hostClasses->setMailBundleClassPresent(false);
  TDMailPlugin::initialize(harness.context);
  harness.runMain();
  harness.fakes.dispatcher->runGlobalUntilIdle();

  EXPECT_EQ(harness.fakes.console->lines(),
            (std::vector<std::string>{
                "TrovadexMailPlugin - n/a - TDMailPlugin initialize",
                "TrovadexMailPlugin - n/a - Mail.app doesn't support bundles anymore!"}));
  EXPECT_EQ(harness.context.sharedInstance, nullptr);
  EXPECT_EQ(harness.fakes.hostClasses->mailBundle().registerBundleCount(), 0u);
  EXPECT_TRUE(harness.fakes.distributedCenter->posts().empty());
  EXPECT_EQ(harness.fakes.distributedCenter->observerCount(protocol::messageName(Message::Connect)),
            0u);
  EXPECT_TRUE(harness.fakes.workspace->installLookups().empty()) << "no installation check";
}

TEST(PluginStart, CreateInstanceDispatchesTheInstallationCheckToTheGlobalQueue) {
  PluginHarness harness;
  TDMailPlugin::createInstance(harness.context);
  EXPECT_EQ(harness.fakes.dispatcher->pendingGlobalCount(), 1u);
  EXPECT_TRUE(harness.fakes.workspace->installLookups().empty());
  harness.fakes.dispatcher->runGlobalUntilIdle();
  EXPECT_FALSE(harness.fakes.workspace->installLookups().empty());
}

TEST(PluginStart, PluginReadyCarriesExactlyVersionAndCompatibilityVersion) {
  PluginHarness harness;
  harness.fakes.pluginBundle->setInfo("CFBundleVersion", "412-7");
  harness.start(/*keepStartupRecord=*/true);

  const auto ready = harness.posts(Message::PluginReady);
  ASSERT_EQ(ready.size(), 1u);
  EXPECT_TRUE(ready[0].object.isNil());
  EXPECT_TRUE(ready[0].deliverImmediately);
  const Value::Dictionary expected{{"version", "7"}, {"compatibilityVersion", Value::integer(1)}};
  EXPECT_EQ(ready[0].userInfo, Value(expected));
  EXPECT_EQ(ready[0].userInfo["compatibilityVersion"].kind(), Value::Kind::Integer);
}

TEST(PluginStart, ObservesTheFiveCommandsTheQuitAndApplicationTerminations) {
  PluginHarness harness;
  harness.start();
  for (Message command :
       {Message::Connect, Message::Search, Message::Cancel, Message::Clear, Message::Terminate}) {
    EXPECT_EQ(harness.fakes.distributedCenter->observerCount(protocol::messageName(command)), 1u)
        << protocol::messageName(command);
  }
  EXPECT_EQ(harness.fakes.localCenter->observerCount(
                std::string(platform::kApplicationWillTerminateNotification)),
            1u);
  EXPECT_EQ(harness.fakes.workspaceCenter->observerCount(
                std::string(platform::kWorkspaceDidTerminateApplicationNotification)),
            1u);

  harness.send(Message::Connect, {{"clientName", "c1"}});
  EXPECT_EQ(harness.posts(Message::PluginReady).size(), 1u) << "commands reach their handler";
}

void quit(PluginHarness& harness) {
  harness.fakes.localCenter->postNotification(
      std::string(platform::kApplicationWillTerminateNotification), Value(), Value(), false);
  harness.runMain();
}

TEST(PluginQuit, ReportsAnEmptyArrayOfActiveNamesWhenNothingRuns) {
  PluginHarness harness;
  harness.start();
  quit(harness);
  const auto quitPosts = harness.posts(Message::PluginQuit);
  ASSERT_EQ(quitPosts.size(), 1u);
  const Value& activeNames = quitPosts[0].userInfo["activeNames"];
  ASSERT_TRUE(activeNames.isArray());
  EXPECT_EQ(activeNames.count(), 0u);
  EXPECT_EQ(quitPosts[0].userInfo["version"], Value("1"));
  EXPECT_EQ(quitPosts[0].userInfo["compatibilityVersion"], Value::integer(1));
}

TEST(PluginQuit, ReleasesEveryPasteboardOnceAndEmptiesBothArrays) {
  PluginHarness harness;
  TDMailPlugin& plugin = harness.start();
  auto first = plugin.pasteboardFromPool();
  auto second = plugin.pasteboardFromPool();
  auto third = plugin.pasteboardFromPool();
  plugin.pasteboardToPool(second);

  quit(harness);
  EXPECT_TRUE(plugin.pasteboards().empty());
  EXPECT_TRUE(plugin.pasteboardPool().empty());
  for (const auto& pasteboard : {first, second, third}) {
    EXPECT_EQ(harness.fakes.pasteboardServer->releaseGloballyCount(pasteboard->name()), 1u);
  }
}

Value::Array historyAged(const PluginHarness& harness, std::initializer_list<double> ages) {
  const foundation::Date now = harness.fakes.clock->now();
  Value::Array history;
  int line = 0;
  for (double age : ages) {
    history.emplace_back(Value::Array{Value(now.addingTimeInterval(-age)), "n/a",
                                      Value("line " + std::to_string(++line))});
  }
  return history;
}

TEST(PluginQuit, ReleaseBuildRemovesTheLogHistory) {
  PluginHarness harness;
  harness.fakes.pluginBundle->setInfo("CFBundleShortVersionString", "2.1");
  harness.start();
  harness.fakes.userDefaults->setObject(Value(historyAged(harness, {10})),
                                        std::string(kLogHistoryKey));
  quit(harness);
  EXPECT_TRUE(harness.fakes.userDefaults->objectForKey(std::string(kLogHistoryKey)).isNil());
}

TEST(PluginQuit, BetaBuildTrimsTheFrontToEntriesYoungerThanFiveMinutes) {
  PluginHarness harness;
  harness.fakes.pluginBundle->setInfo("CFBundleShortVersionString", "2.1b3");
  harness.start();
  harness.fakes.userDefaults->setObject(Value(historyAged(harness, {400, 300, 299, 1000, 5})),
                                        std::string(kLogHistoryKey));
  quit(harness);
  const Value::Array history = harness.logHistory();
  ASSERT_EQ(history.size(), 3u) << "an old entry behind a young one stays";
  EXPECT_EQ(history[0].at(2), Value("line 3"));
  EXPECT_EQ(history[1].at(2), Value("line 4"));
  EXPECT_EQ(history[2].at(2), Value("line 5"));
}

TEST(PluginQuit, MissingShortVersionTrimsLikeABetaBuild) {
  PluginHarness harness;
  harness.fakes.pluginBundle->setInfo("CFBundleShortVersionString", Value());
  harness.start();
  Value::Array history = historyAged(harness, {600, 20});
  history.insert(history.begin(), Value("not an entry"));
  harness.fakes.userDefaults->setObject(Value(history), std::string(kLogHistoryKey));
  quit(harness);
  const Value::Array trimmed = harness.logHistory();
  ASSERT_EQ(trimmed.size(), 1u);
  EXPECT_EQ(trimmed[0].at(2), Value("line 2"));
}

TEST(PluginQuit, BetaBuildWithoutAHistoryStoresAnEmptyOne) {
  PluginHarness harness;
  harness.fakes.pluginBundle->setInfo("CFBundleShortVersionString", "3.0b1");
  harness.start();
  harness.fakes.userDefaults->removeObjectForKey(std::string(kLogHistoryKey));
  quit(harness);
  const Value stored = harness.fakes.userDefaults->objectForKey(std::string(kLogHistoryKey));
  ASSERT_TRUE(stored.isArray());
  EXPECT_EQ(stored.count(), 0u);
}

TEST(PluginDealloc, RemovesTheObserversAndGivesUpEveryPasteboardUntagged) {
  PluginHarness harness;
  TDMailPlugin& plugin = harness.start();
  auto pasteboard = plugin.pasteboardFromPool();
  pasteboard->setTag("uniqueName", "q1");
  pasteboard->setTag("clientName", "c1");

  harness.context.sharedInstance.reset();
  EXPECT_EQ(harness.fakes.distributedCenter->observerCount(protocol::messageName(Message::Search)),
            0u);
  EXPECT_EQ(harness.fakes.workspaceCenter->observerCount(
                std::string(platform::kWorkspaceDidTerminateApplicationNotification)),
            0u);
  EXPECT_TRUE(pasteboard->tag("uniqueName").isNil());
  EXPECT_TRUE(pasteboard->tag("clientName").isNil());
  EXPECT_EQ(harness.fakes.pasteboardServer->releaseGloballyCount(pasteboard->name()), 1u);

  harness.send(Message::Connect, {});
  EXPECT_TRUE(harness.posts(Message::PluginReady).empty()) << "a gone instance answers nothing";
}

TEST(PluginStart, ASecondCreateInstanceReplacesTheFirst) {
  PluginHarness harness;
  TDMailPlugin& first = harness.start();
  const TDMailPlugin* firstAddress = &first;
  TDMailPlugin::createInstance(harness.context);
  EXPECT_NE(harness.context.sharedInstance.get(), firstAddress);
  EXPECT_EQ(harness.fakes.distributedCenter->observerCount(protocol::messageName(Message::Clear)),
            1u);
}

}  // namespace
}  // namespace trovadex::plugin
