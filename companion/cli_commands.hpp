// The commands of `trovadex`, each run to its exit status.
//
// Each writes its results to out and its messages ("trovadex: ...") to err, and returns one of
// the statuses in exit_codes.hpp. A search connects first (so that a missing plug-in is told
// apart from a search that finds nothing), cancels its query and terminates the client on
// SIGINT or SIGTERM, and terminates the client when it ends. Main thread only: the commands
// own the signal handling of the process while they run.
#pragma once

#include <cstdio>
#include <ostream>

#include "companion/cli_arguments.hpp"

namespace trovadex::companion {

int runSearchCommand(const SearchArguments& arguments, std::ostream& out, std::FILE* err);
int runStatusCommand(const StatusArguments& arguments, std::ostream& out, std::FILE* err);
int runInstallDesktopEntryCommand(const InstallDesktopEntryArguments& arguments, std::ostream& out,
                                  std::FILE* err);

}  // namespace trovadex::companion
