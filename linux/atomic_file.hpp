// Whole-file reads and atomic whole-file writes, with errno turned into Errors at this edge.
//
// writeFileAtomically writes to a fresh temporary file in the target's folder (named with a
// leading dot, mode 0600) and renames it over the target, so a reader sees the old file or the
// new one, never a part; on any failure the temporary file is removed and the target is left as
// it was. Safe from any thread; concurrent writers of one file leave one whole version.
#pragma once

#include <sys/types.h>

#include <string>
#include <string_view>

#include "foundation/error.hpp"

namespace trovadex::linux_platform {

// The domain of errno-based failures; the code is the errno value.
inline constexpr const char* kPosixErrorDomain = "NSPOSIXErrorDomain";

foundation::Error posixError(int errorNumber, const std::string& what);

// syncToDisk also flushes the file before the rename, for files that must survive a crash.
foundation::Status writeFileAtomically(const std::string& path, std::string_view bytes,
                                       bool syncToDisk);

// The whole file; an Error with code ENOENT when it does not exist.
foundation::Result<std::string> readWholeFile(const std::string& path);

// Creates a private folder (mode 0700) or accepts an existing one, which must be a real folder
// (not a link) owned by this user; any group or other access is taken away.
foundation::Status ensurePrivateDirectory(const std::string& path);

// Removes a file or a whole folder tree; a path that does not exist is not an error.
foundation::Status removeTree(const std::string& path);

}  // namespace trovadex::linux_platform
