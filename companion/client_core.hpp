// ClientCore: everything one companion client decides, without a bus or a clock.
//
// It speaks for one client name: it sends Connect and recognises the PluginReady that answers
// it, starts searches under unique names "<client>-<pid>-<counter>", routes each answer of the
// plug-in to the search it names, ends every running search when the plug-in quits or starts
// afresh, and on an interrupt cancels its searches and terminates the client. Commands leave
// through a CommandPoster. Single-threaded: every call, and every event, on the thread that
// feeds the answers.
#pragma once

#include <sys/types.h>

#include <cstdint>
#include <functional>
#include <map>
#include <memory>
#include <optional>
#include <string>
#include <vector>

#include "companion/search_session.hpp"
#include "foundation/value.hpp"
#include "linux/pasteboard_folder.hpp"

namespace trovadex::companion {

// What a PluginReady told about the plug-in.
struct PluginInfo {
  std::string version;                     // the plug-in's version, empty when it gave none
  foundation::Value compatibilityVersion;  // as sent
  // Whether the plug-in speaks this companion's protocol version.
  bool isCompatible() const;
};

struct ClientEvents {
  std::function<void(const PluginInfo&)> connected;  // the answer to our Connect
  std::function<void()> pluginStarted;               // a plug-in announced itself at its start
  std::function<void(const foundation::Value& activeNames)> pluginQuit;
};

class ClientCore {
 public:
  ClientCore(std::string clientName, pid_t pid, std::string companionVersion,
             linux_platform::PasteboardFolder pasteboards, CommandPoster post,
             ClientEvents events = {});
  ClientCore(const ClientCore&) = delete;
  ClientCore& operator=(const ClientCore&) = delete;

  const std::string& clientName() const { return clientName_; }
  const linux_platform::PasteboardFolder& pasteboards() const { return pasteboards_; }

  // Posts Connect; checkVersion asks the plug-in to compare protocol versions (and to alert the
  // user once when they differ).
  void connect(bool checkVersion);
  // The plug-in as the latest answer to our Connect described it; nothing before that answer
  // and after the plug-in quit.
  const std::optional<PluginInfo>& plugin() const { return plugin_; }
  // How many answers to our Connect arrived so far.
  std::uint64_t connectAnswers() const { return connectAnswers_; }

  // Posts Search for a new search and returns it; its events run as answers arrive. Running
  // searches of the same non-empty lineage end Replaced, as the plug-in cancels them.
  std::shared_ptr<SearchSession> startSearch(SearchRequest request, SearchEvents events);

  // One notification from the bus, by its full name; anything not for this client is ignored.
  void receive(std::string_view notificationName, const foundation::Value& userInfo);

  // The unique names of the searches that have not ended.
  std::vector<std::string> activeNames() const;

  // Cancels every running search (each ends Interrupted), then posts Terminate naming them.
  void interrupt();
  // Posts Terminate naming the running searches, which end Interrupted without a Cancel: the
  // plug-in forgets every query of the client.
  void terminate();

 private:
  void postTerminate(const std::vector<std::string>& names);
  void pluginWentAway();
  void forgetEndedSearches();

  // Immutable after construction.
  const std::string clientName_;
  const pid_t pid_;
  const std::string companionVersion_;
  const linux_platform::PasteboardFolder pasteboards_;
  const CommandPoster post_;
  const ClientEvents events_;

  std::uint64_t searchCounter_ = 0;
  std::uint64_t connectAnswers_ = 0;
  std::optional<PluginInfo> plugin_;
  // Running searches by unique name; ended ones are dropped at the next answer.
  std::map<std::string, std::shared_ptr<SearchSession>, std::less<>> searches_;
};

}  // namespace trovadex::companion
