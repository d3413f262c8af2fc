// Helpers of the Linux integration tests: a console that records, the private test folders,
// a peer process on the test's private bus, and waiting on the main loop with a deadline.
//
// Every test here runs under run_isolated.sh, which gives the process its own session bus and
// XDG folders. Helpers run on the test's main thread, except RecordingConsole, which is safe
// from any thread.
#pragma once

#include <chrono>
#include <functional>
#include <mutex>
#include <optional>
#include <string>
#include <string_view>
#include <vector>

#include "linux/glib_ptr.hpp"
#include "linux/main_loop.hpp"
#include "platform/console.hpp"

namespace trovadex::linux_platform::testing {

inline constexpr std::chrono::milliseconds kEventTimeout{10000};

class RecordingConsole final : public platform::Console {
 public:
  void writeLine(std::string_view line) override;
  std::vector<std::string> lines() const;
  // Whether some line contains text.
  bool contains(std::string_view text) const;

 private:
  mutable std::mutex mutex_;
  std::vector<std::string> lines_;  // Guarded by mutex_.
};

// The private folder run_isolated.sh made for this process; the test fails when it is missing.
std::string testRoot();
// A fresh, empty folder under testRoot().
std::string freshFolder(const std::string& label);

// Another process on the private bus: linux_bus_peer with the given arguments.
class PeerProcess {
 public:
  PeerProcess(MainLoop& loop, const std::vector<std::string>& arguments);
  ~PeerProcess();
  PeerProcess(const PeerProcess&) = delete;
  PeerProcess& operator=(const PeerProcess&) = delete;

  // The next line the peer prints, or nothing when none comes before the timeout.
  std::optional<std::string> readLine();
  // Closes the peer's input and waits until it has exited; returns whether it exited cleanly.
  bool stop();

 private:
  MainLoop& loop_;
  GObjectPtr<GSubprocess> process_;
  GObjectPtr<GDataInputStream> output_;
  bool stopped_ = false;
};

// Returns once the bus has handled everything the connection sent before (its match rules
// included): the bus answers a connection's calls in order.
void syncWithBus(GDBusConnection* connection);

// Runs a program to the end on the main loop and returns its exit status (-1 on failure).
int runProgram(MainLoop& loop, const std::vector<std::string>& arguments);

}  // namespace trovadex::linux_platform::testing
