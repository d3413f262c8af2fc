// The sample command: a deterministic sample store of synthetic mail.
#include <array>
#include <cstdio>
#include <limits>

#include "host/command_line.hpp"
#include "host/commands.hpp"
#include "host/exit_status.hpp"
#include "host/library_layout.hpp"
#include "host/progress_line.hpp"
#include "mailstore/sample_generator.hpp"
#include "mailstore/store.hpp"

namespace trovadex::host {

int sampleCommand(std::span<const std::string> arguments) {
  static constexpr std::array<OptionSpec, 4> kOptions{{
      {"library", true, false},
      {"messages", true, false},
      {"seed", true, false},
      {"maildir", true, false},
  }};
  auto parsed = parseCommandLine(arguments, kOptions);
  if (!parsed) return usageFailure("sample", parsed.error().localizedDescription);
  const ParsedCommandLine& line = parsed.value();
  if (!line.operands.empty()) {
    return usageFailure("sample", "unexpected argument " + line.operands.front());
  }
  if (!line.has("messages")) return usageFailure("sample", "--messages N is required");
  auto count = readIntegerOption("messages", *line.value("messages"), 1, 100'000'000);
  if (!count) return usageFailure("sample", count.error().localizedDescription);
  mailstore::SampleOptions options;
  options.messageCount = static_cast<std::size_t>(count.value());
  if (auto seed = line.value("seed")) {
    auto number = readUnsignedOption("seed", *seed);
    if (!number) return usageFailure("sample", number.error().localizedDescription);
    options.seed = number.value();
  }
  if (auto maildir = line.value("maildir")) options.maildir = absolutePath(*maildir);

  const std::filesystem::path library = libraryFolder(line.value("library"));
  auto store = mailstore::Store::open(library);
  if (!store) {
    return commandFailure("sample", "cannot open the store in " + library.string() + ": " +
                                        store.error().localizedDescription);
  }
  ProgressLine progress("sample messages written", options.messageCount);
  options.progress = [&progress](std::size_t written) { progress.update(written); };
  auto manifest = mailstore::generateSampleMail(*store.value(), options);
  if (!manifest) return commandFailure("sample", manifest.error().localizedDescription);
  progress.finish(options.messageCount);
  std::printf("Wrote %lld sample messages (seed %llu) to %s\nManifest: %s\n",
              static_cast<long long>(manifest.value().messageCount),
              static_cast<unsigned long long>(options.seed), store.value()->v10Folder().c_str(),
              mailstore::sampleManifestPath(library).c_str());
  return kExitSuccess;
}

}  // namespace trovadex::host
