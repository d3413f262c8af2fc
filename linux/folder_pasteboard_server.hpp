// FolderPasteboardServer: the PasteboardServer port over a PasteboardFolder.
//
// Looking up a name that any holder still has returns that very object, tags included. A name
// that breaks the rules yields a handle that stores nothing and never touches the disk; a valid
// one creates nothing on disk until its first write. All operations are safe from any thread.
#pragma once

#include <atomic>
#include <cstdint>
#include <map>
#include <memory>
#include <mutex>
#include <random>
#include <string>

#include "linux/pasteboard_folder.hpp"
#include "platform/console.hpp"
#include "platform/pasteboard.hpp"

namespace trovadex::linux_platform {

// A pasteboard's declared types live in its handle: setPropertyList() stores only under a type
// declared through that handle, and clearContents() forgets them.
class FolderPasteboardServer final : public platform::PasteboardServer {
 public:
  // console (may be null) receives a line for each failed file operation.
  FolderPasteboardServer(PasteboardFolder folder, std::shared_ptr<platform::Console> console);

  // Removes the folders left by hosts that no longer run; returns how many went.
  std::size_t removeStaleFolders();

  std::shared_ptr<platform::Pasteboard> pasteboardWithUniqueName() override;
  std::shared_ptr<platform::Pasteboard> pasteboardWithName(const std::string& name) override;

  const PasteboardFolder& folder() const { return *folder_; }

 private:
  // Immutable after construction.
  const std::shared_ptr<const PasteboardFolder> folder_;  // Shared with every handle.
  const std::shared_ptr<platform::Console> console_;

  std::mutex mutex_;
  std::map<std::string, std::weak_ptr<platform::Pasteboard>> live_;  // Guarded by mutex_.
  std::uint64_t nextCounter_ = 1;                                    // Guarded by mutex_.
  std::mt19937 random_;                                              // Guarded by mutex_.
};

}  // namespace trovadex::linux_platform
