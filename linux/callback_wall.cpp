#include "linux/callback_wall.hpp"

#include <unistd.h>

namespace trovadex::linux_platform {

void reportEscapedException(platform::Console* console, const char* where,
                            const std::string& what) noexcept {
  try {
    std::string line = std::string(where) + ": uncaught exception: " + what;
    if (console != nullptr) {
      console->writeLine(line);
      return;
    }
    line += '\n';
    [[maybe_unused]] ssize_t written = ::write(STDERR_FILENO, line.data(), line.size());
  } catch (...) {
    // Nothing is left to report with; the callback still must not unwind.
  }
}

}  // namespace trovadex::linux_platform
