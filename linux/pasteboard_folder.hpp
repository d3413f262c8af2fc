// PasteboardFolder: the pasteboards of this user as folders of property-list files.
//
// Pasteboard N is the folder <root>/N, its type T the file <root>/N/T (one binary or XML list,
// replaced by rename so readers see whole lists). Folders are 0700, files 0600; names that break
// the rules never reach the disk. The companion links this to read batches. Safe from any thread.
#pragma once

#include <sys/types.h>

#include <functional>
#include <string>
#include <vector>

#include "foundation/error.hpp"
#include "foundation/property_list.hpp"
#include "foundation/value.hpp"

namespace trovadex::linux_platform {

// The domain of refused names and missing pasteboards.
inline constexpr const char* kPasteboardErrorDomain = "TrovadexPasteboardErrorDomain";
inline constexpr std::int64_t kPasteboardInvalidName = 1;

// The format writers use: binary, the faster of the two to write and to read.
inline constexpr foundation::PropertyListFormat kPasteboardWriteFormat =
    foundation::PropertyListFormat::Binary;

class PasteboardFolder {
 public:
  // The root for this user: $XDG_RUNTIME_DIR/trovadex/pasteboards, or when that variable is
  // unset or empty, ${TMPDIR:-/tmp}/trovadex-<uid>/pasteboards. Computed only; nothing is made.
  static std::string defaultRoot();

  explicit PasteboardFolder(std::string root);

  const std::string& root() const { return root_; }
  std::string pathOf(const std::string& name) const { return root_ + "/" + name; }

  // Creates the root and its parent as private folders (the parent only when it is ours to
  // make: the trovadex folder under the runtime or temporary folder).
  foundation::Status prepareRoot() const;

  // Stores a property list under a type, creating the pasteboard's folder when needed.
  foundation::Status writePropertyList(const std::string& name, const std::string& type,
                                       const foundation::Value& propertyList) const;
  // The property list under a type; an Error when it is absent, unreadable or malformed.
  foundation::Result<foundation::Value> readPropertyList(const std::string& name,
                                                         const std::string& type) const;
  // The types the pasteboard holds now, sorted.
  std::vector<std::string> types(const std::string& name) const;

  // Removes every type file; the folder stays. Writes in flight are not disturbed.
  foundation::Status clear(const std::string& name) const;
  // Removes the pasteboard's folder and everything in it.
  foundation::Status remove(const std::string& name) const;

  // Removes the folders of unique names whose pid no process has any more (processIsAlive
  // answers false) and returns their names. Other folders are left alone.
  std::vector<std::string> removeStaleFolders(
      const std::function<bool(pid_t)>& processIsAlive) const;

 private:
  foundation::Status checkNames(const std::string& name, const std::string& type) const;

  const std::string root_;  // Immutable after construction.
};

// Whether a process with that pid exists (a process of another user counts as alive).
bool processIsAlive(pid_t pid);

}  // namespace trovadex::linux_platform
