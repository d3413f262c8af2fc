// Maildir folders: which folders are Maildirs, their messages, and the flags in file names.
//
// A Maildir is a folder with cur/ and new/ (tmp/ holds deliveries in progress and is never read).
// A message file's name may end in ":2,<letters>": S read, R replied, F flagged, T trashed,
// D draft, P passed on (forwarded). Maildir++ keeps sub-mailboxes as ".Name" folders inside the
// top one, nesting with dots (".Archive.2019"). Plain functions: safe from any thread.
#pragma once

#include <cstdint>
#include <filesystem>
#include <optional>
#include <string>
#include <string_view>
#include <vector>

namespace trovadex::mailstore {

struct MaildirMessage {
  std::filesystem::path path;
  std::int64_t flags = 0;
  std::optional<std::int64_t> deliveryTime;  // from the file name's leading Unix time
};

struct MaildirSubfolder {
  std::string mailboxPath;  // "Archive/2019" for ".Archive.2019"
  std::filesystem::path path;
};

bool isMaildir(const std::filesystem::path& folder);

// Flag bits from a Maildir file name; 0 when it carries no ":2," part.
std::int64_t maildirFlags(std::string_view fileName);

// The ":2,<letters>" suffix for flag bits, letters in ASCII order as Maildir asks.
std::string maildirFlagSuffix(std::int64_t flags);

// The messages of cur/ and new/, sorted by file name so that imports are repeatable.
std::vector<MaildirMessage> maildirMessages(const std::filesystem::path& folder);

// The Maildir++ sub-mailboxes, sorted by name.
std::vector<MaildirSubfolder> maildirSubfolders(const std::filesystem::path& folder);

}  // namespace trovadex::mailstore
