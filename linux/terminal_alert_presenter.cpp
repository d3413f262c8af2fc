#include "linux/terminal_alert_presenter.hpp"

#include <fcntl.h>
#include <unistd.h>

#include <algorithm>
#include <cerrno>
#include <charconv>
#include <string_view>
#include <vector>

namespace trovadex::linux_platform {
namespace {

// An answer line longer than this is read in pieces and refused.
constexpr std::size_t kMaximumAnswerLength = 32;

const char* styleLabel(platform::AlertStyle style) {
  switch (style) {
    case platform::AlertStyle::Critical:
      return "Critical";
    case platform::AlertStyle::Informational:
      return "Note";
    case platform::AlertStyle::Warning:
      break;
  }
  return "Warning";
}

class Terminal {
 public:
  explicit Terminal(const std::string& path)
      : fd_(::open(path.c_str(), O_RDWR | O_NOCTTY | O_CLOEXEC)) {}
  ~Terminal() {
    if (fd_ >= 0) ::close(fd_);
  }
  bool isOpen() const { return fd_ >= 0; }

  void write(std::string_view text) const {
    while (!text.empty()) {
      const ssize_t written = ::write(fd_, text.data(), text.size());
      if (written < 0) {
        if (errno == EINTR) continue;
        return;
      }
      text.remove_prefix(static_cast<std::size_t>(written));
    }
  }

  // One line without its newline; nothing at end of input or on a read error.
  std::optional<std::string> readLine() const {
    std::string line;
    for (;;) {
      char c = 0;
      const ssize_t count = ::read(fd_, &c, 1);
      if (count < 0 && errno == EINTR) continue;
      if (count <= 0) return line.empty() ? std::nullopt : std::optional(line);
      if (c == '\n') return line;
      if (line.size() <= kMaximumAnswerLength) line += c;
    }
  }

 private:
  int fd_;
};

std::optional<int> parseChoice(std::string_view text, int buttonCount) {
  while (!text.empty() && (text.front() == ' ' || text.front() == '\t')) text.remove_prefix(1);
  while (!text.empty() && (text.back() == ' ' || text.back() == '\t' || text.back() == '\r')) {
    text.remove_suffix(1);
  }
  int choice = 0;
  const auto parsed = std::from_chars(text.data(), text.data() + text.size(), choice);
  if (text.empty() || parsed.ec != std::errc() || parsed.ptr != text.data() + text.size() ||
      choice < 1 || choice > buttonCount) {
    return std::nullopt;
  }
  return choice;
}

}  // namespace

TerminalAlertPresenter::TerminalAlertPresenter(std::shared_ptr<platform::Console> console,
                                               std::optional<int> configuredResponse,
                                               std::string terminalPath)
    : console_(std::move(console)),
      configuredResponse_(configuredResponse),
      terminalPath_(std::move(terminalPath)) {}

void TerminalAlertPresenter::log(const std::string& line) const {
  if (console_) console_->writeLine(line);
}

std::int64_t TerminalAlertPresenter::runModal(const platform::Alert& alert) {
  // An alert given no buttons has the single button "OK".
  const std::vector<std::string> buttons =
      alert.buttons.empty() ? std::vector<std::string>{"OK"} : alert.buttons;
  const int count = static_cast<int>(buttons.size());
  log(std::string("Alert (") + styleLabel(alert.style) + "): " + alert.messageText + " - " +
      alert.informativeText);

  int choice = count;
  Terminal terminal(configuredResponse_ ? std::string() : terminalPath_);
  if (configuredResponse_) {
    choice = std::clamp(*configuredResponse_, 1, count);
  } else if (terminal.isOpen()) {
    std::string text = std::string("\n") + styleLabel(alert.style) + ": " + alert.messageText +
                       "\n" + alert.informativeText + "\n";
    for (int i = 0; i < count; ++i) {
      text += "  " + std::to_string(i + 1) + ") " + buttons[static_cast<std::size_t>(i)] + "\n";
    }
    terminal.write(text);
    const std::string prompt = "Choose 1-" + std::to_string(count) + ": ";
    for (;;) {
      terminal.write(prompt);
      const auto line = terminal.readLine();
      if (!line) break;  // end of input: the last button
      if (const auto parsed = parseChoice(*line, count)) {
        choice = *parsed;
        break;
      }
    }
  }
  log("Alert answered: " + std::to_string(choice) + " (" +
      buttons[static_cast<std::size_t>(choice - 1)] + ")");
  return platform::kAlertFirstButtonReturn + choice - 1;
}

void TerminalAlertPresenter::presentError(const foundation::Error& error) {
  log("Error: " + error.localizedDescription);
  if (configuredResponse_) return;
  Terminal terminal(terminalPath_);
  if (terminal.isOpen()) terminal.write("\nError: " + error.localizedDescription + "\n");
}

}  // namespace trovadex::linux_platform
