// The store's commands, as the command-line tools offer them:
//
//   import [--library DIR] [--mailbox NAME] PATH...
//   sample [--library DIR] --messages N [--seed S] [--maildir DIR]
//
// Each takes the words after the command name, writes its results to out and its progress,
// problems and usage errors to err (prefixed with programName), and returns the process's exit
// status: 0 done; 1 done, but some messages were skipped and reported; 2 wrong usage; 3 the
// library could not be opened or written. Runs on the calling thread.
#pragma once

#include <ostream>
#include <span>
#include <string>
#include <string_view>

namespace trovadex::mailstore {

inline constexpr int kExitDone = 0;
inline constexpr int kExitSkipped = 1;
inline constexpr int kExitUsage = 2;
inline constexpr int kExitFailed = 3;

int runImportCommand(std::string_view programName, std::span<const std::string> arguments,
                     std::ostream& out, std::ostream& err);

int runSampleCommand(std::string_view programName, std::span<const std::string> arguments,
                     std::ostream& out, std::ostream& err);

// One line per command, for a program's usage text.
std::string_view importUsage();
std::string_view sampleUsage();

}  // namespace trovadex::mailstore
