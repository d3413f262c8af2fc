// The user-defaults file: persistence across restarts, prompt coalesced writes, torn writes
// and unreadable files, and use from many threads.
#include <gtest/gtest.h>
#include <poll.h>
#include <signal.h>
#include <sys/inotify.h>
#include <sys/resource.h>
#include <sys/stat.h>
#include <unistd.h>

#include <chrono>
#include <filesystem>
#include <fstream>
#include <sstream>
#include <thread>

#include "foundation/property_list.hpp"
#include "linux/defaults_file.hpp"
#include "tests/linux/linux_test_support.hpp"

namespace trovadex::linux_platform {
namespace {

using foundation::Date;
using foundation::Value;
using testing::RecordingConsole;
namespace fs = std::filesystem;

std::string readText(const std::string& path) {
  std::ifstream file(path, std::ios::binary);
  std::stringstream text;
  text << file.rdbuf();
  return text.str();
}

Value readPropertyListFile(const std::string& path) {
  auto decoded = foundation::decodePropertyList(readText(path));
  return decoded ? decoded.value() : Value();
}

// Watches a folder for a file being renamed into place.
class RenameWatch {
 public:
  RenameWatch(const std::string& folder, std::string name)
      : fd_(inotify_init1(IN_CLOEXEC | IN_NONBLOCK)), name_(std::move(name)) {
    EXPECT_GE(inotify_add_watch(fd_, folder.c_str(), IN_MOVED_TO), 0);
  }
  ~RenameWatch() { ::close(fd_); }

  bool waitForRename(std::chrono::milliseconds timeout) {
    const auto deadline = std::chrono::steady_clock::now() + timeout;
    for (;;) {
      const auto left = std::chrono::duration_cast<std::chrono::milliseconds>(
          deadline - std::chrono::steady_clock::now());
      if (left.count() <= 0) return false;
      pollfd watch{fd_, POLLIN, 0};
      if (::poll(&watch, 1, static_cast<int>(left.count())) <= 0) continue;
      alignas(inotify_event) char buffer[4096];
      const ssize_t length = ::read(fd_, buffer, sizeof buffer);
      for (ssize_t offset = 0; offset < length;) {
        const auto* event = reinterpret_cast<const inotify_event*>(buffer + offset);
        if (event->len > 0 && name_ == event->name) return true;
        offset += static_cast<ssize_t>(sizeof(inotify_event) + event->len);
      }
    }
  }

