// StderrConsole: the Console port, writing each line to standard error and to syslog.
//
// A line goes to the error stream as "<local time.ms> <ident>[<pid>] <line>" in one write and,
// when the log socket exists, to syslog as a user notice; the syslog send never blocks. Safe from
// any thread; lines keep the order in which their writeLine calls took the console's lock.
#pragma once

#include <mutex>
#include <string>
#include <string_view>

#include "platform/console.hpp"

namespace trovadex::linux_platform {

inline constexpr const char* kHostIdent = "trovadex-mailhost";
inline constexpr const char* kSystemLogSocket = "/dev/log";

class StderrConsole final : public platform::Console {
 public:
  // errorFd receives the timestamped lines; logSocketPath is the syslog datagram socket, used
  // only when it exists at construction.
  explicit StderrConsole(std::string ident = kHostIdent, int errorFd = 2,
                         std::string logSocketPath = kSystemLogSocket);
  ~StderrConsole() override;
  StderrConsole(const StderrConsole&) = delete;
  StderrConsole& operator=(const StderrConsole&) = delete;

  void writeLine(std::string_view line) override;

  bool sendsToSyslog() const;

 private:
  void connectLogSocket();
  void sendToSyslog(std::string_view line);

  // Immutable after construction.
  const std::string ident_;
  const int errorFd_;
  const std::string logSocketPath_;

  mutable std::mutex mutex_;
  int logSocket_ = -1;  // Guarded by mutex_.
};

}  // namespace trovadex::linux_platform
