// Helpers of the end-to-end scenarios: the test's private folders, programs run to their end,
// and the mail host as a child process whose log is read as it comes.
//
// Every scenario runs under run_isolated.sh (a private session bus and private XDG folders).
// One GMainContext serves a scenario: the companion client, the host's log and the programs'
// pipes are all handled while it is iterated. Test thread only.
#pragma once

#include <chrono>
#include <functional>
#include <optional>
#include <string>
#include <string_view>
#include <vector>

#include "linux/glib_ptr.hpp"

namespace trovadex::e2e {

// Sanitizer builds run the host several times slower.
#if defined(__SANITIZE_THREAD__) || defined(__SANITIZE_ADDRESS__)
inline constexpr std::chrono::milliseconds kStepTimeout{240000};
#else
inline constexpr std::chrono::milliseconds kStepTimeout{60000};
#endif

// The private folder of this test process; the test aborts when it is missing.
std::string testRoot();

// Iterates context until done() holds or timeout passes; returns whether done() held.
bool iterateUntil(GMainContext* context, const std::function<bool()>& done,
                  std::chrono::milliseconds timeout);

struct ProgramResult {
  std::optional<int> status;  // nothing when it did not exit by itself in time
  std::string out;
  std::string err;
};

// Runs a program (path first) to its end, iterating context meanwhile.
ProgramResult runProgram(GMainContext* context, const std::vector<std::string>& arguments,
                         std::chrono::milliseconds timeout = kStepTimeout);

// trovadex-mailhost (or any program) as a child; its standard error is collected line by line.
class ChildProcess {
 public:
  ChildProcess(GMainContext* context, const std::vector<std::string>& arguments);
  // Kills a child that still runs.
  ~ChildProcess();
  ChildProcess(const ChildProcess&) = delete;
  ChildProcess& operator=(const ChildProcess&) = delete;

  bool waitForLogLine(std::string_view text, std::chrono::milliseconds timeout);
  std::string log() const;
  void sendSignal(int signal);
  // The exit status when the child exits by itself within timeout.
  std::optional<int> waitForExit(std::chrono::milliseconds timeout);

 private:
  void readNextLine();

  GMainContext* context_;
  linux_platform::GObjectPtr<GSubprocess> process_;
  linux_platform::GObjectPtr<GDataInputStream> errors_;
  linux_platform::GObjectPtr<GCancellable> cancellable_;
  std::vector<std::string> lines_;
  bool exited_ = false;
};

}  // namespace trovadex::e2e
