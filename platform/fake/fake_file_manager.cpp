#include "platform/fake/fake_file_manager.hpp"

#include <fstream>
#include <system_error>
#include <utility>

namespace trovadex::platform::fake {
namespace {

namespace fs = std::filesystem;

bool entryExists(const fs::path& path) {
  std::error_code error;
  return fs::exists(fs::symlink_status(path, error));
}

foundation::Error fileError(std::int64_t code, std::string description) {
  return foundation::Error{std::string(kFileErrorDomain), code, std::move(description)};
}

std::string quotedName(const std::string& path) {
  return "\"" + fs::path(path).filename().string() + "\"";
}

}  // namespace

FakeFileManager::FakeFileManager() : userLibraryDirectory_((root() / "Library").string()) {
  std::error_code ignored;
  fs::create_directories(root() / "Library", ignored);
}

FakeFileManager::~FakeFileManager() = default;

bool FakeFileManager::fileExistsAtPath(const std::string& path) const {
  if (path.empty()) return false;
  std::error_code error;
  return fs::exists(path, error);
}

foundation::Result<std::string> FakeFileManager::trashItemAtPath(const std::string& path) {
  bool fails = false;
  {
    std::lock_guard lock(mutex_);
    trashRequests_.push_back(path);
    fails = trashFails_;
  }
  if (fails) {
    return fileError(kFileWriteNoPermissionError,
                     quotedName(path) +
                         " couldn't be moved to the Trash because you don't have "
                         "permission to access it.");
  }
  if (path.empty() || !entryExists(path)) {
    return fileError(
        kFileNoSuchFileError,
        quotedName(path) + " couldn't be moved to the Trash because it doesn't exist.");
  }

  std::error_code error;
  fs::create_directories(trashFolder(), error);
  const fs::path source(path);
  const std::string name = source.filename().string();
  fs::path target = trashFolder() / name;
  for (int copy = 2; entryExists(target); ++copy) {
    target = trashFolder() / (name + " " + std::to_string(copy));
  }
  fs::rename(source, target, error);
  if (error) {
    return fileError(
        kFileWriteNoPermissionError,
        quotedName(path) + " couldn't be moved to the Trash: " + error.message() + ".");
  }
  return target.string();
}

foundation::Status FakeFileManager::removeItemAtPath(const std::string& path) {
  {
    std::lock_guard lock(mutex_);
    removeRequests_.push_back(path);
  }
  if (path.empty() || !entryExists(path)) {
    return fileError(kFileNoSuchFileError,
                     quotedName(path) + " couldn't be removed because it doesn't exist.");
  }
  std::error_code error;
  fs::remove_all(path, error);
  if (error) {
    return fileError(kFileWriteNoPermissionError,
                     quotedName(path) + " couldn't be removed: " + error.message() + ".");
  }
  return {};
}

std::string FakeFileManager::displayNameAtPath(const std::string& path) const {
  fs::path components(path);
  // A trailing separator names the folder before it.
  if (!components.has_filename() && components.has_parent_path() && components != "/") {
    components = components.parent_path();
  }
  std::string name = components.filename().string();
  return name.empty() ? path : name;
}

std::string FakeFileManager::userLibraryDirectory() const {
  std::lock_guard lock(mutex_);
  return userLibraryDirectory_;
}

void FakeFileManager::setUserLibraryDirectory(std::string path) {
  std::lock_guard lock(mutex_);
  userLibraryDirectory_ = std::move(path);
}

void FakeFileManager::setTrashFails(bool fails) {
  std::lock_guard lock(mutex_);
  trashFails_ = fails;
}

void FakeFileManager::createFile(const fs::path& path, const std::string& contents) {
  std::error_code ignored;
  fs::create_directories(path.parent_path(), ignored);
  std::ofstream(path, std::ios::binary | std::ios::trunc) << contents;
}

std::vector<std::string> FakeFileManager::trashRequests() const {
  std::lock_guard lock(mutex_);
  return trashRequests_;
}

std::vector<std::string> FakeFileManager::removeRequests() const {
  std::lock_guard lock(mutex_);
  return removeRequests_;
}

}  // namespace trovadex::platform::fake
