#include "linux/stderr_console.hpp"

#include <sys/socket.h>
#include <sys/stat.h>
#include <sys/un.h>
#include <unistd.h>

#include <cerrno>
#include <chrono>
#include <cstdio>
#include <cstring>
#include <ctime>

namespace trovadex::linux_platform {
namespace {

// Longer lines are cut for syslog, which refuses over-long datagrams; stderr keeps them whole.
constexpr std::size_t kMaximumSyslogLine = 8192;
constexpr int kUserNotice = 1 * 8 + 5;  // facility user, severity notice

std::string timestamp(const char* format, bool milliseconds) {
  const auto now = std::chrono::system_clock::now();
  const std::time_t seconds = std::chrono::system_clock::to_time_t(now);
  std::tm local{};
  ::localtime_r(&seconds, &local);
  char text[64];
  std::size_t length = std::strftime(text, sizeof text, format, &local);
  if (milliseconds) {
    const auto millis =
        std::chrono::duration_cast<std::chrono::milliseconds>(now.time_since_epoch()).count() %
        1000;
    length += static_cast<std::size_t>(std::snprintf(text + length, sizeof text - length, ".%03lld",
                                                     static_cast<long long>(millis)));
  }
  return std::string(text, length);
}

void writeAll(int fd, std::string_view bytes) {
  while (!bytes.empty()) {
    const ssize_t written = ::write(fd, bytes.data(), bytes.size());
    if (written < 0) {
      if (errno == EINTR) continue;
      return;  // nowhere left to report a failing error stream
    }
    bytes.remove_prefix(static_cast<std::size_t>(written));
  }
}

}  // namespace

StderrConsole::StderrConsole(std::string ident, int errorFd, std::string logSocketPath)
    : ident_(std::move(ident)), errorFd_(errorFd), logSocketPath_(std::move(logSocketPath)) {
  std::lock_guard lock(mutex_);
  connectLogSocket();
}

StderrConsole::~StderrConsole() {
  if (logSocket_ >= 0) ::close(logSocket_);
}

bool StderrConsole::sendsToSyslog() const {
  std::lock_guard lock(mutex_);
  return logSocket_ >= 0;
}

void StderrConsole::connectLogSocket() {
  struct stat status {};
  if (::stat(logSocketPath_.c_str(), &status) != 0 || !S_ISSOCK(status.st_mode)) return;
  sockaddr_un address{};
  address.sun_family = AF_UNIX;
  if (logSocketPath_.size() >= sizeof address.sun_path) return;
  std::memcpy(address.sun_path, logSocketPath_.c_str(), logSocketPath_.size() + 1);
  const int fd = ::socket(AF_UNIX, SOCK_DGRAM | SOCK_CLOEXEC | SOCK_NONBLOCK, 0);
  if (fd < 0) return;
  if (::connect(fd, reinterpret_cast<const sockaddr*>(&address), sizeof address) != 0) {
    ::close(fd);
    return;
  }
  logSocket_ = fd;
}

void StderrConsole::writeLine(std::string_view line) {
  std::string entry = timestamp("%Y-%m-%d %H:%M:%S", true);
  entry += ' ';
  entry += ident_;
  entry += '[' + std::to_string(::getpid()) + "] ";
  entry += line;
  entry += '\n';
  std::lock_guard lock(mutex_);
  writeAll(errorFd_, entry);
  if (logSocket_ >= 0) sendToSyslog(line);
}

void StderrConsole::sendToSyslog(std::string_view line) {
  std::string message = "<" + std::to_string(kUserNotice) + ">" +
                        timestamp("%b %e %H:%M:%S", false) + " " + ident_ + "[" +
                        std::to_string(::getpid()) + "]: ";
  message += line.substr(0, kMaximumSyslogLine);
  for (int attempt = 0; attempt < 2; ++attempt) {
    if (::send(logSocket_, message.data(), message.size(), MSG_DONTWAIT | MSG_NOSIGNAL) >= 0) {
      return;
    }
    // A restarted log daemon has a new socket: reconnect once; anything else drops the line.
    if (errno != ECONNREFUSED && errno != ENOTCONN) return;
    ::close(logSocket_);
    logSocket_ = -1;
    connectLogSocket();
    if (logSocket_ < 0) return;
  }
}

}  // namespace trovadex::linux_platform
