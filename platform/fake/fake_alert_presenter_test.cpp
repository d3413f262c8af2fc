#include "platform/fake/fake_alert_presenter.hpp"

#include <gtest/gtest.h>

#include <memory>

namespace trovadex::platform::fake {
namespace {

TEST(FakeAlertPresenter, AnswersFromItsScriptThenWithTheDefaultAndRecordsWhereAlertsRan) {
  auto dispatcher = std::make_shared<FakeDispatcher>();
  FakeAlertPresenter alerts(dispatcher);
  alerts.scriptAnswers({1001});
  const Alert alert{"Title", "Text", AlertStyle::Informational, {"Uninstall Plug-In", "Continue"}};

  EXPECT_EQ(alerts.runModal(alert), 1001);
  EXPECT_EQ(alerts.runModal(alert), kAlertFirstButtonReturn);
  alerts.setDefaultAnswer(1001);
  dispatcher->dispatchAsyncGlobal([&] { alerts.runModal(alert); });
  dispatcher->runGlobalUntilIdle();
  alerts.presentError(foundation::Error{"NSCocoaErrorDomain", 513, "refused"});

  const auto shown = alerts.alertsShown();
  ASSERT_EQ(shown.size(), 3u);
  EXPECT_EQ(shown[0].alert.buttons, alert.buttons);
  EXPECT_TRUE(shown[1].onMainThread);
  EXPECT_EQ(shown[2].answer, 1001);
  EXPECT_FALSE(shown[2].onMainThread);
  ASSERT_EQ(alerts.errorsPresented().size(), 1u);
  EXPECT_EQ(alerts.errorsPresented()[0].error.code, 513);
}

}  // namespace
}  // namespace trovadex::platform::fake
