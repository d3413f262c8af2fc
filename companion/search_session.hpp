// SearchSession: one search as the companion follows it, from Search to its end, without a bus.
//
// The session posts its commands through a CommandPoster and is fed the plug-in's answers about
// its query. It reads each results batch from its pasteboard (earlier batches that the plug-in
// still lists as pending first, so batches are read in number order and none is missed), clears
// every results batch it has read, reads removal batches (which are never cleared: the plug-in
// does not take their pasteboards back), honours the request's limit, and ends at completion
// (or, for a live search, keeps going after its first gathering until it is interrupted).
// Single-threaded: every call, and every event, on the thread that feeds the answers.
#pragma once

#include <cstdint>
#include <functional>
#include <map>
#include <memory>
#include <set>
#include <string>

#include "companion/search_request.hpp"
#include "companion/wire_vocabulary.hpp"
#include "foundation/value.hpp"
#include "linux/pasteboard_folder.hpp"

namespace trovadex::companion {

using CommandPoster = std::function<void(Command command, const foundation::Value& userInfo)>;

class SearchSession : public std::enable_shared_from_this<SearchSession> {
 public:
  SearchSession(std::string uniqueName, std::string clientName, std::string companionVersion,
                SearchRequest request, linux_platform::PasteboardFolder pasteboards,
                CommandPoster post, SearchEvents events);
  SearchSession(const SearchSession&) = delete;
  SearchSession& operator=(const SearchSession&) = delete;

  const std::string& uniqueName() const { return uniqueName_; }
  const SearchRequest& request() const { return request_; }
  const SearchSummary& summary() const { return summary_; }
  bool ended() const { return summary_.outcome != SearchOutcome::Running; }
  // Whether the search still waits for the plug-in: it runs and its first gathering has not
  // ended. A caller's answer timeout applies only then.
  bool awaitingAnswers() const { return !ended() && !summary_.gathered; }

  // The userInfo of the Search command.
  foundation::Value searchUserInfo() const;
  // Posts Search. Called once.
  void start();

  // An answer about this search (its "uniqueName" is this search's; others are ignored).
  // PluginReady and PluginQuit go to pluginWentAway() instead.
  void receive(Answer answer, const foundation::Value& userInfo);

  // Posts Cancel and ends Interrupted; nothing when the search has ended.
  void interrupt();
  // Ends Interrupted without a word to the plug-in (the caller terminates the whole client).
  void abandon();
  // Ends Replaced: a newer search of this client with the same lineage name has been sent, and
  // the plug-in cancels this one on its own.
  void replace();
  // Ends NoAnswer, posting Cancel so that a search the plug-in starts late is stopped.
  void giveUp();
  // Ends PluginQuit: the plug-in quit or started afresh, so the query is gone.
  void pluginWentAway();

 private:
  void queryHasUpdates(const foundation::Value& userInfo);
  void queryHasRemovals(const foundation::Value& userInfo);
  void queryDidComplete(const foundation::Value& userInfo);
  // Reads, clears and reports one results batch unless it was handled already.
  void readResultsBatch(std::uint64_t batchNumber, const std::string& batchName,
                        std::uint64_t foundItemCount);
  // The batch's payload when it is a dictionary about this search; reports a problem otherwise.
  // ours turns false when the payload names another search.
  std::optional<foundation::Value> readPayload(BatchKind kind, std::uint64_t batchNumber,
                                               const std::string& batchName, bool& ours);
  void postCancel();
  void finish(SearchOutcome outcome);
  void report(const std::string& problem) const;

  // Immutable after construction.
  const std::string uniqueName_;
  const std::string clientName_;
  const std::string companionVersion_;
  const SearchRequest request_;
  const linux_platform::PasteboardFolder pasteboards_;
  const CommandPoster post_;
  const SearchEvents events_;

  SearchSummary summary_;
  std::set<std::uint64_t> readResultBatches_;
  std::set<std::uint64_t> readRemovalBatches_;
  // Live searches only: the messages reported so far by item identifier, for removals.
  std::map<std::string, FoundMessage, std::less<>> liveMessages_;
};

}  // namespace trovadex::companion
