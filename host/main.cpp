// trovadex-mailhost: the mail host and its tools. The first argument names the command; the
// table below is the whole list.
#include <array>
#include <cstdio>
#include <exception>
#include <string>
#include <vector>

#include "host/commands.hpp"
#include "host/exit_status.hpp"

namespace trovadex::host {
namespace {

constexpr std::array<CommandEntry, 5> kCommands{{
    {"run", "run [--library DIR] [--bundle PATH]... [--alert-response N] [--idle-exit SECONDS]",
     "run the mail host: index the store, load the mail bundles, serve until SIGTERM or SIGINT\n"
     "      (or, with --idle-exit, until no client has been on the bus for SECONDS)",
     &runCommand},
    {"import", "import [--library DIR] [--mailbox NAME] PATH...",
     "import mbox files or folders, Maildir folders, .eml and .emlx files into the store",
     &importCommand},
    {"sample", "sample [--library DIR] --messages N [--seed S] [--maildir DIR]",
     "write a deterministic sample store of N synthetic messages (and its manifest)",
     &sampleCommand},
    {"install-plugin", "install-plugin [--library DIR] [--bundle PATH]",
     "copy the plug-in bundle into <library>/Mail/Bundles", &installPluginCommand},
    {"find", "find [--library DIR] [--attr NAME]... [--count] [--explain] QUERY",
     "run a query string against the store's index", &findCommand},
}};

const CommandEntry* findEntry(std::string_view name) {
  for (const auto& entry : kCommands) {
    if (entry.name == name) return &entry;
  }
  return nullptr;
}

void printUsage(std::FILE* stream) {
  std::fprintf(stream, "usage:\n");
  for (const auto& entry : kCommands) {
    std::fprintf(stream, "  trovadex-mailhost %.*s\n      %.*s\n",
                 static_cast<int>(entry.synopsis.size()), entry.synopsis.data(),
                 static_cast<int>(entry.summary.size()), entry.summary.data());
  }
  std::fprintf(stream,
               "The library folder is --library DIR or $XDG_DATA_HOME/trovadex.\n"
               "Exit status: 0 success, 1 failure, 2 wrong usage, 4 malformed query (find).\n");
}

}  // namespace

int usageFailure(std::string_view command, const std::string& message) {
  std::fprintf(stderr, "trovadex-mailhost %.*s: %s\n", static_cast<int>(command.size()),
               command.data(), message.c_str());
  if (const CommandEntry* entry = findEntry(command)) {
    std::fprintf(stderr, "usage: trovadex-mailhost %.*s\n",
                 static_cast<int>(entry->synopsis.size()), entry->synopsis.data());
  }
  return kExitUsage;
}

int commandFailure(std::string_view command, const std::string& message) {
  std::fprintf(stderr, "trovadex-mailhost %.*s: %s\n", static_cast<int>(command.size()),
               command.data(), message.c_str());
  return kExitFailure;
}

}  // namespace trovadex::host

int main(int argc, char** argv) {
  using namespace trovadex::host;
  if (argc < 2) {
    printUsage(stderr);
    return kExitUsage;
  }
  const std::string command = argv[1];
  if (command == "help" || command == "--help" || command == "-h") {
    printUsage(stdout);
    return kExitSuccess;
  }
  const CommandEntry* entry = findEntry(command);
  if (entry == nullptr) {
    std::fprintf(stderr, "trovadex-mailhost: unknown command '%s'\n", command.c_str());
    printUsage(stderr);
    return kExitUsage;
  }
  const std::vector<std::string> arguments(argv + 2, argv + argc);
  try {
    return entry->function(arguments);
  } catch (const std::exception& exception) {
    return commandFailure(entry->name, exception.what());
  }
}
