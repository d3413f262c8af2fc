// FileManager: the few file operations the plug-in needs.
//
// Paths are absolute UTF-8 file-system paths. Safe from any thread.
#pragma once

#include <optional>
#include <string>

#include "foundation/error.hpp"

namespace trovadex::platform {

class FileManager {
 public:
  virtual ~FileManager();

  virtual bool fileExistsAtPath(const std::string& path) const = 0;

  // Moves the item to the user's Trash. On success returns where it now lies; on failure the
  // error says why, readably.
  virtual foundation::Result<std::string> trashItemAtPath(const std::string& path) = 0;

  // Removes the item (recursively for a folder).
  virtual foundation::Status removeItemAtPath(const std::string& path) = 0;

  // The name to show a person for the item: its last path component (an .emlx keeps its
  // extension).
  virtual std::string displayNameAtPath(const std::string& path) const = 0;

  // The user's library folder (tilde expanded), the first entry the platform gives for it.
  virtual std::string userLibraryDirectory() const = 0;
};

}  // namespace trovadex::platform
