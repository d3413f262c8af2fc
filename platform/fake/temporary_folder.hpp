// TemporaryFolder: a fresh folder under the system's temporary directory, removed with everything
// in it when the object is destroyed.
//
// The file-system fakes (file manager, mail library) work on real files so that the plug-in's
// existence checks and SQLite reads meet the real thing. Immutable after construction: safe from
// any thread.
#pragma once

#include <filesystem>

namespace trovadex::platform::fake {

class TemporaryFolder {
 public:
  // Creates the folder; aborts when the system cannot make one (a test can do nothing without it).
  TemporaryFolder();
  ~TemporaryFolder();
  TemporaryFolder(const TemporaryFolder&) = delete;
  TemporaryFolder& operator=(const TemporaryFolder&) = delete;

  const std::filesystem::path& path() const { return path_; }

 private:
  std::filesystem::path path_;  // Immutable after construction.
};

}  // namespace trovadex::platform::fake