 private:
  int fd_;
  std::string name_;
};

struct Fixture {
  std::string folder = testing::freshFolder("config") + "/trovadex-mailhost";
  std::string path = folder + "/defaults.plist";
  std::shared_ptr<RecordingConsole> console = std::make_shared<RecordingConsole>();
};

Value logEntry(double seconds, const std::string& message) {
  return Value(Value::Array{Value(Date::withTimeIntervalSinceReferenceDate(seconds)), Value("n/a"),
                            Value(message)});
}

TEST(DefaultsFile, LivesInTheConfigFolder) {
  EXPECT_EQ(DefaultsFile::defaultPath(),
            std::string(std::getenv("XDG_CONFIG_HOME")) + "/trovadex-mailhost/defaults.plist");
}

TEST(DefaultsFile, KeepsItsValuesAcrossARestart) {
  Fixture fixture;
  const Value history(Value::Array{logEntry(800000000, "TDMailPlugin load"),
                                   logEntry(800000001, "TDMailPlugin create instance")});
  {
    DefaultsFile defaults(fixture.path, fixture.console);
    defaults.setObject(history, "TDMailPlugin.log");
    defaults.setObject(Value::integer(7), "count");
    defaults.setObject(Value("gone"), "removed");
    defaults.removeObjectForKey("removed");
    defaults.setObject(Value("also gone"), "nilled");
    defaults.setObject(Value(), "nilled");
    EXPECT_EQ(defaults.objectForKey("count"), Value::integer(7));
  }
  EXPECT_EQ(readText(fixture.path).rfind("<?xml", 0), 0u) << "the file is an XML property list";
  DefaultsFile reopened(fixture.path, fixture.console);
  EXPECT_EQ(reopened.objectForKey("TDMailPlugin.log"), history);
  EXPECT_EQ(reopened.objectForKey("count").kind(), Value::Kind::Integer);
  EXPECT_TRUE(reopened.objectForKey("removed").isNil());
  EXPECT_TRUE(reopened.objectForKey("nilled").isNil());
  EXPECT_TRUE(fixture.console->lines().empty());
}

TEST(DefaultsFile, WritesABurstOfChangesSoonAfterInOnePrivateFile) {
  Fixture fixture;
  fs::create_directories(fixture.folder);
  RenameWatch watch(fixture.folder, "defaults.plist");
  DefaultsFile defaults(fixture.path, fixture.console, std::chrono::milliseconds(200));
  for (int i = 0; i < 50; ++i) defaults.setObject(Value::integer(i), "key" + std::to_string(i));
  ASSERT_TRUE(watch.waitForRename(std::chrono::seconds(5)));
  const Value written = readPropertyListFile(fixture.path);
  EXPECT_EQ(written.count(), 50u) << "the changes of one window land in one write";
  EXPECT_EQ(written["key49"], Value::integer(49));
  struct stat status {};
  ASSERT_EQ(::stat(fixture.path.c_str(), &status), 0);
  EXPECT_EQ(status.st_mode & 0777, 0600u);
  ASSERT_EQ(::stat(fixture.folder.c_str(), &status), 0);
  EXPECT_EQ(status.st_mode & 0777, 0700u);
}

TEST(DefaultsFile, LeavesTheOldFileWholeWhenAWriteIsCutShort) {
  Fixture fixture;
  DefaultsFile defaults(fixture.path, fixture.console, std::chrono::hours(1));
  defaults.setObject(Value("old"), "state");
  ASSERT_TRUE(defaults.flush().ok());
  const std::string before = readText(fixture.path);

  // A file-size limit makes the next write fail part-way, as a full disk would.
  rlimit original{};
  ASSERT_EQ(::getrlimit(RLIMIT_FSIZE, &original), 0);
  ::signal(SIGXFSZ, SIG_IGN);
  rlimit tight = original;
  tight.rlim_cur = 100;
  ASSERT_EQ(::setrlimit(RLIMIT_FSIZE, &tight), 0);
  defaults.setObject(Value(std::string(4096, 'n')), "state");
  const auto torn = defaults.flush();
  ASSERT_EQ(::setrlimit(RLIMIT_FSIZE, &original), 0);

  ASSERT_FALSE(torn.ok());
  EXPECT_EQ(readText(fixture.path), before);
  EXPECT_EQ(readPropertyListFile(fixture.path)["state"], Value("old"));
  EXPECT_EQ(std::distance(fs::directory_iterator(fixture.folder), fs::directory_iterator()), 1)
      << "the torn temporary file is removed";
  EXPECT_TRUE(fixture.console->contains("User defaults: Could not write"));

  // The change is still pending and lands once the disk takes it.
  ASSERT_TRUE(defaults.flush().ok());
  EXPECT_EQ(readPropertyListFile(fixture.path)["state"], Value(std::string(4096, 'n')));
}

TEST(DefaultsFile, SetsAnUnreadableFileAsideAndStartsEmpty) {
  Fixture fixture;
  fs::create_directories(fixture.folder);
  std::ofstream(fixture.path) << "<?xml version=\"1.0\"?><plist><dict><key>cut";
  DefaultsFile defaults(fixture.path, fixture.console);
  EXPECT_TRUE(defaults.objectForKey("cut").isNil());
  EXPECT_EQ(readText(fixture.path + ".unreadable"), "<?xml version=\"1.0\"?><plist><dict><key>cut");
  EXPECT_TRUE(fixture.console->contains("is not a property-list dictionary"));
}

TEST(DefaultsFile, TakesChangesFromManyThreadsAtOnce) {
  Fixture fixture;
  {
    DefaultsFile defaults(fixture.path, fixture.console, std::chrono::milliseconds(5));
    std::vector<std::thread> writers;
    for (int t = 0; t < 4; ++t) {
      writers.emplace_back([&defaults, t] {
        for (int i = 0; i < 200; ++i) {
          const std::string key = "t" + std::to_string(t) + "-" + std::to_string(i % 20);
          defaults.setObject(Value::integer(i), key);
          EXPECT_FALSE(defaults.objectForKey(key).isNil());
        }
      });
    }
    for (auto& writer : writers) writer.join();
  }
  const Value written = readPropertyListFile(fixture.path);
  EXPECT_EQ(written.count(), 80u);
  EXPECT_EQ(written["t3-19"], Value::integer(199));
}

}  // namespace
}  // namespace trovadex::linux_platform
