// ShellSearch: the desktop shell's searches, run through the companion library.
//
// The shell's terms are joined and turned into a query string by the plug-in's text translator
// (as `trovadex search --text` does); each search is one-shot, sorted newest first, and yields
// the newest kShellResultCount messages. The client connects on first use and again after the
// plug-in has gone (connecting starts the mail host when none runs). Results are remembered by
// identifier so that the shell can ask for their details and open them later. Single-threaded:
// the client iterates a context of its own, so a search blocks its caller and nothing else of
// the caller's runs meanwhile.
#pragma once

#include <chrono>
#include <cstddef>
#include <map>
#include <memory>
#include <string>
#include <vector>

#include "companion/client.hpp"
#include "desktop/shell_results.hpp"
#include "foundation/error.hpp"

namespace trovadex::desktop {

inline constexpr std::size_t kShellResultCount = 40;
inline constexpr const char* kShellSearchErrorDomain = "TrovadexShellSearchErrorDomain";
// Codes of kShellSearchErrorDomain.
inline constexpr std::int64_t kNoPlugin = 1;     // no plug-in answered, or it went away
inline constexpr std::int64_t kQueryFailed = 2;  // the plug-in reported the query's error

class ShellSearch {
 public:
  explicit ShellSearch(std::chrono::milliseconds timeout) : timeout_(timeout) {}
  ~ShellSearch();
  ShellSearch(const ShellSearch&) = delete;
  ShellSearch& operator=(const ShellSearch&) = delete;

  // The newest messages that the terms find; none when the terms hold no word.
  foundation::Result<std::vector<ShellResult>> find(const std::vector<std::string>& terms);

  // A result of an earlier search, or null.
  const ShellResult* remembered(const std::string& identifier) const;

 private:
  foundation::Status connect();
  void remember(const std::vector<ShellResult>& results);

  const std::chrono::milliseconds timeout_;
  std::unique_ptr<companion::Client> client_;
  std::map<std::string, ShellResult, std::less<>> remembered_;
};

// The terms as one text for the translator: joined by single spaces.
std::string joinedTerms(const std::vector<std::string>& terms);

}  // namespace trovadex::desktop
