#include <filesystem>

#include <gtest/gtest.h>

#include "plugin/plugin_harness.hpp"

namespace trovadex::plugin {
namespace {

using foundation::Value;
using platform::fake::TerminationInfo;
using protocol::Message;
using testing::PluginHarness;

constexpr const char* kStandardEdition = "org.trovadex.Trovadex";
constexpr const char* kStoreEdition = "org.trovadex.Trovadex.Store";

class InstallationCheck : public ::testing::Test {
 protected:
  InstallationCheck() {
    bundlePath_ = std::filesystem::path(harness_.fakes.fileManager->userLibraryDirectory()) /
                  "Mail/Bundles/TrovadexMailPlugin.mailbundle";
    harness_.fakes.fileManager->createFile(bundlePath_ / "Contents/Info.plist", "<plist/>");
  }
  // Starts the plug-in and lets the check and any offer it makes run their course.
  void startAndCheck() {
    harness_.start();
    harness_.fakes.dispatcher->runGlobalUntilIdle();
    harness_.runMain();
  }

  PluginHarness harness_;
  std::filesystem::path bundlePath_;
};

TEST_F(InstallationCheck, StopsAtTheStandardEdition) {
  harness_.fakes.workspace->installApplication(kStandardEdition, "/apps/Trovadex");
  startAndCheck();
  EXPECT_EQ(harness_.fakes.workspace->installLookups(), std::vector<std::string>{kStandardEdition});
  EXPECT_TRUE(harness_.fakes.alertPresenter->alertsShown().empty());
}

TEST_F(InstallationCheck, FindsTheSubscriptionStoreEditionInTheSecondLookUp) {
  harness_.fakes.workspace->installApplication(kStoreEdition, "/apps/Trovadex Store");
  startAndCheck();
  EXPECT_EQ(harness_.fakes.workspace->installLookups(),
            (std::vector<std::string>{kStandardEdition, kStoreEdition}));
  EXPECT_TRUE(harness_.fakes.alertPresenter->alertsShown().empty());
  EXPECT_TRUE(std::filesystem::exists(bundlePath_));
}

TEST_F(InstallationCheck, OffersRemovalOnTheMainThreadAndTrashesTheBundleOnRequest) {
  harness_.fakes.alertPresenter->scriptAnswers({platform::kAlertFirstButtonReturn});
  startAndCheck();

  const auto alerts = harness_.fakes.alertPresenter->alertsShown();
  ASSERT_EQ(alerts.size(), 1u);
  EXPECT_TRUE(alerts[0].onMainThread);
  EXPECT_EQ(alerts[0].alert.messageText, "Trovadex Application Not Found");
  EXPECT_EQ(alerts[0].alert.informativeText,
            "It looks like you uninstalled Trovadex. Do you want to remove the Trovadex Mail "
            "Plug-in?");
  EXPECT_EQ(alerts[0].alert.style, platform::AlertStyle::Informational);
  EXPECT_EQ(alerts[0].alert.buttons, (std::vector<std::string>{"Uninstall Plug-In", "Continue"}));

  EXPECT_EQ(harness_.fakes.fileManager->trashRequests(),
            std::vector<std::string>{bundlePath_.string()});
  EXPECT_FALSE(std::filesystem::exists(bundlePath_));
  EXPECT_TRUE(std::filesystem::exists(harness_.fakes.fileManager->trashFolder() /
                                      "TrovadexMailPlugin.mailbundle"));
  EXPECT_TRUE(harness_.fakes.alertPresenter->errorsPresented().empty());
}

TEST_F(InstallationCheck, LooksTheAlertTextsUpInTheHostsBundle) {
  harness_.fakes.mainBundle->setLocalizedString("%@ Application Not Found", "%@ introuvable");
  harness_.fakes.mainBundle->setLocalizedString("Continue", "Continuer");
  harness_.fakes.alertPresenter->scriptAnswers({platform::kAlertFirstButtonReturn + 1});
  startAndCheck();
  const auto alerts = harness_.fakes.alertPresenter->alertsShown();
  ASSERT_EQ(alerts.size(), 1u);
  EXPECT_EQ(alerts[0].alert.messageText, "Trovadex introuvable");
  EXPECT_EQ(alerts[0].alert.buttons[1], "Continuer");
}

TEST_F(InstallationCheck, ContinueTouchesNoFile) {
  harness_.fakes.alertPresenter->scriptAnswers({platform::kAlertFirstButtonReturn + 1});
  startAndCheck();
  EXPECT_EQ(harness_.fakes.alertPresenter->alertsShown().size(), 1u);
  EXPECT_TRUE(harness_.fakes.fileManager->trashRequests().empty());
  EXPECT_TRUE(harness_.fakes.fileManager->removeRequests().empty());
  EXPECT_TRUE(std::filesystem::exists(bundlePath_));
}

TEST_F(InstallationCheck, PresentsTheTrashsErrorWhenTheMoveFails) {
  harness_.fakes.fileManager->setTrashFails(true);
  harness_.fakes.alertPresenter->scriptAnswers({platform::kAlertFirstButtonReturn});
  startAndCheck();
  const auto errors = harness_.fakes.alertPresenter->errorsPresented();
  ASSERT_EQ(errors.size(), 1u);
  EXPECT_TRUE(errors[0].onMainThread);
  EXPECT_EQ(errors[0].error.code, platform::fake::kFileWriteNoPermissionError);
  EXPECT_TRUE(std::filesystem::exists(bundlePath_));
  EXPECT_TRUE(harness_.consoleLines("ERROR").empty()) << "nothing is logged";
}

TEST(UninstallPlugin, SucceedsWithoutTouchingABundleOutsideTheUsersLibrary) {
  PluginHarness harness;
  const auto elsewhere = harness.fakes.fileManager->root() /
                         "SystemLibrary/Mail/Bundles/TrovadexMailPlugin.mailbundle";
  harness.fakes.fileManager->createFile(elsewhere / "Contents/Info.plist");
  EXPECT_TRUE(TDMailPlugin::uninstallPlugin(harness.context).ok());
  EXPECT_TRUE(harness.fakes.fileManager->trashRequests().empty());
  EXPECT_TRUE(std::filesystem::exists(elsewhere));
}

TEST(UninstallPlugin, RemovesThePathAgainAfterASuccessfulMove) {
  PluginHarness harness;
  const std::string bundlePath = harness.fakes.fileManager->userLibraryDirectory() +
                                 "/Mail/Bundles/TrovadexMailPlugin.mailbundle";
  harness.fakes.fileManager->createFile(std::filesystem::path(bundlePath) / "Contents/x");
  EXPECT_TRUE(TDMailPlugin::uninstallPlugin(harness.context).ok());
  EXPECT_EQ(harness.fakes.fileManager->removeRequests(), std::vector<std::string>{bundlePath});
}

class ApplicationTermination : public ::testing::Test {
 protected:
  ApplicationTermination() : plugin_(harness_.start()) {
    search("a1", "clientA");
    search("a2", "clientA");
    search("b1", "clientB");
    search("loose", "");
  }
  void search(const std::string& uniqueName, const std::string& clientName) {
    Value::Dictionary userInfo{{"uniqueName", uniqueName}, {"queryString", "x"}};
    if (!clientName.empty()) userInfo.emplace("clientName", clientName);
    plugin_.search(PluginHarness::command(Message::Search, userInfo));
  }
  void terminate(const Value& bundleIdentifier,
                 TerminationInfo info = TerminationInfo::WithBundleIdentifier) {
    auto application = harness_.fakes.workspace->launchApplication(bundleIdentifier);
    harness_.fakes.workspace->terminateApplication(application, info);
    harness_.runMain();
  }

