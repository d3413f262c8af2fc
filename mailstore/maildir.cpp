#include "mailstore/maildir.hpp"

#include <algorithm>
#include <array>
#include <charconv>
#include <system_error>

#include "mailstore/message_flags.hpp"

namespace trovadex::mailstore {
namespace {

struct FlagLetter {
  char letter;
  MessageFlag flag;
};

// In ASCII order, the order in which a Maildir writer lists them.
constexpr std::array<FlagLetter, 6> kFlagLetters{{
    {'D', kFlagDraft},
    {'F', kFlagFlagged},
    {'P', kFlagForwarded},
    {'R', kFlagAnswered},
    {'S', kFlagRead},
    {'T', kFlagDeleted},
}};

constexpr std::string_view kInfoSeparator = ":2,";

bool isFolder(const std::filesystem::path& path) {
  std::error_code error;
  return std::filesystem::is_directory(path, error);
}

std::optional<std::int64_t> leadingTime(std::string_view name) {
  std::int64_t time = 0;
  const auto [end, error] = std::from_chars(name.data(), name.data() + name.size(), time);
  if (error != std::errc() || end == name.data() || end == name.data() + name.size() ||
      *end != '.' || time <= 0) {
    return std::nullopt;
  }
  return time;
}

}  // namespace

bool isMaildir(const std::filesystem::path& folder) {
  return isFolder(folder / "cur") && isFolder(folder / "new");
}

std::int64_t maildirFlags(std::string_view fileName) {
  const std::size_t info = fileName.rfind(kInfoSeparator);
  if (info == std::string_view::npos) return 0;
  std::int64_t flags = 0;
  for (const char c : fileName.substr(info + kInfoSeparator.size())) {
    for (const auto& entry : kFlagLetters) {
      if (entry.letter == c) flags |= entry.flag;
    }
  }
  return flags;
}

std::string maildirFlagSuffix(std::int64_t flags) {
  std::string suffix(kInfoSeparator);
  for (const auto& entry : kFlagLetters) {
    if (hasFlag(flags, entry.flag)) suffix += entry.letter;
  }
  return suffix;
}

std::vector<MaildirMessage> maildirMessages(const std::filesystem::path& folder) {
  std::vector<MaildirMessage> messages;
  for (const char* part : {"cur", "new"}) {
    std::error_code error;
    for (const auto& entry : std::filesystem::directory_iterator(folder / part, error)) {
      const std::string name = entry.path().filename().string();
      if (name.starts_with(".") || !entry.is_regular_file(error)) continue;
      messages.push_back({entry.path(), maildirFlags(name), leadingTime(name)});
    }
  }
  std::sort(messages.begin(), messages.end(),
            [](const auto& a, const auto& b) { return a.path.filename() < b.path.filename(); });
  return messages;
}

std::vector<MaildirSubfolder> maildirSubfolders(const std::filesystem::path& folder) {
  std::vector<MaildirSubfolder> subfolders;
  std::error_code error;
  for (const auto& entry : std::filesystem::directory_iterator(folder, error)) {
    const std::string name = entry.path().filename().string();
    if (name.size() < 2 || name[0] != '.' || name == ".." || !isMaildir(entry.path())) continue;
    std::string mailboxPath = name.substr(1);
    std::replace(mailboxPath.begin(), mailboxPath.end(), '.', '/');
    // Empty components (".a..b") cannot name a mailbox; such folders are not Maildir++ boxes.
    if (mailboxPath.find("//") != std::string::npos || mailboxPath.back() == '/') continue;
    subfolders.push_back({std::move(mailboxPath), entry.path()});
  }
  std::sort(subfolders.begin(), subfolders.end(),
            [](const auto& a, const auto& b) { return a.mailboxPath < b.mailboxPath; });
  return subfolders;
}

}  // namespace trovadex::mailstore
