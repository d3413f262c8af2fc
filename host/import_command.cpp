// The import command: brings existing mail into the store. Messages that cannot be read are
// named on standard error and skipped, and the exit status says that something was skipped; a
// long import shows its progress there too.
#include <array>
#include <cstdio>

#include "host/command_line.hpp"
#include "host/commands.hpp"
#include "host/exit_status.hpp"
#include "host/library_layout.hpp"
#include "host/progress_line.hpp"
#include "mailstore/importer.hpp"
#include "mailstore/store.hpp"

namespace trovadex::host {

int importCommand(std::span<const std::string> arguments) {
  static constexpr std::array<OptionSpec, 2> kOptions{{
      {"library", true, false},
      {"mailbox", true, false},
  }};
  auto parsed = parseCommandLine(arguments, kOptions);
  if (!parsed) return usageFailure("import", parsed.error().localizedDescription);
  const ParsedCommandLine& line = parsed.value();
  if (line.operands.empty()) return usageFailure("import", "name at least one PATH to import");
  std::vector<std::filesystem::path> paths;
  for (const auto& operand : line.operands) paths.push_back(absolutePath(operand));

  const std::filesystem::path library = libraryFolder(line.value("library"));
  auto store = mailstore::Store::open(library);
  if (!store) {
    return commandFailure("import", "cannot open the store in " + library.string() + ": " +
                                        store.error().localizedDescription);
  }
  ProgressLine progress("messages read", 0);
  mailstore::ImportOptions options;
  options.mailbox = line.value("mailbox");
  options.problem = [](const std::string& where, const foundation::Error& error) {
    std::fprintf(stderr, "trovadex-mailhost import: skipped %s: %s\n", where.c_str(),
                 error.localizedDescription.c_str());
  };
  options.progress = [&progress](const mailstore::ImportCounts& counts) {
    progress.update(counts.seen());
  };
  auto counts = mailstore::importMail(*store.value(), paths, options);
  if (!counts) return commandFailure("import", counts.error().localizedDescription);
  progress.finish(counts.value().seen());
  std::printf("Imported %zu messages into %s: %zu already there, %zu skipped\n",
              counts.value().added, library.c_str(), counts.value().duplicates,
              counts.value().failed);
  return counts.value().failed == 0 ? kExitSuccess : kExitFailure;
}

}  // namespace trovadex::host
