#include "mailstore/library_folder.hpp"

#include <glib.h>

namespace trovadex::mailstore {

std::filesystem::path defaultLibraryFolder() {
  // GLib reads XDG_DATA_HOME and falls back to ~/.local/share, as the XDG rules ask.
  return std::filesystem::path(g_get_user_data_dir()) / "trovadex";
}

}  // namespace trovadex::mailstore
