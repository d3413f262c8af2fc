#include "tests/desktop/desktop_test_support.hpp"

#include <gtest/gtest.h>

#include <csignal>
#include <cstdlib>
#include <fstream>

#include "companion/desktop_entry.hpp"
#include "linux/atomic_file.hpp"
#include "linux/session_bus.hpp"
#include "tests/e2e/e2e_support.hpp"

namespace trovadex::desktop_testing {

std::optional<mailstore::SampleManifest> prepareDefaultLibrary(GMainContext* context, int messages,
                                                               int seed, bool indexFirst) {
  const char* dataHome = std::getenv("XDG_DATA_HOME");
  if (dataHome == nullptr) {
    ADD_FAILURE() << "XDG_DATA_HOME is not set; run the test through ctest";
    return std::nullopt;
  }
  const std::string library = std::string(dataHome) + "/trovadex";
  const auto sample =
      e2e::runProgram(context, {TROVADEX_MAILHOST, "sample", "--messages", std::to_string(messages),
                                "--seed", std::to_string(seed)});
  if (sample.status != 0) {
    ADD_FAILURE() << "sample: " << sample.err;
    return std::nullopt;
  }
  const auto install = e2e::runProgram(
      context, {TROVADEX_MAILHOST, "install-plugin", "--bundle", TROVADEX_PLUGIN_BUNDLE});
  if (install.status != 0) {
    ADD_FAILURE() << "install-plugin: " << install.err;
    return std::nullopt;
  }
  if (auto entry = companion::installDesktopEntry(dataHome, TROVADEX_CLI); !entry) {
    ADD_FAILURE() << entry.error().localizedDescription;
    return std::nullopt;
  }
  if (indexFirst) {
    e2e::ChildProcess host(context, {TROVADEX_MAILHOST, "run", "--alert-response", "2"});
    if (!host.waitForLogLine("Indexer: in step with the store", e2e::kStepTimeout)) {
      ADD_FAILURE() << "the host did not index the store: " << host.log();
      return std::nullopt;
    }
    host.sendSignal(SIGTERM);
    if (host.waitForExit(e2e::kStepTimeout) != 0) {
      ADD_FAILURE() << "the host did not stop cleanly: " << host.log();
      return std::nullopt;
    }
  }
  auto manifest = mailstore::readSampleManifest(mailstore::sampleManifestPath(library));
  if (!manifest) {
    ADD_FAILURE() << manifest.error().localizedDescription;
    return std::nullopt;
  }
  return std::move(manifest).value();
}

void installStandInMailReader() {
  const std::string dataHome = std::getenv("XDG_DATA_HOME");
  const std::string configHome = std::getenv("XDG_CONFIG_HOME");
  ASSERT_TRUE(linux_platform::writeFileAtomically(
                  dataHome + "/applications/trovadex-test-reader.desktop",
                  "[Desktop Entry]\nType=Application\nName=Test Reader\n"
                  "Exec=" TROVADEX_FAKE_PROGRAMS "/trovadex-test-mail-reader %f\n"
                  "MimeType=message/rfc822;\n",
                  false)
                  .ok());
  ASSERT_TRUE(linux_platform::writeFileAtomically(
                  configHome + "/mimeapps.list",
                  "[Default Applications]\nmessage/rfc822=trovadex-test-reader.desktop\n", false)
                  .ok());
}

std::vector<std::string> fileLines(const std::string& path) {
  std::vector<std::string> lines;
  std::ifstream stream(path);
  for (std::string line; std::getline(stream, line);) lines.push_back(line);
  return lines;
}

bool waitForFile(GMainContext* context, const std::string& path,
                 std::chrono::milliseconds timeout) {
  linux_platform::GObjectPtr<GFile> file(g_file_new_for_path(path.c_str()));
  linux_platform::GObjectPtr<GFile> folder(g_file_get_parent(file.get()));
  g_main_context_push_thread_default(context);
  linux_platform::GObjectPtr<GFileMonitor> monitor(
      g_file_monitor_directory(folder.get(), G_FILE_MONITOR_WATCH_MOVES, nullptr, nullptr));
  g_main_context_pop_thread_default(context);
  if (!monitor) {
    ADD_FAILURE() << "cannot watch the folder of " << path;
    return false;
  }
  // Each event wakes the context; the condition is checked after it.
  g_signal_connect(monitor.get(), "changed",
                   G_CALLBACK(+[](GFileMonitor*, GFile*, GFile*, GFileMonitorEvent, gpointer) {}),
                   nullptr);
  return e2e::iterateUntil(
      context, [&] { return g_file_test(path.c_str(), G_FILE_TEST_EXISTS); }, timeout);
}

NameWatch::NameWatch(GMainContext* context, const std::string& name) : context_(context) {
  auto connection = linux_platform::openSessionBus();
  if (!connection) {
    ADD_FAILURE() << connection.error().localizedDescription;
    return;
  }
  connection_ = std::move(connection).value();
  g_main_context_push_thread_default(context_);
  watch_ = g_bus_watch_name_on_connection(
      connection_.get(), name.c_str(), G_BUS_NAME_WATCHER_FLAGS_NONE,
      [](GDBusConnection*, const gchar*, const gchar*, gpointer data) {
        auto* self = static_cast<NameWatch*>(data);
        self->known_ = true;
        self->owned_ = true;
      },
      [](GDBusConnection*, const gchar*, gpointer data) {
        auto* self = static_cast<NameWatch*>(data);
        self->known_ = true;
        self->owned_ = false;
      },
      this, nullptr);
  g_main_context_pop_thread_default(context_);
}

NameWatch::~NameWatch() {
  if (watch_ != 0) g_bus_unwatch_name(watch_);
  if (connection_) g_dbus_connection_close_sync(connection_.get(), nullptr, nullptr);
}

bool NameWatch::waitForOwner(bool present, std::chrono::milliseconds timeout) {
  return e2e::iterateUntil(
      context_, [&] { return known_ && owned_ == present; }, timeout);
}

}  // namespace trovadex::desktop_testing
