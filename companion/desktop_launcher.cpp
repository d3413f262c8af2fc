#include "companion/desktop_launcher.hpp"

#include <gio/gio.h>

#include "linux/glib_ptr.hpp"

namespace trovadex::companion {

using foundation::Error;
using foundation::Status;
using linux_platform::GObjectPtr;

namespace {

constexpr std::int64_t kNoProgram = 1;
constexpr std::int64_t kLaunchFailed = 2;

// The terminal emulator's name on Debian systems (the alternatives system picks the program).
constexpr const char* kTerminalEmulator = "x-terminal-emulator";

Error launchError(GError* error, const std::string& what) {
  Error failure{kLauncherErrorDomain, kLaunchFailed,
                what + ": " + (error != nullptr ? error->message : "unknown error")};
  g_clear_error(&error);
  return failure;
}

}  // namespace

Status openWithDefaultProgram(const std::string& path, const std::string& contentType) {
  GObjectPtr<GAppInfo> program(g_app_info_get_default_for_type(contentType.c_str(), FALSE));
  if (!program) {
    return Error{kLauncherErrorDomain, kNoProgram, "No program is set to open " + contentType};
  }
  GObjectPtr<GFile> file(g_file_new_for_path(path.c_str()));
  GList files{file.get(), nullptr, nullptr};
  GError* error = nullptr;
  if (!g_app_info_launch(program.get(), &files, nullptr, &error)) {
    return launchError(error, std::string("Could not start ") + g_app_info_get_name(program.get()));
  }
  return {};
}

Status runInTerminal(const std::vector<std::string>& command) {
  gchar* terminal = g_find_program_in_path(kTerminalEmulator);
  if (terminal == nullptr) {
    return Error{kLauncherErrorDomain, kNoProgram,
                 std::string("No terminal emulator (") + kTerminalEmulator + ") is installed"};
  }
  std::vector<gchar*> argv{terminal, const_cast<gchar*>("-e")};
  for (const auto& word : command) argv.push_back(const_cast<gchar*>(word.c_str()));
  argv.push_back(nullptr);
  GError* error = nullptr;
  const gboolean started = g_spawn_async(nullptr, argv.data(), nullptr, G_SPAWN_DEFAULT, nullptr,
                                         nullptr, nullptr, &error);
  g_free(terminal);
  if (!started) return launchError(error, std::string("Could not start ") + kTerminalEmulator);
  return {};
}

}  // namespace trovadex::companion
