#include "linux/atomic_file.hpp"

#include <dirent.h>
#include <fcntl.h>
#include <sys/stat.h>
#include <unistd.h>

#include <cerrno>
#include <cstring>
#include <memory>
#include <vector>

namespace trovadex::linux_platform {

using foundation::Error;
using foundation::Result;
using foundation::Status;

namespace {

struct FileDescriptor {
  int fd = -1;
  ~FileDescriptor() {
    if (fd >= 0) ::close(fd);
  }
  int release() { return std::exchange(fd, -1); }
};

Status writeAll(int fd, std::string_view bytes, const std::string& path) {
  while (!bytes.empty()) {
    const ssize_t written = ::write(fd, bytes.data(), bytes.size());
    if (written < 0) {
      if (errno == EINTR) continue;
      return posixError(errno, "Could not write " + path);
    }
    bytes.remove_prefix(static_cast<std::size_t>(written));
  }
  return {};
}

Status removeTreeAt(int parentFd, const char* name, const std::string& path) {
  if (::unlinkat(parentFd, name, 0) == 0 || errno == ENOENT) return {};
  if (errno != EISDIR && errno != EPERM) return posixError(errno, "Could not remove " + path);
  const int fd = ::openat(parentFd, name, O_RDONLY | O_DIRECTORY | O_NOFOLLOW | O_CLOEXEC);
  if (fd < 0) return posixError(errno, "Could not open " + path);
  DIR* directory = ::fdopendir(fd);
  if (directory == nullptr) {
    ::close(fd);
    return posixError(errno, "Could not read " + path);
  }
  std::unique_ptr<DIR, int (*)(DIR*)> owner(directory, ::closedir);
  std::vector<std::string> children;
  while (const dirent* entry = ::readdir(directory)) {
    const std::string_view child = entry->d_name;
    if (child != "." && child != "..") children.emplace_back(child);
  }
  for (const auto& child : children) {
    if (Status removed = removeTreeAt(::dirfd(directory), child.c_str(), path + "/" + child);
        !removed) {
      return removed;
    }
  }
  owner.reset();
  if (::unlinkat(parentFd, name, AT_REMOVEDIR) != 0 && errno != ENOENT) {
    return posixError(errno, "Could not remove " + path);
  }
  return {};
}

}  // namespace

Error posixError(int errorNumber, const std::string& what) {
  return Error{kPosixErrorDomain, errorNumber, what + ": " + std::strerror(errorNumber)};
}

Status writeFileAtomically(const std::string& path, std::string_view bytes, bool syncToDisk) {
  const auto slash = path.rfind('/');
  const std::string folder = slash == std::string::npos ? "." : path.substr(0, slash);
  const std::string name = slash == std::string::npos ? path : path.substr(slash + 1);
  std::string temporary = folder + "/." + name + ".XXXXXX";
  FileDescriptor file;
  file.fd = ::mkostemp(temporary.data(), O_CLOEXEC);  // mode 0600
  if (file.fd < 0) return posixError(errno, "Could not create a file in " + folder);

  Status status = writeAll(file.fd, bytes, path);
  if (status && syncToDisk && ::fsync(file.fd) != 0)
    status = posixError(errno, "Could not sync " + path);
  if (status && ::close(file.release()) != 0) status = posixError(errno, "Could not write " + path);
  if (status && ::rename(temporary.c_str(), path.c_str()) != 0) {
    status = posixError(errno, "Could not replace " + path);
  }
  if (!status) ::unlink(temporary.c_str());
  return status;
}

Result<std::string> readWholeFile(const std::string& path) {
  FileDescriptor file;
  file.fd = ::open(path.c_str(), O_RDONLY | O_CLOEXEC);
  if (file.fd < 0) return posixError(errno, "Could not open " + path);
  std::string bytes;
  struct stat status {};
  if (::fstat(file.fd, &status) == 0 && status.st_size > 0) {
    bytes.reserve(static_cast<std::size_t>(status.st_size));
  }
  char buffer[65536];
  for (;;) {
    const ssize_t count = ::read(file.fd, buffer, sizeof buffer);
    if (count < 0) {
      if (errno == EINTR) continue;
      return posixError(errno, "Could not read " + path);
    }
    if (count == 0) break;
    bytes.append(buffer, static_cast<std::size_t>(count));
  }
  return bytes;
}

Status ensurePrivateDirectory(const std::string& path) {
  if (::mkdir(path.c_str(), 0700) == 0) return {};
  if (errno != EEXIST) return posixError(errno, "Could not create " + path);
  struct stat status {};
  if (::lstat(path.c_str(), &status) != 0) return posixError(errno, "Could not examine " + path);
  if (!S_ISDIR(status.st_mode)) return posixError(ENOTDIR, "Not a private folder: " + path);
  if (status.st_uid != ::geteuid()) return posixError(EPERM, "Owned by another user: " + path);
  if ((status.st_mode & 077) != 0 && ::chmod(path.c_str(), 0700) != 0) {
    return posixError(errno, "Could not make " + path + " private");
  }
  return {};
}

Status removeTree(const std::string& path) { return removeTreeAt(AT_FDCWD, path.c_str(), path); }

}  // namespace trovadex::linux_platform
