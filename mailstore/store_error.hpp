// Store errors: the one error domain of the message store and its short list of codes.
//
// Every failure that leaves the store (file system, SQLite, a message that cannot be parsed) is
// turned into a foundation::Error of this domain at the point where it happens, with a text that
// names the file or statement concerned. Plain functions: safe from any thread.
#pragma once

#include <string>
#include <string_view>

#include "foundation/error.hpp"

namespace trovadex::mailstore {

inline constexpr std::string_view kStoreErrorDomain = "TrovadexMailStoreErrorDomain";

enum class StoreErrorCode {
  FileSystem = 1,   // reading, writing or listing a file or folder failed
  Database = 2,     // the Envelope Index refused a statement
  Unparseable = 3,  // the bytes are not a message (or not a mailbox of messages)
  NotFound = 4,     // no message, mailbox or file by that name
  InvalidArgument = 5,
};

foundation::Error storeError(StoreErrorCode code, std::string description);

// A file-system error for path, with the text of errno value errorNumber.
foundation::Error fileSystemError(std::string_view what, std::string_view path, int errorNumber);

}  // namespace trovadex::mailstore
