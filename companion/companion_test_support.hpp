// Helpers of the companion's tests: a temporary folder, a poster that records commands, and
// batches written the way the plug-in writes them. Test thread only.
#pragma once

#include <gtest/gtest.h>

#include <cstdlib>
#include <filesystem>
#include <string>
#include <utility>
#include <vector>

#include "companion/search_session.hpp"
#include "companion/wire_vocabulary.hpp"
#include "foundation/value.hpp"
#include "linux/pasteboard_folder.hpp"

namespace trovadex::companion::testing {

using foundation::Value;

class TemporaryFolder {
 public:
  TemporaryFolder() {
    std::string pattern = (std::filesystem::temp_directory_path() / "trovadex-companion-XXXXXX");
    if (::mkdtemp(pattern.data()) == nullptr) ADD_FAILURE() << "mkdtemp failed";
    path_ = pattern;
  }
  ~TemporaryFolder() { std::filesystem::remove_all(path_); }
  TemporaryFolder(const TemporaryFolder&) = delete;
  TemporaryFolder& operator=(const TemporaryFolder&) = delete;
  const std::string& path() const { return path_; }

 private:
  std::string path_;
};

struct PostedCommand {
  Command command;
  Value userInfo;
};

class RecordingPoster {
 public:
  CommandPoster poster() {
    return [this](Command command, const Value& userInfo) {
      commands.push_back({command, userInfo});
    };
  }
  std::vector<Value> userInfosOf(Command command) const {
    std::vector<Value> found;
    for (const auto& posted : commands) {
      if (posted.command == command) found.push_back(posted.userInfo);
    }
    return found;
  }
  std::vector<PostedCommand> commands;
};

// A message record as the plug-in sends it.
inline Value messageRecord(std::int64_t libraryID, const std::string& subject) {
  return Value::Dictionary{
      {"attributes", Value::Dictionary{{"kMDItemSubject", subject},
                                       {"_kMDItemExternalID", Value::integer(libraryID)}}},
      {"kMDItemPath", "/mail/V10/" + std::to_string(libraryID) + ".emlx"},
      {"libraryID", Value::integer(libraryID)},
      {"index", Value::unsignedInteger(static_cast<std::uint64_t>(libraryID))}};
}

inline void writeResultsBatch(const linux_platform::PasteboardFolder& folder,
                              const std::string& batchName, const std::string& uniqueName,
                              std::uint64_t batchNumber, const Value::Array& messages) {
  const Value payload = Value::Dictionary{{"messages", messages},
                                          {"foundItemCount", Value::unsignedInteger(99)},
                                          {"batchNumber", Value::unsignedInteger(batchNumber)},
                                          {"queryString", "q"},
                                          {"uniqueName", uniqueName},
                                          {"clientName", "client"}};
  ASSERT_TRUE(
      folder.writePropertyList(batchName, pasteboardTypeName(BatchKind::Results), payload).ok());
}

inline void writeRemovalBatch(const linux_platform::PasteboardFolder& folder,
                              const std::string& batchName, const std::string& uniqueName,
                              std::uint64_t batchNumber, const Value::Array& identifiers) {
  const Value payload = Value::Dictionary{{"messageIDs", identifiers},
                                          {"batchNumber", Value::unsignedInteger(batchNumber)},
                                          {"queryString", "q"},
                                          {"uniqueName", uniqueName},
                                          {"clientName", "client"}};
  ASSERT_TRUE(
      folder.writePropertyList(batchName, pasteboardTypeName(BatchKind::Removals), payload).ok());
}

}  // namespace trovadex::companion::testing
