// TerminalAlertPresenter: the AlertPresenter port on the host's controlling terminal.
//
// When the host has a terminal and no configured response, runModal() shows the message, the
// informative text and the numbered buttons there and reads the chosen number, asking again
// until it gets one; end of input picks the last button. Without a terminal, or with a
// configured response N, the alert is logged and answered with button N (clamped to the
// buttons there are), by default the last button, so that an unattended host never chooses
// the first. Every alert and its answer is logged. Main thread only.
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
  // configuredResponse is a 1-based button number; terminalPath is the terminal to talk on.
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
