// trovadex-mailstore-tool: the message store's commands from the command line, so that a store
// can be filled and measured without the mail host.
#include <array>
#include <iostream>
#include <string>
#include <vector>

#include "mailstore/commands.hpp"

namespace {

constexpr std::string_view kProgram = "trovadex-mailstore-tool";

struct Command {
  std::string_view name;
  int (*run)(std::string_view, std::span<const std::string>, std::ostream&, std::ostream&);
  std::string_view (*usage)();
};

constexpr std::array<Command, 2> kCommands{{
    {"import", trovadex::mailstore::runImportCommand, trovadex::mailstore::importUsage},
    {"sample", trovadex::mailstore::runSampleCommand, trovadex::mailstore::sampleUsage},
}};

int usage(std::ostream& stream, int status) {
  stream << "usage:\n";
  for (const auto& command : kCommands)
    stream << "  " << kProgram << " " << command.usage() << "\n";
  return status;
}

}  // namespace

int main(int argc, char** argv) {
  const std::vector<std::string> words(argv + 1, argv + argc);
  if (words.empty()) return usage(std::cerr, trovadex::mailstore::kExitUsage);
  if (words.front() == "--help" || words.front() == "help") {
    return usage(std::cout, trovadex::mailstore::kExitDone);
  }
  for (const auto& command : kCommands) {
    if (command.name == words.front()) {
      return command.run(kProgram, std::span(words).subspan(1), std::cout, std::cerr);
    }
  }
  std::cerr << kProgram << ": unknown command " << words.front() << "\n";
  return usage(std::cerr, trovadex::mailstore::kExitUsage);
}
