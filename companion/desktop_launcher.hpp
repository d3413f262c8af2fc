// Handing things to the desktop: a file to the default program for its content type, a command
// to the user's terminal emulator.
//
// Both start the program and return at once; neither waits for it. Failures (no program for the
// type, no terminal emulator, a program that cannot be started) come back as Errors whose
// message a user can act on. Main thread only: GIO's launching may use the thread-default
// context.
#pragma once

#include <string>
#include <vector>

#include "foundation/error.hpp"

namespace trovadex::companion {

inline constexpr const char* kLauncherErrorDomain = "TrovadexLauncherErrorDomain";

// Opens the file with the desktop's default program for contentType ("message/rfc822").
foundation::Status openWithDefaultProgram(const std::string& path, const std::string& contentType);

// Runs the command (program first) in a new window of the terminal emulator the system names
// x-terminal-emulator, as `x-terminal-emulator -e COMMAND...`.
foundation::Status runInTerminal(const std::vector<std::string>& command);

}  // namespace trovadex::companion
