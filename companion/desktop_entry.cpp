#include "companion/desktop_entry.hpp"

#include <glib.h>
#include <glib/gstdio.h>

#include <cerrno>
#include <cstdlib>
#include <cstring>
#include <memory>

#include "linux/glib_ptr.hpp"

namespace trovadex::companion {

using foundation::Error;
using foundation::Result;
using linux_platform::GCharPtr;
using linux_platform::GErrorPtr;

namespace {

constexpr const char* kDesktopEntryErrorDomain = "TrovadexDesktopEntryErrorDomain";
constexpr const char* kGroup = "Desktop Entry";

Error entryError(const std::string& what, const GError* error) {
  return Error{kDesktopEntryErrorDomain, error != nullptr ? error->code : 0,
               what + (error != nullptr ? std::string(": ") + error->message : "")};
}

// An Exec argument as desktop entries quote it: as it stands when it holds only plain
// characters, otherwise in double quotes with " ` $ \ escaped by a backslash.
std::string execArgument(const std::string& argument) {
  constexpr std::string_view kReserved = " \t\n\"'\\><~|&;$*?#()`%=";
  if (!argument.empty() && argument.find_first_of(kReserved) == std::string::npos) return argument;
  std::string quoted = "\"";
  for (char c : argument) {
    if (c == '"' || c == '`' || c == '$' || c == '\\') quoted += '\\';
    // A literal percent sign is written twice; the launcher expands field codes first.
    if (c == '%') quoted += '%';
    quoted += c;
  }
  return quoted + "\"";
}

}  // namespace

Result<std::string> desktopEntryFor(const std::string& executablePath) {
  std::unique_ptr<GKeyFile, decltype(&g_key_file_free)> file(g_key_file_new(), &g_key_file_free);
  const std::string_view shipped = shippedDesktopEntry();
  GError* error = nullptr;
  if (!g_key_file_load_from_data(file.get(), shipped.data(), shipped.size(),
                                 G_KEY_FILE_KEEP_COMMENTS, &error)) {
    GErrorPtr owned(error);
    return entryError("The shipped desktop entry cannot be read", error);
  }
  const std::string exec = execArgument(executablePath) + " status";
  g_key_file_set_string(file.get(), kGroup, "Exec", exec.c_str());
  gsize length = 0;
  GCharPtr text(g_key_file_to_data(file.get(), &length, nullptr));
  return std::string(text.get(), length);
}

std::string userDataHome() {
  const char* configured = std::getenv("XDG_DATA_HOME");
  if (configured != nullptr && configured[0] == '/') return configured;
  const char* home = std::getenv("HOME");
  return std::string(home != nullptr && home[0] != '\0' ? home : g_get_home_dir()) +
         "/.local/share";
}

Result<std::string> installDesktopEntry(const std::string& dataHome,
                                        const std::string& executablePath) {
  auto entry = desktopEntryFor(executablePath);
  if (!entry) return entry.error();
  const std::string folder = dataHome + "/applications";
  if (g_mkdir_with_parents(folder.c_str(), 0755) != 0) {
    const int errorNumber = errno;
    return Error{kDesktopEntryErrorDomain, errorNumber,
                 "Cannot create " + folder + ": " + std::strerror(errorNumber)};
  }
  const std::string path = folder + "/" + std::string(kDesktopEntryFileName);
  GError* error = nullptr;
  // g_file_set_contents writes a temporary file and renames it over the old entry.
  if (!g_file_set_contents(path.c_str(), entry.value().data(),
                           static_cast<gssize>(entry.value().size()), &error)) {
    GErrorPtr owned(error);
    return entryError("Cannot write " + path, error);
  }
  return path;
}

Result<std::string> runningExecutablePath() {
  GError* error = nullptr;
  GCharPtr path(g_file_read_link("/proc/self/exe", &error));
  if (!path) {
    GErrorPtr owned(error);
    return entryError("Cannot tell where this program is", error);
  }
  return std::string(path.get());
}

}  // namespace trovadex::companion
