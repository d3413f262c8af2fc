// FakeConsole: keeps every line written to the system log, for tests to read back and wait on.
//
// Lines are kept bare, in the order the writes took effect. Safe from any thread.
#pragma once

#include <chrono>
#include <condition_variable>
#include <mutex>
#include <string>
#include <string_view>
#include <vector>

#include "platform/console.hpp"

namespace trovadex::platform::fake {

class FakeConsole final : public Console {
 public:
  FakeConsole();
  ~FakeConsole() override;

  void writeLine(std::string_view line) override;

  std::vector<std::string> lines() const;
  // The lines that contain text, in order.
  std::vector<std::string> linesContaining(std::string_view text) const;
  void clear();
  // Waits until a line containing text has been written; false on timeout.
  bool waitForLineContaining(std::string_view text, std::chrono::milliseconds timeout) const;

 private:
  mutable std::mutex mutex_;
  mutable std::condition_variable written_;
  std::vector<std::string> lines_;  // Guarded by mutex_.
};

}  // namespace trovadex::platform::fake
