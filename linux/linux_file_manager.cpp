#include "linux/linux_file_manager.hpp"

#include <sys/stat.h>

#include <cerrno>
#include <cstdlib>

#include "linux/atomic_file.hpp"
#include "linux/glib_ptr.hpp"
#include "linux/trash_location.hpp"

namespace trovadex::linux_platform {

using foundation::Error;
using foundation::Result;
using foundation::Status;

namespace {

std::string dataHome() {
  if (const char* configured = std::getenv("XDG_DATA_HOME");
      configured != nullptr && configured[0] == '/') {
    return configured;
  }
  const char* home = std::getenv("HOME");
  return std::string(home != nullptr ? home : "") + "/.local/share";
}

}  // namespace

std::string LinuxFileManager::defaultLibraryDirectory() { return dataHome() + "/trovadex"; }

LinuxFileManager::LinuxFileManager(std::string libraryDirectory)
    : libraryDirectory_(std::move(libraryDirectory)) {}

bool LinuxFileManager::fileExistsAtPath(const std::string& path) const {
  struct stat status {};
  return !path.empty() && ::stat(path.c_str(), &status) == 0;
}

Result<std::string> LinuxFileManager::trashItemAtPath(const std::string& path) {
  GObjectPtr<GFile> file(g_file_new_for_path(path.c_str()));
  // GIO records the path it was given, so the record is looked up by GIO's own spelling.
  GCharPtr canonical(g_file_get_path(file.get()));
  GError* error = nullptr;
  const gboolean trashed = g_file_trash(file.get(), nullptr, &error);
  GErrorPtr owned(error);
  if (!trashed) {
    return Error{
        g_quark_to_string(error->domain), error->code,
        "\"" + displayNameAtPath(path) + "\" couldn't be moved to the Trash: " + error->message};
  }
  if (auto location = findTrashedItem(canonical ? canonical.get() : path)) return *location;
  return Error{kPosixErrorDomain, ENOENT,
               "\"" + displayNameAtPath(path) +
                   "\" was moved to the Trash, but its place there could not be found"};
}

Status LinuxFileManager::removeItemAtPath(const std::string& path) {
  struct stat status {};
  if (path.empty() || ::lstat(path.c_str(), &status) != 0) {
    return posixError(path.empty() ? ENOENT : errno, "Could not remove \"" + path + "\"");
  }
  return removeTree(path);
}

std::string LinuxFileManager::displayNameAtPath(const std::string& path) const {
  std::string trimmed = path;
  while (trimmed.size() > 1 && trimmed.back() == '/') trimmed.pop_back();
  const auto slash = trimmed.rfind('/');
  if (slash == std::string::npos || trimmed == "/") return trimmed;
  return trimmed.substr(slash + 1);
}

}  // namespace trovadex::linux_platform
