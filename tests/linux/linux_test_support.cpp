#include "tests/linux/linux_test_support.hpp"

#include <gtest/gtest.h>

#include <atomic>
#include <cstdlib>
#include <filesystem>

namespace trovadex::linux_platform::testing {

void RecordingConsole::writeLine(std::string_view line) {
  std::lock_guard lock(mutex_);
  lines_.emplace_back(line);
}

std::vector<std::string> RecordingConsole::lines() const {
  std::lock_guard lock(mutex_);
  return lines_;
}

bool RecordingConsole::contains(std::string_view text) const {
  std::lock_guard lock(mutex_);
  for (const auto& line : lines_) {
    if (line.find(text) != std::string::npos) return true;
  }
  return false;
}

std::string testRoot() {
  const char* root = std::getenv("TROVADEX_TEST_ROOT");
  if (root == nullptr || root[0] == '\0') {
    ADD_FAILURE() << "Run these tests through ctest: they need the private bus and folders that "
                     "run_isolated.sh provides.";
    std::abort();
  }
  return root;
}

std::string freshFolder(const std::string& label) {
  static std::atomic<int> counter{0};
  const std::string path = testRoot() + "/" + label + "-" + std::to_string(++counter);
  std::filesystem::remove_all(path);
  std::filesystem::create_directories(path);
  return path;
}

namespace {

std::vector<const char*> argumentVector(const std::vector<std::string>& arguments) {
  std::vector<const char*> argv;
  for (const auto& argument : arguments) argv.push_back(argument.c_str());
  argv.push_back(nullptr);
  return argv;
}

}  // namespace

PeerProcess::PeerProcess(MainLoop& loop, const std::vector<std::string>& arguments) : loop_(loop) {
  std::vector<std::string> full = {TROVADEX_BUS_PEER};
  full.insert(full.end(), arguments.begin(), arguments.end());
  auto argv = argumentVector(full);
  GError* error = nullptr;
  process_.reset(g_subprocess_newv(
      argv.data(),
      static_cast<GSubprocessFlags>(G_SUBPROCESS_FLAGS_STDIN_PIPE | G_SUBPROCESS_FLAGS_STDOUT_PIPE),
      &error));
  if (!process_) {
    ADD_FAILURE() << "could not start the bus peer: " << error->message;
    g_error_free(error);
    return;
  }
  output_.reset(g_data_input_stream_new(g_subprocess_get_stdout_pipe(process_.get())));
}

PeerProcess::~PeerProcess() {
  if (process_ && !stopped_) stop();
}

std::optional<std::string> PeerProcess::readLine() {
  if (!output_) return std::nullopt;
  struct Read {
    bool done = false;
    std::optional<std::string> line;
  } read;
  g_data_input_stream_read_line_async(
      output_.get(), G_PRIORITY_DEFAULT, nullptr,
      [](GObject* source, GAsyncResult* result, gpointer data) {
        auto* state = static_cast<Read*>(data);
        gsize length = 0;
        GCharPtr line(g_data_input_stream_read_line_finish(G_DATA_INPUT_STREAM(source), result,
                                                           &length, nullptr));
        if (line) state->line = std::string(line.get(), length);
        state->done = true;
      },
      &read);
  // The callback writes into `read`, so the wait cannot give up while the read is pending.
  if (!loop_.iterateUntil([&] { return read.done; }, kEventTimeout)) {
    ADD_FAILURE() << "the bus peer printed nothing";
    g_subprocess_force_exit(process_.get());
    loop_.iterateUntil([&] { return read.done; }, kEventTimeout);
  }
  return read.line;
}

bool PeerProcess::stop() {
  if (!process_ || stopped_) return false;
  stopped_ = true;
  g_output_stream_close(g_subprocess_get_stdin_pipe(process_.get()), nullptr, nullptr);
  bool exited = false;
  g_subprocess_wait_async(
      process_.get(), nullptr,
      [](GObject* source, GAsyncResult* result, gpointer data) {
        g_subprocess_wait_finish(G_SUBPROCESS(source), result, nullptr);
        *static_cast<bool*>(data) = true;
      },
      &exited);
  if (!loop_.iterateUntil([&] { return exited; }, kEventTimeout)) {
    ADD_FAILURE() << "the bus peer did not exit";
    g_subprocess_force_exit(process_.get());
    loop_.iterateUntil([&] { return exited; }, kEventTimeout);
  }
  return g_subprocess_get_successful(process_.get()) != FALSE;
}

void syncWithBus(GDBusConnection* connection) {
  GError* error = nullptr;
  GVariantPtr reply(g_dbus_connection_call_sync(
      connection, "org.freedesktop.DBus", "/org/freedesktop/DBus", "org.freedesktop.DBus", "GetId",
      nullptr, nullptr, G_DBUS_CALL_FLAGS_NONE, -1, nullptr, &error));
  if (!reply) {
    ADD_FAILURE() << "the bus did not answer: " << error->message;
    g_error_free(error);
  }
}

int runProgram(MainLoop& loop, const std::vector<std::string>& arguments) {
  auto argv = argumentVector(arguments);
  GError* error = nullptr;
  GObjectPtr<GSubprocess> process(g_subprocess_newv(argv.data(), G_SUBPROCESS_FLAGS_NONE, &error));
  if (!process) {
    ADD_FAILURE() << "could not start " << arguments.front() << ": " << error->message;
    g_error_free(error);
    return -1;
  }
  bool exited = false;
  g_subprocess_wait_async(
      process.get(), nullptr,
      [](GObject* source, GAsyncResult* result, gpointer data) {
        g_subprocess_wait_finish(G_SUBPROCESS(source), result, nullptr);
        *static_cast<bool*>(data) = true;
      },
      &exited);
  if (!loop.iterateUntil([&] { return exited; }, kEventTimeout)) {
    g_subprocess_force_exit(process.get());
    loop.iterateUntil([&] { return exited; }, kEventTimeout);
    return -1;
  }
  return g_subprocess_get_if_exited(process.get()) ? g_subprocess_get_exit_status(process.get())
                                                   : -1;
}

}  // namespace trovadex::linux_platform::testing
