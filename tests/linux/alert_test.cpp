// Alerts on a terminal (a pseudo-terminal here) and answered without one.
#include <fcntl.h>
#include <gtest/gtest.h>
#include <stdlib.h>
#include <unistd.h>

#include <string>

#include "linux/terminal_alert_presenter.hpp"
#include "tests/linux/linux_test_support.hpp"

namespace trovadex::linux_platform {
namespace {

using testing::RecordingConsole;

// A pseudo-terminal: the presenter talks on its terminal side, the test types on the other.
class PseudoTerminal {
 public:
  PseudoTerminal() {
    master_ = ::posix_openpt(O_RDWR | O_NOCTTY | O_CLOEXEC);
    EXPECT_GE(master_, 0);
    EXPECT_EQ(::grantpt(master_), 0);
    EXPECT_EQ(::unlockpt(master_), 0);
    path_ = ::ptsname(master_);
    // Held open so that typed input waits in the terminal until the presenter reads it.
    terminal_ = ::open(path_.c_str(), O_RDWR | O_NOCTTY | O_CLOEXEC);
  }
  ~PseudoTerminal() {
    ::close(terminal_);
    ::close(master_);
  }
  const std::string& path() const { return path_; }
  void type(const std::string& keys) const {
    EXPECT_EQ(::write(master_, keys.data(), keys.size()), static_cast<ssize_t>(keys.size()));
  }
  // End of input, as Ctrl-D on an empty line.
  void endInput() const { type("\x04"); }
  std::string screen() const {
    std::string text;
    ::fcntl(master_, F_SETFL, O_NONBLOCK);
    char buffer[4096];
    ssize_t count = 0;
    while ((count = ::read(master_, buffer, sizeof buffer)) > 0) text.append(buffer, count);
    return text;
  }

 private:
  int master_ = -1;
  int terminal_ = -1;
  std::string path_;
};

platform::Alert removalOffer() {
  return {
      "Trovadex Application Not Found",
      "It looks like you uninstalled Trovadex. Do you want to remove the Trovadex Mail Plug-in?",
      platform::AlertStyle::Informational,
      {"Uninstall Plug-In", "Continue"}};
}

TEST(TerminalAlertPresenter, AsksOnTheTerminalAndReturnsTheChosenButton) {
  PseudoTerminal terminal;
  auto console = std::make_shared<RecordingConsole>();
  TerminalAlertPresenter presenter(console, std::nullopt, terminal.path());
  terminal.type("1\n");
  EXPECT_EQ(presenter.runModal(removalOffer()), platform::kAlertFirstButtonReturn);
  const std::string screen = terminal.screen();
  EXPECT_NE(screen.find("Trovadex Application Not Found"), std::string::npos) << screen;
  EXPECT_NE(screen.find("Do you want to remove the Trovadex Mail Plug-in?"), std::string::npos);
  EXPECT_NE(screen.find("1) Uninstall Plug-In"), std::string::npos);
  EXPECT_NE(screen.find("2) Continue"), std::string::npos);
  EXPECT_TRUE(console->contains("Alert answered: 1 (Uninstall Plug-In)"));
}

TEST(TerminalAlertPresenter, AsksAgainUntilTheAnswerIsAButtonNumber) {
  PseudoTerminal terminal;
  TerminalAlertPresenter presenter(nullptr, std::nullopt, terminal.path());
  terminal.type("yes\n3\n\n 2 \n");
  EXPECT_EQ(presenter.runModal(removalOffer()), platform::kAlertFirstButtonReturn + 1);
}

TEST(TerminalAlertPresenter, TakesTheLastButtonAtTheEndOfInput) {
  PseudoTerminal terminal;
  TerminalAlertPresenter presenter(nullptr, std::nullopt, terminal.path());
  terminal.endInput();
  EXPECT_EQ(presenter.runModal(removalOffer()), platform::kAlertFirstButtonReturn + 1);
}

TEST(TerminalAlertPresenter, AnswersWithTheLastButtonWhenThereIsNoTerminal) {
  auto console = std::make_shared<RecordingConsole>();
  TerminalAlertPresenter presenter(console, std::nullopt, testing::testRoot() + "/no-tty");
  EXPECT_EQ(presenter.runModal(removalOffer()), platform::kAlertFirstButtonReturn + 1);
  EXPECT_TRUE(console->contains("Alert (Note): Trovadex Application Not Found - It looks like"));
  EXPECT_TRUE(console->contains("Alert answered: 2 (Continue)"));
}

TEST(TerminalAlertPresenter, AnswersWithTheConfiguredButtonWithoutAsking) {
  PseudoTerminal terminal;
  TerminalAlertPresenter first(nullptr, 1, terminal.path());
  EXPECT_EQ(first.runModal(removalOffer()), platform::kAlertFirstButtonReturn);
  TerminalAlertPresenter beyond(nullptr, 9, terminal.path());
  EXPECT_EQ(beyond.runModal(removalOffer()), platform::kAlertFirstButtonReturn + 1);
  platform::Alert single{
      "The Trovadex Mail plug-in needs an update", "", platform::AlertStyle::Critical, {"OK"}};
  EXPECT_EQ(beyond.runModal(single), platform::kAlertFirstButtonReturn);
  EXPECT_EQ(terminal.screen(), "") << "a configured answer never shows on the terminal";
}

TEST(TerminalAlertPresenter, ShowsAnErrorOnTheTerminalAndInTheLog) {
  PseudoTerminal terminal;
  auto console = std::make_shared<RecordingConsole>();
  TerminalAlertPresenter presenter(console, std::nullopt, terminal.path());
  presenter.presentError({"g-io-error-quark", 1, "\"X\" couldn't be moved to the Trash: gone"});
  EXPECT_NE(terminal.screen().find("Error: \"X\" couldn't be moved to the Trash: gone"),
            std::string::npos);
  EXPECT_TRUE(console->contains("Error: \"X\" couldn't be moved to the Trash: gone"));
}

}  // namespace
}  // namespace trovadex::linux_platform
