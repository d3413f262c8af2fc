// LibraryLock: one running host per library folder.
//
// Two hosts on one library would both write its search index and both load the plug-in against
// the same store, so run takes an exclusive lock on <library>/Mail/V10/MailData/host.lock for
// the life of the process (the file records the holder's pid for the message a second host
// prints). The lock goes with the process, however it ends. One owner thread.
#pragma once

#include <filesystem>
#include <memory>

#include "foundation/error.hpp"

namespace trovadex::host {

class LibraryLock {
 public:
  // Fails when another process holds the library's lock, naming its pid, or when the lock file
  // cannot be made.
  static foundation::Result<std::unique_ptr<LibraryLock>> acquire(
      const std::filesystem::path& library);
  ~LibraryLock();
  LibraryLock(const LibraryLock&) = delete;
  LibraryLock& operator=(const LibraryLock&) = delete;

 private:
  explicit LibraryLock(int descriptor) : descriptor_(descriptor) {}
  const int descriptor_;
};

std::filesystem::path libraryLockPath(const std::filesystem::path& library);

}  // namespace trovadex::host
