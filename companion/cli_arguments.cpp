#include "companion/cli_arguments.hpp"

#include <glib.h>

#include <array>
#include <charconv>
#include <cmath>
#include <map>
#include <vector>

#include "search/query_string_translator.hpp"

namespace trovadex::companion {

using foundation::Error;
using foundation::Result;

namespace {

struct OptionSpec {
  std::string_view name;  // with its dashes
  bool takesValue;
};

constexpr std::array<OptionSpec, 9> kSearchOptions{{
    {"--text", true},
    {"--fuzzy", true},
    {"--live", false},
    {"--sort", true},
    {"--ascending", false},
    {"--limit", true},
    {"--format", true},
    {"--timeout", true},
    {"--client", true},
}};
constexpr std::array<OptionSpec, 2> kStatusOptions{{{"--timeout", true}, {"--client", true}}};
constexpr std::array<OptionSpec, 1> kInstallOptions{{{"--xdg-data-home", true}}};
constexpr std::array<OptionSpec, 2> kShowOptions{{{"--raw", false}, {"--timeout", true}}};
constexpr std::array<OptionSpec, 1> kOpenOptions{{{"--timeout", true}}};

constexpr std::array<std::pair<std::string_view, OutputFormat>, 3> kFormats{{
    {"table", OutputFormat::Table},
    {"json", OutputFormat::Json},
    {"paths", OutputFormat::Paths},
}};

// The longest timeout accepted: a day.
constexpr double kMaximumTimeoutSeconds = 86400;

Error usageError(std::string message) { return Error{kUsageErrorDomain, 2, std::move(message)}; }

struct SplitWords {
  std::map<std::string, std::string, std::less<>> options;  // name -> value ("" for flags)
  std::vector<std::string> operands;
  bool help = false;
};

Result<SplitWords> splitWords(std::span<const std::string> words, std::span<const OptionSpec> specs,
                              std::string_view command) {
  SplitWords split;
  bool optionsEnded = false;
  for (std::size_t i = 0; i < words.size(); ++i) {
    const std::string& word = words[i];
    if (optionsEnded || word.empty() || word[0] != '-' || word == "-") {
      split.operands.push_back(word);
      continue;
    }
    if (word == "--") {
      optionsEnded = true;
      continue;
    }
    if (word == "--help" || word == "-h") {
      split.help = true;
      continue;
    }
    const auto equals = word.find('=');
    const std::string name = word.substr(0, equals);
    const OptionSpec* spec = nullptr;
    for (const auto& candidate : specs) {
      if (candidate.name == name) spec = &candidate;
    }
    if (spec == nullptr) {
      return usageError("unknown option '" + name + "' for '" + std::string(command) + "'");
    }
    if (split.options.contains(name)) return usageError(name + " is given twice");
    if (!spec->takesValue) {
      if (equals != std::string::npos) return usageError(name + " takes no value");
      split.options.emplace(name, "");
      continue;
    }
    if (equals != std::string::npos) {
      split.options.emplace(name, word.substr(equals + 1));
    } else if (i + 1 < words.size()) {
      split.options.emplace(name, words[++i]);
    } else {
      return usageError(name + " needs a value");
    }
  }
  return split;
}

const std::string* option(const SplitWords& split, std::string_view name) {
  auto found = split.options.find(name);
  return found != split.options.end() ? &found->second : nullptr;
}

template <typename Integer>
std::optional<Integer> parseInteger(const std::string& text) {
  Integer number{};
  const char* end = text.data() + text.size();
  auto [stop, error] = std::from_chars(text.data(), end, number);
  if (error != std::errc() || stop != end || text.empty()) return std::nullopt;
  return number;
}

Result<std::chrono::milliseconds> parseTimeout(const std::string& text) {
  char* end = nullptr;
  const double seconds = g_ascii_strtod(text.c_str(), &end);
  if (text.empty() || end != text.c_str() + text.size() || !std::isfinite(seconds) ||
      seconds <= 0 || seconds > kMaximumTimeoutSeconds) {
    return usageError("--timeout takes a number of seconds above 0 and at most 86400, not '" +
                      text + "'");
  }
  return std::chrono::milliseconds(
      std::max<std::int64_t>(1, static_cast<std::int64_t>(std::ceil(seconds * 1000))));
}

Result<std::string> parseClientName(const std::string* text) {
  if (text == nullptr) return std::string();
  if (text->empty()) return usageError("--client needs a name");
  for (unsigned char c : *text) {
    if (c < 0x20 || c == 0x7f) return usageError("--client names may not hold control characters");
  }
  return *text;
}

Result<CliCommand> parseSearch(const SplitWords& split) {
  SearchArguments arguments;
  const std::string* text = option(split, "--text");
  if (text != nullptr && !split.operands.empty()) {
    return usageError("give a QUERY or --text, not both (quote several words: --text 'a b')");
  }
  if (text == nullptr && split.operands.empty()) {
    return usageError("search needs a QUERY or --text WORDS");
  }
  if (split.operands.size() > 1) {
    return usageError("search takes one QUERY; quote it to keep it one word");
  }

  std::optional<std::int64_t> fuzzy;
  if (const std::string* value = option(split, "--fuzzy")) {
    if (text == nullptr) return usageError("--fuzzy works only with --text");
    fuzzy = parseInteger<std::int64_t>(*value);
    if (!fuzzy || *fuzzy < plugin::kMinimumFuzzyThreshold ||
        *fuzzy > plugin::kMaximumFuzzyThreshold) {
      return usageError("--fuzzy takes a threshold from 0 to 100, not '" + *value + "'");
    }
  }
  if (text != nullptr) {
    auto translated = plugin::translateSearchString(*text, fuzzy);
    if (!translated) return usageError("--text needs words, not only blanks");
    arguments.queryString = std::move(*translated);
    arguments.fromText = true;
  } else {
    arguments.queryString = split.operands.front();
  }

  arguments.live = option(split, "--live") != nullptr;
  if (const std::string* sort = option(split, "--sort")) {
    if (sort->empty()) return usageError("--sort needs an attribute name");
    arguments.sortingAttribute = *sort;
  }
  arguments.sortAscending = option(split, "--ascending") != nullptr;
  if (arguments.sortAscending && arguments.sortingAttribute.empty()) {
    return usageError("--ascending works only with --sort");
  }
  if (const std::string* value = option(split, "--limit")) {
    auto limit = parseInteger<std::uint64_t>(*value);
    if (!limit || *limit == 0) {
      return usageError("--limit takes a whole number above 0, not '" + *value + "'");
    }
    arguments.limit = limit;
  }
  if (const std::string* value = option(split, "--format")) {
    bool known = false;
    for (const auto& [name, format] : kFormats) {
      if (name == *value) {
        arguments.format = format;
        known = true;
      }
    }
    if (!known) return usageError("--format is table, json or paths, not '" + *value + "'");
  }
  if (const std::string* value = option(split, "--timeout")) {
    auto timeout = parseTimeout(*value);
    if (!timeout) return timeout.error();
    arguments.timeout = timeout.value();
  }
  auto client = parseClientName(option(split, "--client"));
  if (!client) return client.error();
  arguments.clientName = std::move(client).value();
  return CliCommand(std::move(arguments));
}

Result<CliCommand> parseStatus(const SplitWords& split) {
  if (!split.operands.empty()) return usageError("status takes no arguments");
  StatusArguments arguments;
  if (const std::string* value = option(split, "--timeout")) {
    auto timeout = parseTimeout(*value);
    if (!timeout) return timeout.error();
    arguments.timeout = timeout.value();
  }
  auto client = parseClientName(option(split, "--client"));
  if (!client) return client.error();
  arguments.clientName = std::move(client).value();
  return CliCommand(std::move(arguments));
}

Result<CliCommand> parseInstall(const SplitWords& split) {
  if (!split.operands.empty()) return usageError("install-desktop-entry takes no arguments");
  InstallDesktopEntryArguments arguments;
  if (const std::string* value = option(split, "--xdg-data-home")) {
    if (value->empty()) return usageError("--xdg-data-home needs a folder");
    arguments.dataHome = *value;
  }
  return CliCommand(std::move(arguments));
}

// The one operand of show and open: a library ID or a message file's path.
Result<std::string> parseMessageOperand(const SplitWords& split, std::string_view command) {
  if (split.operands.size() != 1 || split.operands.front().empty()) {
    return usageError(std::string(command) + " needs one message: a library ID or a file's path");
  }
  return split.operands.front();
}

Result<CliCommand> parseShow(const SplitWords& split) {
  ShowArguments arguments;
  auto message = parseMessageOperand(split, "show");
  if (!message) return message.error();
  arguments.message = std::move(message).value();
  arguments.raw = option(split, "--raw") != nullptr;
  if (const std::string* value = option(split, "--timeout")) {
    auto timeout = parseTimeout(*value);
    if (!timeout) return timeout.error();
    arguments.timeout = timeout.value();
  }
  return CliCommand(std::move(arguments));
}

Result<CliCommand> parseOpen(const SplitWords& split) {
  OpenArguments arguments;
  auto message = parseMessageOperand(split, "open");
  if (!message) return message.error();
  arguments.message = std::move(message).value();
  if (const std::string* value = option(split, "--timeout")) {
    auto timeout = parseTimeout(*value);
    if (!timeout) return timeout.error();
    arguments.timeout = timeout.value();
  }
  return CliCommand(std::move(arguments));
}

struct CommandSpec {
  std::string_view name;
  std::span<const OptionSpec> options;
  Result<CliCommand> (*parse)(const SplitWords&);
};

const std::array<CommandSpec, 5> kCommands{{
    {"search", kSearchOptions, &parseSearch},
    {"status", kStatusOptions, &parseStatus},
    {"install-desktop-entry", kInstallOptions, &parseInstall},
    {"show", kShowOptions, &parseShow},
    {"open", kOpenOptions, &parseOpen},
}};

}  // namespace

Result<CliCommand> parseArguments(std::span<const std::string> words) {
  if (words.empty())
    return usageError("a command is needed: search, status, show, open or install-desktop-entry");
  const std::string& first = words.front();
  if (first == "--help" || first == "-h") return CliCommand(HelpRequest{});
  if (first == "--version" || first == "version") return CliCommand(VersionRequest{});
  if (first == "help") {
    if (words.size() > 2) return usageError("help takes at most one command");
    return CliCommand(HelpRequest{words.size() == 2 ? words[1] : std::string()});
  }
  for (const auto& command : kCommands) {
    if (command.name != first) continue;
    auto split = splitWords(words.subspan(1), command.options, command.name);
    if (!split) return split.error();
    if (split.value().help) return CliCommand(HelpRequest{std::string(command.name)});
    return command.parse(split.value());
  }
  if (!first.empty() && first[0] == '-') return usageError("unknown option '" + first + "'");
  return usageError("unknown command '" + first + "'");
}

}  // namespace trovadex::companion
