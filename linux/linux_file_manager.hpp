// LinuxFileManager: the FileManager port on a freedesktop system.
//
// Items go to the Trash through GIO, which follows the freedesktop.org layout (the item under
// files/, a .trashinfo record under info/); the new location is found from that record. The
// user's library folder is fixed at construction: the host's --library folder or
// $XDG_DATA_HOME/trovadex. Safe from any thread.
#pragma once

#include <string>

#include "platform/file_manager.hpp"

namespace trovadex::linux_platform {

class LinuxFileManager final : public platform::FileManager {
 public:
  // $XDG_DATA_HOME/trovadex, XDG_DATA_HOME defaulting to ~/.local/share.
  static std::string defaultLibraryDirectory();

  explicit LinuxFileManager(std::string libraryDirectory = defaultLibraryDirectory());

  bool fileExistsAtPath(const std::string& path) const override;
  foundation::Result<std::string> trashItemAtPath(const std::string& path) override;
  foundation::Status removeItemAtPath(const std::string& path) override;
  std::string displayNameAtPath(const std::string& path) const override;
  std::string userLibraryDirectory() const override { return libraryDirectory_; }

 private:
  const std::string libraryDirectory_;  // Immutable after construction.
};

}  // namespace trovadex::linux_platform
