// The commands of trovadex-mailhost. Each takes the arguments that follow its command word,
// prints what it has to say (results on standard output, messages on standard error) and
// returns the process's exit status (exit_status.hpp). Main thread only.
#pragma once

#include <span>
#include <string>
#include <string_view>

namespace trovadex::host {

using CommandFunction = int (*)(std::span<const std::string> arguments);

struct CommandEntry {
  std::string_view name;
  std::string_view synopsis;  // the usage line after the program name
  std::string_view summary;
  CommandFunction function;
};

int runCommand(std::span<const std::string> arguments);
int importCommand(std::span<const std::string> arguments);
int sampleCommand(std::span<const std::string> arguments);
int installPluginCommand(std::span<const std::string> arguments);
int findCommand(std::span<const std::string> arguments);

// Prints "trovadex-mailhost <command>: <message>" and the command's usage on standard error and
// returns the usage exit status.
int usageFailure(std::string_view command, const std::string& message);

// Prints "trovadex-mailhost <command>: <message>" on standard error and returns the failure exit
// status.
int commandFailure(std::string_view command, const std::string& message);

}  // namespace trovadex::host
