// Whole-file reads and writes for the store, with errors as values.
//
// Writes are atomic: the bytes go to a hidden temporary file in the same folder, which is then
// renamed over the target, so a reader (or a file monitor) never sees a half-written message.
// Plain functions: safe from any thread, as long as two writers do not target one file.
#pragma once

#include <filesystem>
#include <string>
#include <string_view>

#include "foundation/error.hpp"

namespace trovadex::mailstore {

foundation::Result<std::string> readWholeFile(const std::filesystem::path& path);

// Creates missing parent folders.
foundation::Status writeFileAtomically(const std::filesystem::path& path, std::string_view bytes);

// Creates path and its missing parents; an existing folder is fine.
foundation::Status makeFolders(const std::filesystem::path& path);

}  // namespace trovadex::mailstore
