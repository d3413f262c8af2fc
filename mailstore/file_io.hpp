// Whole-file reads and writes for the store, with errors as values.
//
// Replacing a file is atomic: the bytes go to a hidden temporary file in the same folder, which
// is then renamed over the target, so a reader never sees a half-rewritten message. A new file is
// written in place, which is many times faster on common file systems (a rename right after the
// write forces the data out at once); a monitor sees it complete when it is closed. Plain
// functions: safe from any thread, as long as two writers do not target one file.
#pragma once

#include <filesystem>
#include <string>
#include <string_view>

#include "foundation/error.hpp"

namespace trovadex::mailstore {

foundation::Result<std::string> readWholeFile(const std::filesystem::path& path);

// Replaces (or creates) path atomically. Creates missing parent folders.
foundation::Status writeFileAtomically(const std::filesystem::path& path, std::string_view bytes);

// Writes a file that is new (a leftover at that path is overwritten); on failure nothing is left
// at path. Creates missing parent folders.
foundation::Status writeNewFile(const std::filesystem::path& path, std::string_view bytes);

// Creates path and its missing parents; an existing folder is fine.
foundation::Status makeFolders(const std::filesystem::path& path);

}  // namespace trovadex::mailstore
