#include "companion/message_copy.hpp"

#include <glib.h>

#include <filesystem>
#include <string_view>

#include "linux/atomic_file.hpp"
#include "mailstore/emlx.hpp"

namespace trovadex::companion {

namespace {

bool endsWith(std::string_view text, std::string_view suffix) {
  return text.size() >= suffix.size() && text.substr(text.size() - suffix.size()) == suffix;
}

}  // namespace

std::string defaultMessageCopyFolder() {
  return std::string(g_get_user_cache_dir()) + "/trovadex/messages";
}

foundation::Result<std::string> writeOpenableCopy(const std::string& messagePath,
                                                  const std::string& folder) {
  std::string name = std::filesystem::path(messagePath).filename().string();
  if (!endsWith(name, ".emlx")) {
    if (!std::filesystem::is_regular_file(messagePath)) {
      return linux_platform::posixError(ENOENT, "No message file at " + messagePath);
    }
    return messagePath;
  }
  name.resize(name.size() - 5);
  if (endsWith(name, ".partial")) name.resize(name.size() - 8);
  auto file = mailstore::readEmlxFile(messagePath);
  if (!file) return file.error();

  // The folder and its parent are the user's own; the cache above them is made as usual.
  const std::filesystem::path parent = std::filesystem::path(folder).parent_path();
  if (!parent.empty()) {
    if (parent.has_parent_path()) g_mkdir_with_parents(parent.parent_path().c_str(), 0700);
    if (auto made = linux_platform::ensurePrivateDirectory(parent.string()); !made)
      return made.error();
  }
  if (auto made = linux_platform::ensurePrivateDirectory(folder); !made) return made.error();
  const std::string copy = folder + "/" + name + ".eml";
  if (auto written = linux_platform::writeFileAtomically(copy, file.value().message, false);
      !written) {
    return written.error();
  }
  return copy;
}

}  // namespace trovadex::companion
