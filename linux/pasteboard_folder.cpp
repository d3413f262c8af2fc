#include "linux/pasteboard_folder.hpp"

#include <dirent.h>
#include <signal.h>
#include <unistd.h>

#include <algorithm>
#include <cerrno>
#include <cstdlib>
#include <memory>

#include "linux/atomic_file.hpp"
#include "linux/pasteboard_name.hpp"

namespace trovadex::linux_platform {

using foundation::Error;
using foundation::Result;
using foundation::Status;
using foundation::Value;

namespace {

Error invalidName(const std::string& what) {
  return Error{kPasteboardErrorDomain, kPasteboardInvalidName,
               "Not a usable pasteboard or type name: \"" + what.substr(0, 64) + "\""};
}

std::string parentOf(const std::string& path) {
  const auto slash = path.rfind('/');
  return slash == std::string::npos || slash == 0 ? std::string() : path.substr(0, slash);
}

// The entries of a folder that a listing should show: not ".", "..", or temporary files.
std::vector<std::string> visibleEntries(const std::string& folder) {
  std::vector<std::string> names;
  std::unique_ptr<DIR, int (*)(DIR*)> directory(::opendir(folder.c_str()), ::closedir);
  if (!directory) return names;
  while (const dirent* entry = ::readdir(directory.get())) {
    if (entry->d_name[0] != '.') names.emplace_back(entry->d_name);
  }
  std::sort(names.begin(), names.end());
  return names;
}

}  // namespace

std::string PasteboardFolder::defaultRoot() {
  const char* runtime = std::getenv("XDG_RUNTIME_DIR");
  if (runtime != nullptr && runtime[0] != '\0') {
    return std::string(runtime) + "/trovadex/pasteboards";
  }
  const char* temporary = std::getenv("TMPDIR");
  const std::string base = temporary != nullptr && temporary[0] != '\0' ? temporary : "/tmp";
  return base + "/trovadex-" + std::to_string(::getuid()) + "/pasteboards";
}

PasteboardFolder::PasteboardFolder(std::string root) : root_(std::move(root)) {}

Status PasteboardFolder::prepareRoot() const {
  const std::string parent = parentOf(root_);
  if (!parent.empty()) {
    if (Status made = ensurePrivateDirectory(parent); !made) return made;
  }
  return ensurePrivateDirectory(root_);
}

Status PasteboardFolder::checkNames(const std::string& name, const std::string& type) const {
  if (!isValidPasteboardName(name)) return invalidName(name);
  if (!isValidPasteboardName(type)) return invalidName(type);
  return {};
}

Status PasteboardFolder::writePropertyList(const std::string& name, const std::string& type,
                                           const Value& propertyList) const {
  if (Status checked = checkNames(name, type); !checked) return checked;
  auto encoded = foundation::encodePropertyList(propertyList, kPasteboardWriteFormat);
  if (!encoded) return encoded.error();
  if (Status made = prepareRoot(); !made) return made;
  if (Status made = ensurePrivateDirectory(pathOf(name)); !made) return made;
  return writeFileAtomically(pathOf(name) + "/" + type, encoded.value(), false);
}

Result<Value> PasteboardFolder::readPropertyList(const std::string& name,
                                                 const std::string& type) const {
  if (Status checked = checkNames(name, type); !checked) return checked.error();
  auto bytes = readWholeFile(pathOf(name) + "/" + type);
  if (!bytes) return bytes.error();
  return foundation::decodePropertyList(bytes.value());
}

std::vector<std::string> PasteboardFolder::types(const std::string& name) const {
  if (!isValidPasteboardName(name)) return {};
  return visibleEntries(pathOf(name));
}

Status PasteboardFolder::clear(const std::string& name) const {
  if (!isValidPasteboardName(name)) return invalidName(name);
  for (const auto& type : visibleEntries(pathOf(name))) {
    const std::string path = pathOf(name) + "/" + type;
    if (::unlink(path.c_str()) != 0 && errno != ENOENT) {
      return posixError(errno, "Could not clear " + path);
    }
  }
  return {};
}

Status PasteboardFolder::remove(const std::string& name) const {
  if (!isValidPasteboardName(name)) return invalidName(name);
  return removeTree(pathOf(name));
}

std::vector<std::string> PasteboardFolder::removeStaleFolders(
    const std::function<bool(pid_t)>& processIsAlive) const {
  std::vector<std::string> removed;
  for (const auto& name : visibleEntries(root_)) {
    const auto pid = pidOfUniquePasteboardName(name);
    if (!pid || *pid == ::getpid() || processIsAlive(*pid)) continue;
    if (removeTree(pathOf(name))) removed.push_back(name);
  }
  return removed;
}

bool processIsAlive(pid_t pid) { return ::kill(pid, 0) == 0 || errno == EPERM; }

}  // namespace trovadex::linux_platform
