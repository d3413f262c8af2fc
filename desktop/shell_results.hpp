// ShellResult and NewestResults: what the desktop shell is shown of a found message, and the
// newest few of a search.
//
// A ShellResult is picked out of a found message's record: its identifier (the library ID in
// decimal, as removals name messages), subject, first sender, date and file. NewestResults keeps
// the newest results of a search as batches arrive (a message without a date counts as the
// oldest), never more than its bound, each identifier once. Plain values: safe to copy between
// threads.
#pragma once

#include <cstddef>
#include <optional>
#include <string>
#include <vector>

#include "companion/found_message.hpp"
#include "foundation/date.hpp"

namespace trovadex::desktop {

// The attribute the shell's results are ordered by, newest first.
inline constexpr const char* kResultDateAttribute = "kMDItemContentCreationDate";

struct ShellResult {
  std::string identifier;
  std::string subject;  // may be empty
  std::string sender;   // the first author's name, else address; may be empty
  std::optional<foundation::Date> date;
  std::string path;  // the message's .emlx file

  // Nothing for a record without a library ID or a path.
  static std::optional<ShellResult> fromMessage(const companion::FoundMessage& message);

  // The shell's title line: the subject, or "(no subject)".
  std::string title() const;
  // The line below it: "Sender — 2025-06-21 17:17" (UTC), leaving out what is unknown.
  std::string description() const;
};

class NewestResults {
 public:
  explicit NewestResults(std::size_t bound) : bound_(bound) {}

  void add(const companion::FoundMessage& message);
  // Newest first; results of equal date in the order they arrived.
  const std::vector<ShellResult>& results() const { return results_; }

 private:
  std::size_t bound_;
  std::vector<ShellResult> results_;  // kept in order
};

}  // namespace trovadex::desktop
