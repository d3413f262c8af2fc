#include "mailstore/message_path.hpp"

#include <charconv>
#include <vector>

namespace trovadex::mailstore {
namespace {

constexpr std::string_view kWholeSuffix = ".emlx";
constexpr std::string_view kPartialSuffix = ".partial.emlx";
constexpr std::string_view kMailboxSuffix = ".mbox";

std::string digitFolders(std::int64_t libraryID) {
  std::string folders;
  for (std::int64_t rest = libraryID / 1000; rest > 0; rest /= 10) {
    folders += static_cast<char>('0' + rest % 10);
    folders += '/';
  }
  return folders;
}

std::optional<std::int64_t> parseDecimal(std::string_view digits) {
  if (digits.empty() || digits.front() < '1' || digits.front() > '9') return std::nullopt;
  std::int64_t number = 0;
  const auto [end, error] = std::from_chars(digits.data(), digits.data() + digits.size(), number);
  if (error != std::errc() || end != digits.data() + digits.size()) return std::nullopt;
  return number;
}

}  // namespace

std::string messagesFolderRelative(std::int64_t libraryID) {
  return "Data/" + digitFolders(libraryID) + "Messages";
}

std::string messageFileName(std::int64_t libraryID, MessageDataKind kind) {
  return std::to_string(libraryID) +
         std::string(kind == MessageDataKind::Whole ? kWholeSuffix : kPartialSuffix);
}

std::filesystem::path messageFilePath(const std::filesystem::path& storeFolder,
                                      std::int64_t libraryID, MessageDataKind kind) {
  return storeFolder / messagesFolderRelative(libraryID) / messageFileName(libraryID, kind);
}

std::filesystem::path attachmentsFolder(const std::filesystem::path& storeFolder,
                                        std::int64_t libraryID) {
  return storeFolder / ("Data/" + digitFolders(libraryID) + "Attachments") /
         std::to_string(libraryID);
}

std::optional<MessageFileName> parseMessageFileName(std::string_view fileName) {
  MessageFileName parsed;
  std::string_view digits;
  if (fileName.ends_with(kPartialSuffix)) {
    digits = fileName.substr(0, fileName.size() - kPartialSuffix.size());
    parsed.kind = MessageDataKind::Partial;
  } else if (fileName.ends_with(kWholeSuffix)) {
    digits = fileName.substr(0, fileName.size() - kWholeSuffix.size());
  } else {
    return std::nullopt;
  }
  const auto libraryID = parseDecimal(digits);
  if (!libraryID) return std::nullopt;
  parsed.libraryID = *libraryID;
  return parsed;
}

std::optional<MessageLocation> parseMessagePath(const std::filesystem::path& v10Folder,
                                                const std::filesystem::path& path) {
  const std::filesystem::path relative =
      path.lexically_normal().lexically_relative(v10Folder.lexically_normal());
  std::vector<std::string> parts;
  for (const auto& part : relative) parts.push_back(part.string());
  // account, at least one box, UUID, "Data", "Messages", file.
  if (parts.size() < 6 || parts.front() == ".." || parts.front() == ".") return std::nullopt;

  MessageLocation location;
  const auto file = parseMessageFileName(parts.back());
  if (!file) return std::nullopt;
  location.file = *file;
  location.account = parts[0];

  std::size_t index = 1;
  for (; index < parts.size() && parts[index].ends_with(kMailboxSuffix); ++index) {
    if (!location.mailboxPath.empty()) location.mailboxPath += '/';
    location.mailboxPath += parts[index].substr(0, parts[index].size() - kMailboxSuffix.size());
  }
  if (location.mailboxPath.empty() || index >= parts.size()) return std::nullopt;
  location.storeUUID = parts[index++];

  // What remains must be exactly the folders this id is filed under.
  std::string rest;
  for (; index + 1 < parts.size(); ++index) rest += parts[index] + "/";
  if (rest != messagesFolderRelative(location.file.libraryID) + "/") return std::nullopt;
  return location;
}

}  // namespace trovadex::mailstore