  PluginHarness harness_;
  TDMailPlugin& plugin_;
};

TEST_F(ApplicationTermination, OfACompanionWhileTheOtherEditionRunsCancelsNothing) {
  harness_.fakes.workspace->launchApplication(kStoreEdition);
  terminate(kStandardEdition);
  EXPECT_EQ(plugin_.queryNames().size(), 4u);
  EXPECT_EQ(plugin_.queryNamesByClient().size(), 2u);
}

TEST_F(ApplicationTermination, OfACompanionWhileAnotherInstanceRunsCancelsNothing) {
  harness_.fakes.workspace->launchApplication(kStandardEdition);
  terminate(kStandardEdition);
  EXPECT_EQ(plugin_.queryNames().size(), 4u);
}

TEST_F(ApplicationTermination, OfTheLastCompanionTerminatesEveryClient) {
  terminate(kStoreEdition);
  EXPECT_EQ(plugin_.queryNames(), std::vector<Value>{"loose"})
      << "a query without a client is not reached";
  EXPECT_TRUE(plugin_.queryNamesByClient().empty());
  EXPECT_EQ(harness_.consoleLines("TDMailPlugin terminate client").size(), 2u);
}

TEST_F(ApplicationTermination, OfAnUnrelatedApplicationTerminatesEveryClientAllTheSame) {
  harness_.fakes.workspace->launchApplication(kStandardEdition);
  terminate("com.example.Editor");
  EXPECT_EQ(plugin_.queryNames(), std::vector<Value>{"loose"});
  EXPECT_TRUE(plugin_.queryNamesByClient().empty());
}

TEST_F(ApplicationTermination, AsksTheApplicationWhenTheNotificationLacksTheIdentifier) {
  terminate("com.example.Editor", TerminationInfo::WithoutBundleIdentifier);
  EXPECT_TRUE(plugin_.queryNamesByClient().empty());
}

TEST_F(ApplicationTermination, OfAnApplicationWithoutAnIdentifierIsIgnored) {
  terminate(Value(), TerminationInfo::WithoutBundleIdentifier);
  EXPECT_EQ(plugin_.queryNames().size(), 4u);
  EXPECT_TRUE(harness_.consoleLines("terminate client").empty());
}

TEST(ApplicationTerminationWithoutClients, DoesNothing) {
  PluginHarness harness;
  harness.start();
  auto editor = harness.fakes.workspace->launchApplication("com.example.Editor");
  harness.fakes.workspace->terminateApplication(editor);
  harness.runMain();
  EXPECT_TRUE(harness.consoleLines("terminate client").empty());
}

}  // namespace
}  // namespace trovadex::plugin
