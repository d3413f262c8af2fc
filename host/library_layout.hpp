// Where the host finds things: the user's library folder and what lies inside it.
//
// The library folder is --library DIR (made absolute) or $XDG_DATA_HOME/trovadex. Inside it the
// message store lives in Mail/V10/, installed bundles in Mail/Bundles/, and the search index
// that the host keeps for the store in Mail/V10/MailData/Search Index, next to the store's own
// Envelope Index. Plain functions: safe from any thread.
#pragma once

#include <filesystem>
#include <optional>
#include <string>

namespace trovadex::host {

inline constexpr const char* kPluginBundleName = "TrovadexMailPlugin.mailbundle";
inline constexpr const char* kBundleExtension = ".mailbundle";
// The name of the one searchable index that holds the store's messages.
inline constexpr const char* kMailIndexName = "Mail";

// The path made absolute against the working folder (and lexically normal).
std::filesystem::path absolutePath(const std::string& given);

// The library folder: the given one made absolute, or the user's default.
std::filesystem::path libraryFolder(const std::optional<std::string>& given);

std::filesystem::path bundlesFolder(const std::filesystem::path& library);
std::filesystem::path searchIndexPath(const std::filesystem::path& library);

// The plug-in bundle that came with the host: the build's, <folder of the executable>/../
// TrovadexMailPlugin.mailbundle, or the installed one, <folder of the executable>/../lib/trovadex/
// TrovadexMailPlugin.mailbundle. Nothing when neither is there.
std::optional<std::filesystem::path> builtPluginBundle();

}  // namespace trovadex::host
