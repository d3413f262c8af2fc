#include "host/library_lock.hpp"

#include <fcntl.h>
#include <sys/file.h>
#include <unistd.h>

#include <cerrno>
#include <cstring>
#include <string>
#include <system_error>

namespace trovadex::host {
namespace {

foundation::Error lockError(std::string message) {
  return foundation::Error{"TrovadexMailHostErrorDomain", 2, std::move(message)};
}

std::string holderOf(int descriptor) {
  char text[32] = {};
  const ssize_t length = ::pread(descriptor, text, sizeof text - 1, 0);
  if (length <= 0) return "another process";
  std::string pid(text, static_cast<std::size_t>(length));
  while (!pid.empty() && (pid.back() == '\n' || pid.back() == ' ')) pid.pop_back();
  return "process " + pid;
}

}  // namespace

std::filesystem::path libraryLockPath(const std::filesystem::path& library) {
  return library / "Mail" / "V10" / "MailData" / "host.lock";
}

foundation::Result<std::unique_ptr<LibraryLock>> LibraryLock::acquire(
    const std::filesystem::path& library) {
  const std::filesystem::path path = libraryLockPath(library);
  std::error_code error;
  std::filesystem::create_directories(path.parent_path(), error);
  const int descriptor = ::open(path.c_str(), O_RDWR | O_CREAT | O_CLOEXEC, 0600);
  if (descriptor < 0) {
    return lockError("cannot open " + path.string() + ": " + std::strerror(errno));
  }
  if (::flock(descriptor, LOCK_EX | LOCK_NB) != 0) {
    const int lockErrno = errno;
    std::string message = lockErrno == EWOULDBLOCK
                              ? "the library " + library.string() + " is in use by " +
                                    holderOf(descriptor) + " (another trovadex-mailhost run)"
                              : "cannot lock " + path.string() + ": " + std::strerror(lockErrno);
    ::close(descriptor);
    return lockError(std::move(message));
  }
  const std::string pid = std::to_string(::getpid()) + "\n";
  if (::ftruncate(descriptor, 0) != 0 ||
      ::pwrite(descriptor, pid.data(), pid.size(), 0) != static_cast<ssize_t>(pid.size())) {
    // The pid only improves another host's message; the lock itself holds.
  }
  return std::unique_ptr<LibraryLock>(new LibraryLock(descriptor));
}

LibraryLock::~LibraryLock() { ::close(descriptor_); }

}  // namespace trovadex::host
