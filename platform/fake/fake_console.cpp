#include "platform/fake/fake_console.hpp"

#include <algorithm>

namespace trovadex::platform::fake {

FakeConsole::FakeConsole() = default;
FakeConsole::~FakeConsole() = default;

void FakeConsole::writeLine(std::string_view line) {
  {
    std::lock_guard lock(mutex_);
    lines_.emplace_back(line);
  }
  written_.notify_all();
}

std::vector<std::string> FakeConsole::lines() const {
  std::lock_guard lock(mutex_);
  return lines_;
}

std::vector<std::string> FakeConsole::linesContaining(std::string_view text) const {
  std::lock_guard lock(mutex_);
  std::vector<std::string> matching;
  for (const auto& line : lines_) {
    if (line.find(text) != std::string::npos) matching.push_back(line);
  }
  return matching;
}

void FakeConsole::clear() {
  std::lock_guard lock(mutex_);
  lines_.clear();
}

bool FakeConsole::waitForLineContaining(std::string_view text,
                                        std::chrono::milliseconds timeout) const {
  std::unique_lock lock(mutex_);
  return written_.wait_for(lock, timeout, [&] {
    return std::any_of(lines_.begin(), lines_.end(), [&](const std::string& line) {
      return line.find(text) != std::string::npos;
    });
  });
}

}  // namespace trovadex::platform::fake
