#include <gtest/gtest.h>

#include "plugin/plugin_harness.hpp"

namespace trovadex::plugin {
namespace {

using foundation::Value;
using protocol::Message;
using testing::PluginHarness;

class Connect : public ::testing::Test {
 protected:
  Connect() : plugin_(harness_.start()) {}

  // A Connect from client, with checkVersion and compatibilityVersion when given.
  void connect(const std::string& client, const Value& checkVersion,
               const Value& compatibilityVersion) {
    Value::Dictionary userInfo{{"clientName", client}, {"version", "5.2"}};
    if (!checkVersion.isNil()) userInfo.emplace("checkVersion", checkVersion);
    if (!compatibilityVersion.isNil())
      userInfo.emplace("compatibilityVersion", compatibilityVersion);
    plugin_.connect(PluginHarness::command(Message::Connect, userInfo));
  }
  std::size_t alertsAfterMainLoop() {
    harness_.runMain();
    return harness_.fakes.alertPresenter->alertsShown().size();
  }

  PluginHarness harness_;
  TDMailPlugin& plugin_;
};

TEST_F(Connect, EchoesTheRequestWithThePluginsOwnVersionAndCompatibilityVersion) {
  plugin_.connect(
      PluginHarness::command(Message::Connect, {{"clientName", "c1"},
                                                {"version", "x"},
                                                {"compatibilityVersion", Value::integer(7)},
                                                {"extra", Value::Array{"kept"}}}));
  const auto replies = harness_.posts(Message::PluginReady);
  ASSERT_EQ(replies.size(), 1u);
  const Value::Dictionary expected{{"clientName", "c1"},
                                   {"version", "1"},
                                   {"compatibilityVersion", Value::integer(1)},
                                   {"extra", Value::Array{"kept"}}};
  EXPECT_EQ(replies[0].userInfo, Value(expected));
  EXPECT_EQ(
      harness_.fakes.console->lines(),
      (std::vector<std::string>{
          "TrovadexMailPlugin - n/a - TDMailPlugin received org.trovadex.MailPlugin.Connect "
          "/ c1 - x - 7",
          "TrovadexMailPlugin - n/a - TDMailPlugin post org.trovadex.MailPlugin.PluginReady"}));
}

TEST_F(Connect, WithoutUserInfoRepliesWithOnlyTheCommonKeys) {
  plugin_.connect(platform::Notification{protocol::messageName(Message::Connect), {}, {}, nullptr});
  const auto replies = harness_.posts(Message::PluginReady);
  ASSERT_EQ(replies.size(), 1u);
  EXPECT_EQ(replies[0].userInfo.count(), 2u);
  EXPECT_EQ(alertsAfterMainLoop(), 0u);
  EXPECT_EQ(harness_.consoleLines("received")[0],
            "TrovadexMailPlugin - n/a - TDMailPlugin received org.trovadex.MailPlugin.Connect / "
            "(null) - (null) - (null)");
}

TEST_F(Connect, NamingAQueryThatDoesNotRunGetsNoReply) {
  plugin_.connect(
      PluginHarness::command(Message::Connect, {{"clientName", "c1"}, {"uniqueName", "nothing"}}));
  EXPECT_TRUE(harness_.posts(Message::PluginReady).empty());
}

TEST_F(Connect, ACompatibleCheckLatchesWithoutAnAlert) {
  connect("c1", Value::boolean(true), Value::integer(1));
  EXPECT_EQ(alertsAfterMainLoop(), 0u);
  EXPECT_TRUE(harness_.context.compatibilityChecked);
  connect("c2", Value::boolean(true), Value::integer(2));
  EXPECT_EQ(alertsAfterMainLoop(), 0u) << "the latch is already set";
  EXPECT_EQ(harness_.posts(Message::PluginReady).size(), 2u);
}

TEST_F(Connect, TwoIncompatibleClientsSeeOneAlertAndBothGetAReply) {
  connect("c1", Value::boolean(true), Value::integer(2));
  EXPECT_TRUE(harness_.fakes.alertPresenter->alertsShown().empty()) << "scheduled, not shown";
  EXPECT_EQ(harness_.posts(Message::PluginReady).size(), 1u) << "the reply does not wait";
  connect("c2", Value::boolean(true), Value::integer(2));
  EXPECT_EQ(alertsAfterMainLoop(), 1u);
  const auto replies = harness_.posts(Message::PluginReady);
  ASSERT_EQ(replies.size(), 2u);
  EXPECT_EQ(replies[0].userInfo["clientName"], Value("c1"));
  EXPECT_EQ(replies[1].userInfo["clientName"], Value("c2"));
}

TEST_F(Connect, AlertsWhenTheCompatibilityVersionIsMissingOrNotTheNumberOne) {
  const Value incompatible[] = {Value(), Value("1"), Value::integer(0), Value::real(1.5)};
  for (const Value& version : incompatible) {
    PluginHarness harness;
    TDMailPlugin& plugin = harness.start();
    Value::Dictionary userInfo{{"checkVersion", Value::boolean(true)}};
    if (!version.isNil()) userInfo.emplace("compatibilityVersion", version);
    plugin.connect(PluginHarness::command(Message::Connect, userInfo));
    harness.runMain();
    EXPECT_EQ(harness.fakes.alertPresenter->alertsShown().size(), 1u) << version.description();
  }
}

TEST_F(Connect, WithoutACheckComparesNothingAndLeavesTheLatchOpen) {
  connect("c1", Value(), Value::integer(2));
  connect("c2", Value::boolean(false), Value::integer(2));
  EXPECT_EQ(alertsAfterMainLoop(), 0u);
  EXPECT_FALSE(harness_.context.compatibilityChecked);
  connect("c3", Value::boolean(true), Value::integer(2));
  EXPECT_EQ(alertsAfterMainLoop(), 1u);
}

TEST_F(Connect, TheVersionAlertIsCriticalWithOneButtonAndTheHostsTexts) {
  harness_.fakes.mainBundle->setLocalizedString("OK", "D'accord");
  connect("c1", Value::boolean(true), Value::integer(3));
  harness_.runMain();
  const auto alerts = harness_.fakes.alertPresenter->alertsShown();
  ASSERT_EQ(alerts.size(), 1u);
  EXPECT_TRUE(alerts[0].onMainThread);
  EXPECT_EQ(alerts[0].alert.style, platform::AlertStyle::Critical);
  EXPECT_EQ(alerts[0].alert.messageText, "The Trovadex Mail plug-in needs an update");
  EXPECT_EQ(alerts[0].alert.informativeText,
            "The version of your Trovadex Mail plug-in is not compatible with the version of your "
            "Trovadex application. Please re-install the plug-in.");
  EXPECT_EQ(alerts[0].alert.buttons, std::vector<std::string>{"D'accord"});
}

}  // namespace
}  // namespace trovadex::plugin
