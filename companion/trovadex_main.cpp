// trovadex: the command-line companion of the Trovadex Mail plug-in (see `trovadex --help`).
#include <cstdio>
#include <iostream>
#include <string>
#include <type_traits>
#include <variant>
#include <vector>

#include "companion/cli_arguments.hpp"
#include "companion/cli_commands.hpp"
#include "companion/companion_version.hpp"
#include "companion/exit_codes.hpp"
#include "companion/message_commands.hpp"

int main(int argc, char** argv) {
  using namespace trovadex::companion;
  const std::vector<std::string> words(argv + 1, argv + argc);
  auto command = parseArguments(words);
  if (!command) {
    std::fprintf(stderr, "trovadex: %s\nTry 'trovadex --help'.\n",
                 command.error().localizedDescription.c_str());
    return exit_code::kUsage;
  }
  return std::visit(
      [](const auto& arguments) -> int {
        using Arguments = std::decay_t<decltype(arguments)>;
        if constexpr (std::is_same_v<Arguments, SearchArguments>) {
          return runSearchCommand(arguments, std::cout, stderr);
        } else if constexpr (std::is_same_v<Arguments, StatusArguments>) {
          return runStatusCommand(arguments, std::cout, stderr);
        } else if constexpr (std::is_same_v<Arguments, InstallDesktopEntryArguments>) {
          return runInstallDesktopEntryCommand(arguments, std::cout, stderr);
        } else if constexpr (std::is_same_v<Arguments, ShowArguments>) {
          return runShowCommand(arguments, std::cout, stderr);
        } else if constexpr (std::is_same_v<Arguments, OpenArguments>) {
          return runOpenCommand(arguments, std::cout, stderr);
        } else if constexpr (std::is_same_v<Arguments, HelpRequest>) {
          std::cout << helpText(arguments.command);
          return exit_code::kFound;
        } else {
          std::cout << "trovadex " << kCompanionVersion << '\n';
          return exit_code::kFound;
        }
      },
      command.value());
}
