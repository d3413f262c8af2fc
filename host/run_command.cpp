// The run command: the mail host itself.
#include <array>
#include <chrono>
#include <cstdint>

#include "host/command_line.hpp"
#include "host/commands.hpp"
#include "host/library_layout.hpp"
#include "host/mail_host.hpp"

namespace trovadex::host {

int runCommand(std::span<const std::string> arguments) {
  static constexpr std::array<OptionSpec, 4> kOptions{{
      {"library", true, false},
      {"bundle", true, true},
      {"alert-response", true, false},
      {"idle-exit", true, false},
  }};
  // A day: an idle time longer than that is as good as none.
  constexpr std::int64_t kLongestIdleExit = 86400;
  auto parsed = parseCommandLine(arguments, kOptions);
  if (!parsed) return usageFailure("run", parsed.error().localizedDescription);
  if (!parsed.value().operands.empty()) {
    return usageFailure("run", "unexpected argument " + parsed.value().operands.front());
  }
  HostOptions options;
  options.library = libraryFolder(parsed.value().value("library"));
  for (const auto& bundle : parsed.value().values("bundle")) {
    options.bundles.push_back(absolutePath(bundle));
  }
  if (auto response = parsed.value().value("alert-response")) {
    auto number = readIntegerOption("alert-response", *response, 1, 1000);
    if (!number) return usageFailure("run", number.error().localizedDescription);
    options.alertResponse = static_cast<int>(number.value());
  }
  if (auto idle = parsed.value().value("idle-exit")) {
    auto seconds = readIntegerOption("idle-exit", *idle, 0, kLongestIdleExit);
    if (!seconds) return usageFailure("run", seconds.error().localizedDescription);
    if (seconds.value() > 0) options.idleExit = std::chrono::seconds(seconds.value());
  }
  return runMailHost(options);
}

}  // namespace trovadex::host
