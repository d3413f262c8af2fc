// installBundle: puts a copy of a mail bundle into a bundles folder, replacing an older copy.
//
// A host starting meanwhile never sees half of a bundle, and a failed copy leaves the old bundle
// as it was. Safe from any thread.
#pragma once

#include <filesystem>

#include "foundation/error.hpp"

namespace trovadex::host {

// Returns the installed bundle's folder: bundlesFolder/<the source's folder name>. The source
// must be a loadable bundle as far as its files go (an Info.plist with an executable name, and
// that executable under Contents/Linux). The copy is made beside its destination under a hidden
// name and then swapped with the old one in one step (or, where the file system cannot swap,
// renamed into place right after the old one steps aside).
foundation::Result<std::filesystem::path> installBundle(const std::filesystem::path& source,
                                                        const std::filesystem::path& bundlesFolder);

}  // namespace trovadex::host
