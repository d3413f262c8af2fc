#include "linux/trash_location.hpp"

#include <sys/stat.h>
#include <unistd.h>

#include <vector>

#include "linux/atomic_file.hpp"
#include "linux/glib_ptr.hpp"

namespace trovadex::linux_platform {
namespace {

// How many same-named entries one Trash is searched for before giving up.
constexpr int kMaximumCounter = 10000;

std::string parentOf(const std::string& path) {
  const auto slash = path.rfind('/');
  return slash == 0 || slash == std::string::npos ? std::string("/") : path.substr(0, slash);
}

std::string baseName(const std::string& path) {
  const auto slash = path.rfind('/');
  return slash == std::string::npos ? path : path.substr(slash + 1);
}

// The name GIO gives the counter-th item of a name: "a.txt", "a.2.txt", "a.3.txt"...
std::string uniqueName(const std::string& base, int counter) {
  if (counter == 1) return base;
  const auto dot = base.find('.');
  if (dot == std::string::npos) return base + "." + std::to_string(counter);
  return base.substr(0, dot) + "." + std::to_string(counter) + base.substr(dot);
}

// The top folder of the file system that holds path: the last ancestor on the same device.
std::string topFolderOf(const std::string& path) {
  struct stat status {};
  std::string current = parentOf(path);
  if (::stat(current.c_str(), &status) != 0) return "/";
  const dev_t device = status.st_dev;
  while (current != "/") {
    const std::string up = parentOf(current);
    if (::stat(up.c_str(), &status) != 0 || status.st_dev != device) break;
    current = up;
  }
  return current;
}

// The original path an info record names (relative paths count from the Trash's top folder).
std::optional<std::string> recordedPath(const std::string& infoFile, const std::string& top) {
  auto contents = readWholeFile(infoFile);
  if (!contents) return std::nullopt;
  const std::string& text = contents.value();
  std::size_t start = 0;
  while (start < text.size()) {
    std::size_t end = text.find('\n', start);
    if (end == std::string::npos) end = text.size();
    const std::string line = text.substr(start, end - start);
    if (line.rfind("Path=", 0) == 0) {
      GCharPtr unescaped(g_uri_unescape_string(line.c_str() + 5, nullptr));
      if (!unescaped) return std::nullopt;
      std::string path = unescaped.get();
      if (!path.empty() && path.front() != '/') path = (top == "/" ? "" : top) + "/" + path;
      return path;
    }
    start = end + 1;
  }
  return std::nullopt;
}

struct Candidate {
  std::string trash;
  std::string top;  // what relative records count from
};

}  // namespace

std::optional<std::string> findTrashedItem(const std::string& originalPath) {
  const std::string top = topFolderOf(originalPath);
  const std::string uid = std::to_string(::getuid());
  const std::vector<Candidate> trashes = {
      {std::string(g_get_user_data_dir()) + "/Trash", "/"},
      {(top == "/" ? "" : top) + "/.Trash/" + uid, top},
      {(top == "/" ? "" : top) + "/.Trash-" + uid, top},
  };
  const std::string base = baseName(originalPath);
  std::optional<std::string> newest;
  struct timespec newestTime {};
  for (const auto& candidate : trashes) {
    for (int counter = 1; counter <= kMaximumCounter; ++counter) {
      const std::string name = uniqueName(base, counter);
      const std::string info = candidate.trash + "/info/" + name + ".trashinfo";
      struct stat status {};
      if (::stat(info.c_str(), &status) != 0) break;  // GIO fills the first free counter
      const struct timespec when = status.st_mtim;    // when the record was written
      if (recordedPath(info, candidate.top) != originalPath) continue;
      const std::string item = candidate.trash + "/files/" + name;
      if (::lstat(item.c_str(), &status) != 0) continue;
      if (!newest || when.tv_sec > newestTime.tv_sec ||
          (when.tv_sec == newestTime.tv_sec && when.tv_nsec >= newestTime.tv_nsec)) {
        newest = item;
        newestTime = when;
      }
    }
  }
  return newest;
}

}  // namespace trovadex::linux_platform
