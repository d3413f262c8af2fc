// The command line of trovadex-mailhost: a command word followed by that command's options.
//
// Each command declares its options in a table (name, whether it takes a value, whether it may
// repeat); the parser reads "--name value", "--name=value" and bare flags, stops reading options
// at "--", and keeps everything else as operands in order. Anything it cannot read is an error
// with a message fit to show the user. Pure functions: safe from any thread.
#pragma once

#include <cstdint>
#include <map>
#include <optional>
#include <span>
#include <string>
#include <string_view>
#include <vector>

#include "foundation/error.hpp"

namespace trovadex::host {

struct OptionSpec {
  std::string_view name;  // without the leading "--"
  bool takesValue = false;
  bool repeatable = false;
};

struct ParsedCommandLine {
  // Every value given for an option, in order; a flag has one empty value per appearance.
  std::map<std::string, std::vector<std::string>, std::less<>> options;
  std::vector<std::string> operands;

  bool has(std::string_view name) const { return options.count(name) != 0; }
  // The option's (last) value, or nothing.
  std::optional<std::string> value(std::string_view name) const;
  std::vector<std::string> values(std::string_view name) const;
};

// The domain of command-line errors; every one is a usage error (exit status 2).
inline constexpr std::string_view kCommandLineErrorDomain = "TrovadexCommandLineErrorDomain";

foundation::Result<ParsedCommandLine> parseCommandLine(std::span<const std::string> arguments,
                                                       std::span<const OptionSpec> specs);

// Reads a whole decimal number within [minimum, maximum]; the error names the option.
foundation::Result<std::int64_t> readIntegerOption(std::string_view option, std::string_view text,
                                                   std::int64_t minimum, std::int64_t maximum);
foundation::Result<std::uint64_t> readUnsignedOption(std::string_view option,
                                                     std::string_view text);

}  // namespace trovadex::host
