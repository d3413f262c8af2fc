// What a search asks for, what it reports while it runs, and how it ended.
//
// A SearchRequest becomes the Search command; SearchEvents are the callbacks a caller installs
// to follow the search; SearchSummary is the record of what happened, final once the search has
// ended. Plain values; the callbacks run on the thread that feeds the search its answers.
#pragma once

#include <cstdint>
#include <functional>
#include <optional>
#include <string>
#include <vector>

#include "companion/found_message.hpp"

namespace trovadex::companion {

struct SearchRequest {
  // A Spotlight query string; empty matches every mail message.
  std::string queryString;
  // An attribute to sort each delivery by; empty for the engine's order.
  std::string sortingAttribute;
  bool sortAscending = false;
  // Names the series of searches this one replaces; empty for none.
  std::string lineageName;
  // Keep the search running after its first gathering, reporting additions and removals until
  // it is cancelled. Otherwise the search ends at its first completion.
  bool live = false;
  // End the search (and cancel it in the plug-in) once this many messages were reported.
  std::optional<std::uint64_t> limit;
};

enum class SearchOutcome {
  Running,
  Completed,     // the plug-in reported completion without an error
  LimitReached,  // the limit was reached; the search was cancelled
  Failed,        // completion carried an error
  Interrupted,   // the caller cancelled it
  Replaced,      // a newer search of the same lineage replaced it (the plug-in cancels it)
  NoAnswer,      // the plug-in fell silent for longer than the caller's timeout
  PluginQuit,    // the plug-in quit or restarted while the search ran
};

// The error a failed search reported.
struct QueryFailure {
  std::int64_t code = 0;
  std::string domain;
  std::string message;
};

struct BatchReport {
  std::uint64_t batchNumber = 0;
  std::string batchName;
  std::uint64_t foundItemCount = 0;  // as the announcing message gave it
  std::vector<FoundMessage> messages;
};

struct RemovalReport {
  std::uint64_t batchNumber = 0;
  std::string batchName;
  std::vector<std::string> identifiers;
  // The messages reported earlier by this search that these identifiers name, in their order.
  std::vector<FoundMessage> knownMessages;
};

struct SearchEvents {
  std::function<void()> started;                         // QueryDidStart
  std::function<void(const BatchReport&)> found;         // one results batch, in order
  std::function<void(const RemovalReport&)> removed;     // one removal batch
  std::function<void()> gathered;                        // a live search's first gathering ended
  std::function<void(const std::string& text)> problem;  // a batch that could not be read, ...
  std::function<void()> ended;                           // once, when the outcome is final
};

struct SearchSummary {
  SearchOutcome outcome = SearchOutcome::Running;
  std::optional<QueryFailure> failure;  // Failed only
  bool started = false;                 // QueryDidStart arrived
  bool gathered = false;                // the first gathering ended (live searches)
  std::uint64_t resultBatches = 0;
  std::uint64_t removalBatches = 0;
  std::uint64_t messages = 0;  // messages reported (at most the limit)
  std::uint64_t removedMessages = 0;
  std::uint64_t foundItemCount = 0;  // the latest count the plug-in gave
  std::uint64_t answers = 0;         // messages about this search received so far
};

}  // namespace trovadex::companion
