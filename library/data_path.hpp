// The data path of a message in a known mailbox, kept only when its file exists.
//
// Called on whichever thread resolves paths; uses only the ports it is given.
#pragma once

#include <cstdint>
#include <optional>
#include <string>

#include "platform/file_manager.hpp"
#include "platform/mail_library.hpp"

namespace trovadex::plugin {

// Asks the library for the data path of kind 0, then of kind 1, and returns the first that is not
// empty and names an existing file; nothing otherwise. The library must answer
// respondsToDataPathForMessage. Without a file manager no file is known to exist.
std::optional<std::string> existingDataPath(platform::MailLibrary& library,
                                            const platform::FileManager* fileManager,
                                            std::int64_t libraryID, std::int64_t mailboxID);

}  // namespace trovadex::plugin
