// The exit statuses of trovadex-mailhost, shared by every command.
//
// 0 success; 1 the work failed (a store that cannot be opened, no session bus, a failed copy);
// 2 the command line is wrong; 4 the query given to find is malformed. Constants only.
#pragma once

namespace trovadex::host {

inline constexpr int kExitSuccess = 0;
inline constexpr int kExitFailure = 1;
inline constexpr int kExitUsage = 2;
inline constexpr int kExitMalformedQuery = 4;

}  // namespace trovadex::host
