#include "platform/fake/temporary_folder.hpp"

#include <cstdio>
#include <cstdlib>
#include <string>
#include <system_error>

namespace trovadex::platform::fake {

TemporaryFolder::TemporaryFolder() {
  std::error_code error;
  std::filesystem::path base = std::filesystem::temp_directory_path(error);
  if (error) base = "/tmp";
  std::string pattern = (base / "trovadex-fake-XXXXXX").string();
  if (::mkdtemp(pattern.data()) == nullptr) {
    std::perror("TemporaryFolder: mkdtemp");
    std::abort();
  }
  // Canonical, so that paths the fakes hand out compare equal to what the file system reports.
  path_ = std::filesystem::weakly_canonical(pattern, error);
  if (error) path_ = pattern;
}

TemporaryFolder::~TemporaryFolder() {
  std::error_code ignored;
  std::filesystem::remove_all(path_, ignored);
}

}  // namespace trovadex::platform::fake
