// The companion's desktop entry, org.trovadex.Trovadex.desktop, and its installation.
//
// A plug-in treats the companion as installed when this entry is in the XDG application folders
// (the entry's name is the companion's application identifier). The shipped entry runs
// `trovadex status`; installing it points its Exec line at the trovadex program that installs
// it, so that desktop lookups find a program that exists whether or not it is on PATH.
// Pure functions apart from the file written: safe from any thread.
#pragma once

#include <string>
#include <string_view>

#include "foundation/error.hpp"

namespace trovadex::companion {

inline constexpr std::string_view kDesktopEntryFileName = "org.trovadex.Trovadex.desktop";

// The entry as shipped in the companion's folder.
std::string_view shippedDesktopEntry();

// The shipped entry with Exec running `<executablePath> status` (quoted as desktop entries
// require when the path holds blanks or special characters).
foundation::Result<std::string> desktopEntryFor(const std::string& executablePath);

// The user's data folder: $XDG_DATA_HOME, or ~/.local/share when that is unset or not absolute.
std::string userDataHome();

// Writes the entry for executablePath to <dataHome>/applications/org.trovadex.Trovadex.desktop,
// creating the folders, replacing an older entry atomically. Returns the file's path.
foundation::Result<std::string> installDesktopEntry(const std::string& dataHome,
                                                    const std::string& executablePath);

// The absolute path of the running program.
foundation::Result<std::string> runningExecutablePath();

}  // namespace trovadex::companion
