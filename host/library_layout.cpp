#include "host/library_layout.hpp"

#include <system_error>

#include "linux/linux_file_manager.hpp"

namespace trovadex::host {

std::filesystem::path absolutePath(const std::string& given) {
  std::error_code error;
  std::filesystem::path absolute = std::filesystem::absolute(given, error);
  return error ? std::filesystem::path(given) : absolute.lexically_normal();
}

std::filesystem::path libraryFolder(const std::optional<std::string>& given) {
  if (!given) return linux_platform::LinuxFileManager::defaultLibraryDirectory();
  return absolutePath(*given);
}

std::filesystem::path bundlesFolder(const std::filesystem::path& library) {
  return library / "Mail" / "Bundles";
}

std::filesystem::path searchIndexPath(const std::filesystem::path& library) {
  return library / "Mail" / "V10" / "MailData" / "Search Index";
}

std::optional<std::filesystem::path> builtPluginBundle() {
  std::error_code error;
  const std::filesystem::path executable = std::filesystem::read_symlink("/proc/self/exe", error);
  if (error) return std::nullopt;
  const std::filesystem::path prefix = executable.parent_path().parent_path();
  for (const auto& candidate :
       {prefix / kPluginBundleName, prefix / "lib/trovadex" / kPluginBundleName}) {
    if (std::filesystem::is_directory(candidate, error)) return candidate.lexically_normal();
  }
  return std::nullopt;
}

}  // namespace trovadex::host
