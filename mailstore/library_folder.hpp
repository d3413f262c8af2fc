// The user's library folder: $XDG_DATA_HOME/trovadex, by default ~/.local/share/trovadex.
//
// Commands use it when no --library folder is given. Safe from any thread.
#pragma once

#include <filesystem>

namespace trovadex::mailstore {

std::filesystem::path defaultLibraryFolder();

}  // namespace trovadex::mailstore
