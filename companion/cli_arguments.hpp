// The command line of `trovadex`: its commands, their options, and the usage errors.
//
// parseArguments turns the words after the program name into one command, or into a usage error
// whose message names what was wrong. Options may stand before or after the query, "--opt value"
// and "--opt=value" are the same, and "--" ends the options. The query string of a text search
// is made here, by the plug-in's own translator. Pure functions: safe from any thread.
#pragma once

#include <chrono>
#include <cstdint>
#include <optional>
#include <span>
#include <string>
#include <variant>

#include "foundation/error.hpp"

namespace trovadex::companion {

inline constexpr const char* kUsageErrorDomain = "TrovadexUsageErrorDomain";
inline constexpr std::chrono::milliseconds kDefaultTimeout{10000};

enum class OutputFormat { Table, Json, Paths };

struct SearchArguments {
  // The Spotlight query string to send: QUERY as given, or the translation of --text.
  std::string queryString;
  bool fromText = false;  // the query string was made from --text
  bool live = false;
  std::string sortingAttribute;
  bool sortAscending = false;
  std::optional<std::uint64_t> limit;
  OutputFormat format = OutputFormat::Table;
  std::chrono::milliseconds timeout = kDefaultTimeout;
  std::string clientName;  // empty: the client's own default
};

struct StatusArguments {
  std::chrono::milliseconds timeout = kDefaultTimeout;
  std::string clientName;
};

struct InstallDesktopEntryArguments {
  std::optional<std::string> dataHome;  // --xdg-data-home; nothing: the user's data folder
};

struct ShowArguments {
  std::string message;  // a library ID or the path of a message file
  bool raw = false;     // the RFC 822 bytes instead of the text
  std::chrono::milliseconds timeout = kDefaultTimeout;
};

struct OpenArguments {
  std::string message;  // a library ID or the path of a message file
  std::chrono::milliseconds timeout = kDefaultTimeout;
};

// `trovadex --help`, `trovadex help [COMMAND]`, `trovadex COMMAND --help`.
struct HelpRequest {
  std::string command;  // empty for the overview
};

struct VersionRequest {};

using CliCommand = std::variant<SearchArguments, StatusArguments, InstallDesktopEntryArguments,
                                ShowArguments, OpenArguments, HelpRequest, VersionRequest>;

// The command the words ask for, or an Error in kUsageErrorDomain whose description says what
// is wrong (without the program name).
foundation::Result<CliCommand> parseArguments(std::span<const std::string> words);

// The help text for a command ("search", "status", "install-desktop-entry") or, for anything
// else, the overview with every command and the exit statuses.
std::string helpText(const std::string& command);

}  // namespace trovadex::companion
