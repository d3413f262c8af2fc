#include "platform/fake/fake_workspace.hpp"

#include <gtest/gtest.h>

#include <memory>
#include <vector>

namespace trovadex::platform::fake {
namespace {

using foundation::Value;

class FakeWorkspaceTest : public ::testing::Test {
 protected:
  std::shared_ptr<FakeDispatcher> dispatcher = std::make_shared<FakeDispatcher>();
  FakeWorkspace workspace{std::make_shared<FakeNotificationCenter>(dispatcher)};
};

TEST_F(FakeWorkspaceTest, AnswersInstalledAndRunningApplicationsAndRecordsLookUps) {
  workspace.installApplication("org.trovadex.Trovadex.Store", "/Applications/Store.app");
  auto running = workspace.launchApplication("org.trovadex.Trovadex");
  workspace.launchApplication(Value());

  EXPECT_FALSE(workspace.absolutePathForAppBundleWithIdentifier("org.trovadex.Trovadex"));
  EXPECT_EQ(workspace.absolutePathForAppBundleWithIdentifier("org.trovadex.Trovadex.Store"),
            "/Applications/Store.app");
  EXPECT_EQ(workspace.installLookups(),
            (std::vector<std::string>{"org.trovadex.Trovadex", "org.trovadex.Trovadex.Store"}));
  const auto found = workspace.runningApplicationsWithBundleIdentifier("org.trovadex.Trovadex");
  ASSERT_EQ(found.size(), 1u);
  EXPECT_EQ(found[0], running);

  workspace.uninstallApplication("org.trovadex.Trovadex.Store");
  EXPECT_FALSE(workspace.absolutePathForAppBundleWithIdentifier("org.trovadex.Trovadex.Store"));
}

TEST_F(FakeWorkspaceTest, TerminationLeavesTheRunningListThenPostsWithIdentifierAndApplication) {
  auto running = workspace.launchApplication("org.trovadex.Trovadex");
  std::size_t stillRunningWhenObserved = 99;
  std::vector<Notification> seen;
  auto subscription = workspace.notificationCenter().addObserver(
      std::string(kWorkspaceDidTerminateApplicationNotification),
      [&](const Notification& notification) {
        stillRunningWhenObserved =
            workspace.runningApplicationsWithBundleIdentifier("org.trovadex.Trovadex").size();
        seen.push_back(notification);
      });

  workspace.terminateApplication(running);
  workspace.terminateApplication(workspace.launchApplication("com.example.Other"),
                                 TerminationInfo::WithoutBundleIdentifier);

  ASSERT_EQ(seen.size(), 2u);
  EXPECT_EQ(stillRunningWhenObserved, 0u);
  EXPECT_EQ(seen[0].userInfo,
            Value(Value::Dictionary{{"NSApplicationBundleIdentifier", "org.trovadex.Trovadex"}}));
  EXPECT_EQ(seen[0].application, running);
  EXPECT_TRUE(seen[1].userInfo["NSApplicationBundleIdentifier"].isNil());
  ASSERT_NE(seen[1].application, nullptr);
  EXPECT_EQ(seen[1].application->bundleIdentifier(), Value("com.example.Other"));
}

}  // namespace
}  // namespace trovadex::platform::fake
