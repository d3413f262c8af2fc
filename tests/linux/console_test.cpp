// The console: timestamped lines on the error stream, and syslog when a log socket exists.
#include <fcntl.h>
#include <gtest/gtest.h>
#include <poll.h>
#include <sys/socket.h>
#include <sys/un.h>
#include <unistd.h>

#include <cstring>
#include <regex>
#include <thread>

#include "linux/stderr_console.hpp"
#include "tests/linux/linux_test_support.hpp"

namespace trovadex::linux_platform {
namespace {

class Pipe {
 public:
  Pipe() { EXPECT_EQ(::pipe2(fds_, O_CLOEXEC | O_NONBLOCK), 0); }
  ~Pipe() {
    ::close(fds_[0]);
    ::close(fds_[1]);
  }
  int writeEnd() const { return fds_[1]; }
  std::string drain() const {
    std::string text;
    char buffer[4096];
    ssize_t count = 0;
    while ((count = ::read(fds_[0], buffer, sizeof buffer)) > 0) text.append(buffer, count);
    return text;
  }

 private:
  int fds_[2] = {-1, -1};
};

// A datagram socket standing in for the system log daemon.
class LogDaemon {
 public:
  explicit LogDaemon(std::string path) : path_(std::move(path)) {
    fd_ = ::socket(AF_UNIX, SOCK_DGRAM | SOCK_CLOEXEC, 0);
    sockaddr_un address{};
    address.sun_family = AF_UNIX;
    std::strncpy(address.sun_path, path_.c_str(), sizeof address.sun_path - 1);
    EXPECT_EQ(::bind(fd_, reinterpret_cast<const sockaddr*>(&address), sizeof address), 0);
  }
  ~LogDaemon() { ::close(fd_); }

  std::string receive() const {
    pollfd ready{fd_, POLLIN, 0};
    if (::poll(&ready, 1, static_cast<int>(testing::kEventTimeout.count())) != 1) return {};
    char buffer[16384];
    const ssize_t count = ::recv(fd_, buffer, sizeof buffer, 0);
    return count > 0 ? std::string(buffer, static_cast<std::size_t>(count)) : std::string();
  }

 private:
  std::string path_;
  int fd_ = -1;
};

TEST(StderrConsole, StampsEachLineWithTimeIdentAndProcess) {
  Pipe pipe;
  StderrConsole console(kHostIdent, pipe.writeEnd(), "/nonexistent/log");
  EXPECT_FALSE(console.sendsToSyslog());
  console.writeLine("TrovadexMailPlugin - n/a - TDMailPlugin load");
  console.writeLine("second");
  const std::string pid = std::to_string(::getpid());
  const std::regex expected(R"(\d{4}-\d\d-\d\d \d\d:\d\d:\d\d\.\d{3} trovadex-mailhost\[)" + pid +
                            R"(\] TrovadexMailPlugin - n/a - TDMailPlugin load\n)"
                            R"(\d{4}-\d\d-\d\d \d\d:\d\d:\d\d\.\d{3} trovadex-mailhost\[)" +
                            pid + R"(\] second\n)");
  const std::string written = pipe.drain();
  EXPECT_TRUE(std::regex_match(written, expected)) << written;
}

TEST(StderrConsole, SendsEachLineToSyslogWhenTheLogSocketExists) {
  const std::string socketPath = testing::freshFolder("syslog") + "/log";
  LogDaemon daemon(socketPath);
  Pipe pipe;
  StderrConsole console(kHostIdent, pipe.writeEnd(), socketPath);
  ASSERT_TRUE(console.sendsToSyslog());
  console.writeLine("TDMailPlugin register");
  const std::string received = daemon.receive();
  const std::regex expected(R"(<13>\w{3} [ \d]\d \d\d:\d\d:\d\d trovadex-mailhost\[)" +
                            std::to_string(::getpid()) + R"(\]: TDMailPlugin register)");
  EXPECT_TRUE(std::regex_match(received, expected)) << received;
  EXPECT_NE(pipe.drain().find("TDMailPlugin register"), std::string::npos);
}

TEST(StderrConsole, KeepsLinesWholeWhenManyThreadsWrite) {
  Pipe pipe;
  StderrConsole console(kHostIdent, pipe.writeEnd(), "/nonexistent/log");
  std::vector<std::thread> writers;
  for (int t = 0; t < 4; ++t) {
    writers.emplace_back([&console, t] {
      for (int i = 0; i < 25; ++i) console.writeLine(std::string(100, static_cast<char>('a' + t)));
    });
  }
  for (auto& writer : writers) writer.join();
  const std::string written = pipe.drain();
  std::size_t lines = 0;
  std::size_t start = 0;
  for (std::size_t end; (end = written.find('\n', start)) != std::string::npos; start = end + 1) {
    const std::string line = written.substr(start, end - start);
    const std::string body = line.substr(line.find("] ") + 2);
    EXPECT_EQ(body, std::string(100, body[0])) << "interleaved line: " << line;
    ++lines;
  }
  EXPECT_EQ(lines, 100u);
}

}  // namespace
}  // namespace trovadex::linux_platform
