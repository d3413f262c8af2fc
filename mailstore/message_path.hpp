// Message paths: where a message's files live inside a mailbox, and what a path says back.
//
// A mailbox's store folder (<Box>.mbox/<UUID>) holds Data/<digits>/Messages/<rowid>.emlx, where the
// digit folders are the decimal digits of rowid / 1000, least significant first, one folder per
// digit, and ids below 1000 sit directly in Data/Messages. A message is kept whole (<rowid>.emlx)
// or partial (<rowid>.partial.emlx, with its attachment bodies under Data/<digits>/Attachments/).
// Plain functions: safe from any thread.
#pragma once

#include <cstdint>
#include <filesystem>
#include <optional>
#include <string>
#include <string_view>

namespace trovadex::mailstore {

// The data kinds a library is asked about: 0 is the whole message, 1 the partial one.
enum class MessageDataKind { Whole = 0, Partial = 1 };

// "Data/Messages" for ids below 1000, "Data/3/Messages" for 3300, "Data/4/1/1/Messages" for 114892.
std::string messagesFolderRelative(std::int64_t libraryID);

// "<id>.emlx" or "<id>.partial.emlx".
std::string messageFileName(std::int64_t libraryID, MessageDataKind kind);

std::filesystem::path messageFilePath(const std::filesystem::path& storeFolder,
                                      std::int64_t libraryID, MessageDataKind kind);

// Data/<digits>/Attachments/<id> inside storeFolder: one folder per stored part, named by the
// part's number ("2", "1.2"), holding the part's decoded body under its file name.
std::filesystem::path attachmentsFolder(const std::filesystem::path& storeFolder,
                                        std::int64_t libraryID);

struct MessageFileName {
  std::int64_t libraryID = 0;
  MessageDataKind kind = MessageDataKind::Whole;
};

// Reads "<digits>.emlx" and "<digits>.partial.emlx" (ids from 1 up); anything else is nothing.
std::optional<MessageFileName> parseMessageFileName(std::string_view fileName);

// What a message file's path says about it, relative to the V10 folder of a library:
// <account>/<A>.mbox[/<B>.mbox...]/<UUID>/Data/[digits/]Messages/<file>.
struct MessageLocation {
  std::string account;      // "Mailboxes", or an account's folder name
  std::string mailboxPath;  // "INBOX", "Archive/2019": the .mbox names without ".mbox", by '/'
  std::string storeUUID;
  MessageFileName file;
};

// Nothing when path is not a message file of a mailbox under v10Folder, or when its digit folders
// do not match its id.
std::optional<MessageLocation> parseMessagePath(const std::filesystem::path& v10Folder,
                                                const std::filesystem::path& path);

}  // namespace trovadex::mailstore
