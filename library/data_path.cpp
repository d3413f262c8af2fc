#include "library/data_path.hpp"

#include <array>

namespace trovadex::plugin {

namespace {

// The host's data kinds, in the order they are tried.
constexpr std::array<int, 2> kDataPathKinds = {0, 1};

}  // namespace

std::optional<std::string> existingDataPath(platform::MailLibrary& library,
                                            const platform::FileManager* fileManager,
                                            std::int64_t libraryID, std::int64_t mailboxID) {
  if (!fileManager) return std::nullopt;
  for (int kind : kDataPathKinds) {
    std::optional<std::string> path = library.dataPathForMessage(libraryID, mailboxID, kind);
    if (path && !path->empty() && fileManager->fileExistsAtPath(*path)) return path;
  }
  return std::nullopt;
}

}  // namespace trovadex::plugin
