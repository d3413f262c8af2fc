// The keys of a message record and of its attribute dictionary, as they appear in a ResultsBatch
// payload and in the items the search engine delivers.
//
// Constants only: safe from any thread.
#pragma once

#include <string_view>

namespace trovadex::plugin {

inline constexpr std::string_view kMessageAttributesKey = "attributes";
inline constexpr std::string_view kMessageLibraryIDKey = "libraryID";
inline constexpr std::string_view kMessageIndexKey = "index";
// The platform's metadata keys, spelled as the platform spells them.
inline constexpr std::string_view kMDItemPath = "kMDItemPath";
inline constexpr std::string_view kMDItemDisplayName = "kMDItemDisplayName";

}  // namespace trovadex::plugin
