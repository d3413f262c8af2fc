#include "mailstore/file_io.hpp"

#include <fcntl.h>
#include <unistd.h>

#include <cerrno>
#include <system_error>

#include "mailstore/store_error.hpp"

namespace trovadex::mailstore {
namespace {

// Closes a descriptor on every way out.
class FileDescriptor {
 public:
  explicit FileDescriptor(int descriptor) : descriptor_(descriptor) {}
  FileDescriptor(const FileDescriptor&) = delete;
  FileDescriptor& operator=(const FileDescriptor&) = delete;
  ~FileDescriptor() {
    if (descriptor_ >= 0) ::close(descriptor_);
  }
  int get() const { return descriptor_; }
  // Closes now and reports whether the close succeeded (a failed close can mean lost data).
  bool close() {
    const int descriptor = descriptor_;
    descriptor_ = -1;
    return ::close(descriptor) == 0;
  }

 private:
  int descriptor_;
};

}  // namespace

foundation::Result<std::string> readWholeFile(const std::filesystem::path& path) {
  FileDescriptor file(::open(path.c_str(), O_RDONLY | O_CLOEXEC));
  if (file.get() < 0) return fileSystemError("cannot open", path.string(), errno);
  std::string bytes;
  char buffer[65536];
  for (;;) {
    const ssize_t got = ::read(file.get(), buffer, sizeof buffer);
    if (got < 0) {
      if (errno == EINTR) continue;
      return fileSystemError("cannot read", path.string(), errno);
    }
    if (got == 0) break;
    bytes.append(buffer, static_cast<std::size_t>(got));
  }
  return bytes;
}

foundation::Status makeFolders(const std::filesystem::path& path) {
  std::error_code error;
  std::filesystem::create_directories(path, error);
  if (error) return fileSystemError("cannot create folder", path.string(), error.value());
  return {};
}

namespace {

// Creates (or truncates) path, creating missing parents, and writes bytes; on failure removes it.
foundation::Status writeAndClose(const std::filesystem::path& path, std::string_view bytes) {
  int descriptor = ::open(path.c_str(), O_WRONLY | O_CREAT | O_TRUNC | O_CLOEXEC, 0644);
  if (descriptor < 0 && errno == ENOENT) {
    if (auto made = makeFolders(path.parent_path()); !made) return made;
    descriptor = ::open(path.c_str(), O_WRONLY | O_CREAT | O_TRUNC | O_CLOEXEC, 0644);
  }
  if (descriptor < 0) return fileSystemError("cannot create", path.string(), errno);
  FileDescriptor file(descriptor);
  std::size_t written = 0;
  while (written < bytes.size()) {
    const ssize_t put = ::write(file.get(), bytes.data() + written, bytes.size() - written);
    if (put < 0) {
      if (errno == EINTR) continue;
      const int writeError = errno;
      ::unlink(path.c_str());
      return fileSystemError("cannot write", path.string(), writeError);
    }
    written += static_cast<std::size_t>(put);
  }
  if (!file.close()) {
    const int closeError = errno;
    ::unlink(path.c_str());
    return fileSystemError("cannot write", path.string(), closeError);
  }
  return {};
}

}  // namespace

foundation::Status writeNewFile(const std::filesystem::path& path, std::string_view bytes) {
  return writeAndClose(path, bytes);
}

foundation::Status writeFileAtomically(const std::filesystem::path& path, std::string_view bytes) {
  const std::filesystem::path temporary =
      path.parent_path() / ("." + path.filename().string() + ".writing");
  if (auto written = writeAndClose(temporary, bytes); !written) return written;
  if (::rename(temporary.c_str(), path.c_str()) != 0) {
    const int renameError = errno;
    ::unlink(temporary.c_str());
    return fileSystemError("cannot rename into place", path.string(), renameError);
  }
  return {};
}

}  // namespace trovadex::mailstore
