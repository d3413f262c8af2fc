// TerminalAlertPresenter: the AlertPresenter port on the host's controlling terminal.
//
// With a terminal, runModal() shows the alert with numbered buttons and reads the chosen number.
// Without one, or with a configured response, the alert is logged and answered with that button
// (default: the last, so an unattended host never chooses the first). Main thread only.
#pragma once

#include <cstdint>
#include <memory>
#include <optional>
#include <string>

#include "platform/alert_presenter.hpp"
#include "platform/console.hpp"

namespace trovadex::linux_platform {

inline constexpr const char* kControllingTerminal = "/dev/tty";

class TerminalAlertPresenter final : public platform::AlertPresenter {
 public:
  // configuredResponse is a 1-based button number, clamped to the buttons an alert has;
  // terminalPath is the terminal to talk on. On the terminal the question is asked again until
  // the answer is a button number; end of input picks the last button.
  TerminalAlertPresenter(std::shared_ptr<platform::Console> console,
                         std::optional<int> configuredResponse,
                         std::string terminalPath = kControllingTerminal);

  std::int64_t runModal(const platform::Alert& alert) override;
  void presentError(const foundation::Error& error) override;

 private:
  void log(const std::string& line) const;

  // Immutable after construction.
  const std::shared_ptr<platform::Console> console_;
  const std::optional<int> configuredResponse_;
  const std::string terminalPath_;
};

}  // namespace trovadex::linux_platform
