// FakeFileManager: the file operations of the port on a real temporary folder.
//
// Existence and removal are the real file system's. The Trash is the folder <root>/Trash/files,
// into which trashItemAtPath moves items (renaming "x" to "x 2", "x 3", ... when the name is
// taken); a switch makes it fail with a readable error instead, so that the failure path can be
// walked. The user's library folder is <root>/Library unless the test names another. Every
// trash and remove call is recorded. Safe from any thread.
#pragma once

#include <cstdint>
#include <filesystem>
#include <mutex>
#include <optional>
#include <string>
#include <string_view>
#include <vector>

#include "platform/fake/temporary_folder.hpp"
#include "platform/file_manager.hpp"

namespace trovadex::platform::fake {

// The domain and codes of the errors this fake reports, as the platform numbers them.
inline constexpr std::string_view kFileErrorDomain = "NSCocoaErrorDomain";
inline constexpr std::int64_t kFileNoSuchFileError = 4;
inline constexpr std::int64_t kFileWriteNoPermissionError = 513;

class FakeFileManager final : public FileManager {
 public:
  FakeFileManager();
  ~FakeFileManager() override;

  bool fileExistsAtPath(const std::string& path) const override;
  foundation::Result<std::string> trashItemAtPath(const std::string& path) override;
  foundation::Status removeItemAtPath(const std::string& path) override;
  std::string displayNameAtPath(const std::string& path) const override;
  std::string userLibraryDirectory() const override;

  // The temporary folder everything lives in.
  const std::filesystem::path& root() const { return folder_.path(); }
  std::filesystem::path trashFolder() const { return root() / "Trash" / "files"; }
  void setUserLibraryDirectory(std::string path);

  // While set, trashItemAtPath fails with a permission error and moves nothing.
  void setTrashFails(bool fails);

  // Creates the folders and a file holding contents; for arranging a test.
  void createFile(const std::filesystem::path& path, const std::string& contents = {});

  std::vector<std::string> trashRequests() const;
  std::vector<std::string> removeRequests() const;

 private:
  TemporaryFolder folder_;  // Immutable after construction.

  mutable std::mutex mutex_;
  // Guarded by mutex_.
  std::string userLibraryDirectory_;
  bool trashFails_ = false;
  std::vector<std::string> trashRequests_;
  std::vector<std::string> removeRequests_;
};

}  // namespace trovadex::platform::fake
