// The install-plugin command: copies the plug-in bundle into the library's bundles folder.
#include <array>
#include <cstdio>

#include "host/bundle_installation.hpp"
#include "host/command_line.hpp"
#include "host/commands.hpp"
#include "host/exit_status.hpp"
#include "host/info_dictionary_bundle.hpp"
#include "host/library_layout.hpp"

namespace trovadex::host {

int installPluginCommand(std::span<const std::string> arguments) {
  static constexpr std::array<OptionSpec, 2> kOptions{{
      {"library", true, false},
      {"bundle", true, false},
  }};
  auto parsed = parseCommandLine(arguments, kOptions);
  if (!parsed) return usageFailure("install-plugin", parsed.error().localizedDescription);
  if (!parsed.value().operands.empty()) {
    return usageFailure("install-plugin", "unexpected argument " + parsed.value().operands.front());
  }
  std::filesystem::path source;
  if (auto given = parsed.value().value("bundle")) {
    source = absolutePath(*given);
  } else if (auto built = builtPluginBundle()) {
    source = *built;
  } else {
    return commandFailure("install-plugin",
                          "no built plug-in bundle beside this program; name one with --bundle");
  }
  const std::filesystem::path library = libraryFolder(parsed.value().value("library"));
  auto installed = installBundle(source, bundlesFolder(library));
  if (!installed) return commandFailure("install-plugin", installed.error().localizedDescription);
  auto info = readBundleInfo(installed.value());
  std::string version;
  if (info) {
    if (auto found = info.value().find("CFBundleVersion");
        found != info.value().end() && found->second.isString()) {
      version = " " + *found->second.asString();
    }
  }
  std::printf("Installed %s%s in %s\n", source.filename().c_str(), version.c_str(),
              installed.value().c_str());
  return kExitSuccess;
}

}  // namespace trovadex::host
