// installBundle: puts a copy of a mail bundle into a bundles folder, replacing an older copy.
//
// The source must be a loadable bundle as far as its files go (an Info.plist with an executable
// name, and that executable under Contents/Linux). The copy is made beside its destination under
// a hidden name and renamed into place, so a host starting meanwhile sees the old bundle or the
// new one, never half of one; a failed copy leaves the old bundle as it was. Safe from any thread
// (two installations into one folder at once leave one whole bundle).
#pragma once

#include <filesystem>

#include "foundation/error.hpp"

namespace trovadex::host {

// Returns the installed bundle's folder: bundlesFolder/<the source's folder name>.
foundation::Result<std::filesystem::path> installBundle(const std::filesystem::path& source,
                                                        const std::filesystem::path& bundlesFolder);

}  // namespace trovadex::host
