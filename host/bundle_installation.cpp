#include "host/bundle_installation.hpp"

#include <fcntl.h>
#include <stdio.h>
#include <unistd.h>

#include <system_error>

#include "host/info_dictionary_bundle.hpp"
#include "host/library_layout.hpp"

namespace trovadex::host {
namespace {

foundation::Error installError(std::string message) {
  return foundation::Error{"TrovadexBundleErrorDomain", 2, std::move(message)};
}

foundation::Error fileError(const std::string& what, const std::error_code& error) {
  return installError(what + ": " + error.message());
}

}  // namespace

foundation::Result<std::filesystem::path> installBundle(
    const std::filesystem::path& source, const std::filesystem::path& bundlesFolder) {
  const std::filesystem::path name =
      source.filename().empty() ? source.parent_path().filename() : source.filename();
  if (name.extension() != kBundleExtension) {
    return installError(source.string() + " is no " + kBundleExtension + " folder");
  }
  auto info = readBundleInfo(source);
  if (!info) return info.error();
  const auto executable = info.value().find("CFBundleExecutable");
  if (executable == info.value().end() || !executable->second.isString()) {
    return installError(source.string() + " has no CFBundleExecutable in its Info.plist");
  }
  const std::filesystem::path library =
      source / "Contents" / "Linux" / (*executable->second.asString() + ".so");
  std::error_code error;
  if (!std::filesystem::is_regular_file(library, error)) {
    return installError(source.string() + " lacks its library " + library.string());
  }

  std::filesystem::create_directories(bundlesFolder, error);
  if (error) return fileError("cannot make " + bundlesFolder.string(), error);
  const std::filesystem::path destination = bundlesFolder / name;
  const std::filesystem::path staging =
      bundlesFolder / ("." + name.string() + ".installing-" + std::to_string(::getpid()));
  const std::filesystem::path retired =
      bundlesFolder / ("." + name.string() + ".replaced-" + std::to_string(::getpid()));
  std::filesystem::remove_all(staging, error);
  std::filesystem::copy(
      source, staging,
      std::filesystem::copy_options::recursive | std::filesystem::copy_options::copy_symlinks,
      error);
  if (error) {
    std::error_code ignored;
    std::filesystem::remove_all(staging, ignored);
    return fileError("cannot copy " + source.string() + " to " + bundlesFolder.string(), error);
  }
  // An existing bundle is swapped with the copy in one step where the file system can, else it
  // steps aside by a rename just before the copy takes its place.
  const bool hadOld = std::filesystem::exists(destination, error);
  if (hadOld &&
      ::renameat2(AT_FDCWD, staging.c_str(), AT_FDCWD, destination.c_str(), RENAME_EXCHANGE) == 0) {
    std::filesystem::remove_all(staging, error);  // now the old bundle
    return destination;
  }
  if (hadOld) {
    std::filesystem::rename(destination, retired, error);
    if (error) {
      std::error_code ignored;
      std::filesystem::remove_all(staging, ignored);
      return fileError("cannot replace " + destination.string(), error);
    }
  }
  std::filesystem::rename(staging, destination, error);
  if (error) {
    std::error_code ignored;
    if (hadOld) std::filesystem::rename(retired, destination, ignored);
    std::filesystem::remove_all(staging, ignored);
    return fileError("cannot move the copy into " + destination.string(), error);
  }
  if (hadOld) std::filesystem::remove_all(retired, error);
  return destination;
}

}  // namespace trovadex::host
