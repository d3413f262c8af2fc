// The companion's version: what it tells the plug-in in Connect and Search, and what
// `trovadex --version` prints. Set by the build from the project's version. Constant: safe from
// any thread.
#pragma once

#include <string_view>

namespace trovadex::companion {

inline constexpr std::string_view kCompanionVersion = TROVADEX_COMPANION_VERSION;

}  // namespace trovadex::companion
