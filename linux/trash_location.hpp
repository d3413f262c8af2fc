// Where the freedesktop Trash put an item: the files/ entry whose info/ record names its path.
//
// GIO's trash operation does not say where the item went. The Trash that holds it is the
// user's ($XDG_DATA_HOME/Trash) or the one at the top of the item's own file system
// (.Trash/<uid> or .Trash-<uid>); inside it the item is files/<name> with info/<name>.trashinfo,
// where <name> is the item's name made unique with a counter. Safe from any thread.
#pragma once

#include <optional>
#include <string>

namespace trovadex::linux_platform {

// The entry under files/ that the most recent trashing of originalPath produced, or nothing
// when no Trash holds a record for it. originalPath must be absolute and without "." or "..".
std::optional<std::string> findTrashedItem(const std::string& originalPath);

}  // namespace trovadex::linux_platform
