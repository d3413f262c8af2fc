#include "host/command_line.hpp"

#include <algorithm>
#include <charconv>

namespace trovadex::host {
namespace {

foundation::Error usageError(std::string message) {
  return foundation::Error{std::string(kCommandLineErrorDomain), 1, std::move(message)};
}

const OptionSpec* findSpec(std::span<const OptionSpec> specs, std::string_view name) {
  auto found = std::find_if(specs.begin(), specs.end(),
                            [name](const OptionSpec& spec) { return spec.name == name; });
  return found == specs.end() ? nullptr : &*found;
}

}  // namespace

std::optional<std::string> ParsedCommandLine::value(std::string_view name) const {
  auto found = options.find(name);
  if (found == options.end() || found->second.empty()) return std::nullopt;
  return found->second.back();
}

std::vector<std::string> ParsedCommandLine::values(std::string_view name) const {
  auto found = options.find(name);
  return found == options.end() ? std::vector<std::string>{} : found->second;
}

foundation::Result<ParsedCommandLine> parseCommandLine(std::span<const std::string> arguments,
                                                       std::span<const OptionSpec> specs) {
  ParsedCommandLine parsed;
  bool optionsEnded = false;
  for (std::size_t i = 0; i < arguments.size(); ++i) {
    const std::string& argument = arguments[i];
    if (optionsEnded || argument.size() < 2 || argument.compare(0, 2, "--") != 0) {
      if (!optionsEnded && argument.size() > 1 && argument[0] == '-') {
        return usageError("unknown option " + argument);
      }
      parsed.operands.push_back(argument);
      continue;
    }
    if (argument == "--") {
      optionsEnded = true;
      continue;
    }
    std::string_view body = std::string_view(argument).substr(2);
    std::optional<std::string> inlineValue;
    if (auto equals = body.find('='); equals != std::string_view::npos) {
      inlineValue = std::string(body.substr(equals + 1));
      body = body.substr(0, equals);
    }
    const OptionSpec* spec = findSpec(specs, body);
    if (spec == nullptr) return usageError("unknown option --" + std::string(body));
    std::string value;
    if (spec->takesValue) {
      if (inlineValue) {
        value = *inlineValue;
      } else if (i + 1 < arguments.size()) {
        value = arguments[++i];
      } else {
        return usageError("option --" + std::string(body) + " needs a value");
      }
    } else if (inlineValue) {
      return usageError("option --" + std::string(body) + " takes no value");
    }
    auto& values = parsed.options[std::string(body)];
    if (!values.empty() && !spec->repeatable) {
      return usageError("option --" + std::string(body) + " may be given only once");
    }
    values.push_back(std::move(value));
  }
  return parsed;
}

foundation::Result<std::int64_t> readIntegerOption(std::string_view option, std::string_view text,
                                                   std::int64_t minimum, std::int64_t maximum) {
  std::int64_t number = 0;
  auto [end, error] = std::from_chars(text.data(), text.data() + text.size(), number);
  if (text.empty() || error != std::errc() || end != text.data() + text.size() ||
      number < minimum || number > maximum) {
    return usageError("--" + std::string(option) + " needs a whole number from " +
                      std::to_string(minimum) + " to " + std::to_string(maximum) + ", not '" +
                      std::string(text) + "'");
  }
  return number;
}

foundation::Result<std::uint64_t> readUnsignedOption(std::string_view option,
                                                     std::string_view text) {
  std::uint64_t number = 0;
  auto [end, error] = std::from_chars(text.data(), text.data() + text.size(), number);
  if (text.empty() || error != std::errc() || end != text.data() + text.size()) {
    return usageError("--" + std::string(option) + " needs a non-negative whole number, not '" +
                      std::string(text) + "'");
  }
  return number;
}

}  // namespace trovadex::host
