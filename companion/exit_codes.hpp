// The exit statuses of `trovadex`, as its help text and README document them.
//
// A search exits with kFound or kNoneFound whether it completed, reached its limit or was
// interrupted; kNoPlugin covers a missing bus, a plug-in that never answered and one that quit
// or fell silent during the search. Constants: safe from any thread.
#pragma once

namespace trovadex::companion::exit_code {

inline constexpr int kFound = 0;       // messages were found (status: a plug-in answered)
inline constexpr int kNoneFound = 1;   // no message was found (install: the entry was not written)
inline constexpr int kUsage = 2;       // the command line was wrong
inline constexpr int kNoPlugin = 3;    // no plug-in answered within the timeout
inline constexpr int kQueryError = 4;  // the query failed; its message went to standard error

}  // namespace trovadex::companion::exit_code
