// HostProcess: trovadex-mailhost running as a child of the test, with its log lines read as
// they come.
//
// The child's standard error is read line by line on the test's main loop, so a test waits for
// a log line (or for the exit) by turning the loop until it arrives or the time runs out. The
// destructor kills a child that is still running. Main thread only.
#pragma once

#include <chrono>
#include <optional>
#include <string>
#include <string_view>
#include <vector>

#include "linux/glib_ptr.hpp"
#include "linux/main_loop.hpp"

namespace trovadex::host::testing {

class HostProcess {
 public:
  // Starts the program with the arguments (the program path first); the test fails when it
  // cannot start.
  HostProcess(linux_platform::MainLoop& loop, const std::vector<std::string>& arguments);
  ~HostProcess();
  HostProcess(const HostProcess&) = delete;
  HostProcess& operator=(const HostProcess&) = delete;

  bool running() const { return process_ != nullptr && !exited_; }

  // Waits until a line of the child's log contains text; false when the time runs out or the
  // child ends first.
  bool waitForLogLine(std::string_view text, std::chrono::milliseconds timeout);
  bool hasLogLine(std::string_view text) const;
  // Everything the child wrote to standard error so far, for failure messages.
  std::string log() const;

  void sendSignal(int signal);
  // The child's exit status once it has exited by itself within the timeout; nothing when it
  // was killed by a signal or did not exit in time.
  std::optional<int> waitForExit(std::chrono::milliseconds timeout);

 private:
  void readNextLine();

  linux_platform::MainLoop& loop_;
  linux_platform::GObjectPtr<GSubprocess> process_;
  linux_platform::GObjectPtr<GDataInputStream> errors_;
  linux_platform::GObjectPtr<GCancellable> cancellable_;
  std::vector<std::string> lines_;
  bool exited_ = false;
  bool errorsEnded_ = false;
};

}  // namespace trovadex::host::testing
