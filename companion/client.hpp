// Client: a companion client on the session bus, for programs and the end-to-end suite.
//
// It binds a ClientCore to a BusLink: it holds the companion's bus name while it is open,
// connects with a timeout (asking the bus to start the mail host when no plug-in answers at
// once), starts searches whose events arrive while its context is iterated,
// and offers blocking helpers that run a search to its end, giving up when the plug-in stays
// silent longer than a timeout. Closing it terminates the client if searches still run.
// Single-threaded: create it, call it, and iterate its context on one thread; every event runs
// there.
#pragma once

#include <chrono>
#include <cstdint>
#include <functional>
#include <memory>
#include <optional>
#include <string>

#include "companion/bus_link.hpp"
#include "companion/client_core.hpp"
#include "companion/search_request.hpp"
#include "foundation/error.hpp"
#include "linux/glib_ptr.hpp"
#include "linux/mail_host_bus_name.hpp"

namespace trovadex::companion {

inline constexpr const char* kCompanionErrorDomain = "TrovadexCompanionErrorDomain";
// No plug-in answered Connect within the timeout.
inline constexpr std::int64_t kNoPluginAnswered = 1;
// The client was interrupted while it waited for the answer.
inline constexpr std::int64_t kConnectInterrupted = 2;

struct ClientOptions {
  // The client name; empty for "trovadex-<pid>", which no other process shares.
  std::string clientName;
  // Where pasteboards live; empty for the user's pasteboard folder.
  std::string pasteboardRoot;
  // The context events are delivered on; null for a context of the client's own. Clients that
  // share a context are served by iterating it once.
  GMainContext* context = nullptr;
  // Hears bus and batch problems; null to drop them.
  ProblemReporter problem;
  // Other answers of the plug-in (a plug-in starting or quitting).
  ClientEvents events;
  // The bus name whose service connect() asks the bus to start when no plug-in answers at once;
  // empty to only wait.
  std::string activationName = std::string(linux_platform::kMailHostBusName);
};

// How long connect() waits for a running plug-in before it asks the bus to start the host.
inline constexpr std::chrono::milliseconds kActivationDelay{500};

class Client {
 public:
  // Connects to the session bus and queues for the companion's bus name.
  static foundation::Result<std::unique_ptr<Client>> open(ClientOptions options = {});
  // Terminates the client when searches still run, then leaves the bus.
  ~Client();
  Client(const Client&) = delete;
  Client& operator=(const Client&) = delete;

  const std::string& clientName() const { return core_->clientName(); }
  GMainContext* context() const { return context_.get(); }
  ClientCore& core() { return *core_; }

  // Sends Connect and waits for the plug-in's answer. When none comes within kActivationDelay,
  // asks the bus to start the activation name's service and sends Connect again once it runs
  // (and whenever the name gets an owner: a host claims it once it serves). Fails with
  // kNoPluginAnswered when no answer comes within timeout (its message says why the host could not
  // be started, when the bus said), and with kConnectInterrupted when interrupt() is called
  // meanwhile.
  foundation::Result<PluginInfo> connect(std::chrono::milliseconds timeout,
                                         bool checkVersion = true);

  // Starts a search; its events run while the context is iterated.
  std::shared_ptr<SearchSession> startSearch(SearchRequest request, SearchEvents events = {});
  // Iterates the context until the search ends. While the search waits for the plug-in (before
  // its first gathering ends) a silence of answerTimeout ends it NoAnswer; afterwards a live
  // search runs until it is interrupted.
  void waitForSearch(SearchSession& search, std::chrono::milliseconds answerTimeout);
  // startSearch and waitForSearch in one: the summary of the finished search.
  SearchSummary runSearch(SearchRequest request, SearchEvents events,
                          std::chrono::milliseconds answerTimeout);

  // Iterates the context until done() holds (checked before each pass) or timeout passes (no
  // timeout: until done() holds). Returns whether done() held.
  bool iterateUntil(const std::function<bool()>& done,
                    std::optional<std::chrono::milliseconds> timeout);

  // Sends a command as it stands, bypassing the client's bookkeeping: for tests of the
  // protocol's edges (a Clear of an unknown batch, a Connect with another protocol version).
  void post(Command command, const foundation::Value& userInfo);

  // Cancels every running search and terminates the client; what was sent is flushed. Safe to
  // call from an event or a signal source on the client's context.
  void interrupt();
  bool interrupted() const { return interrupted_; }
  // Terminates the client (Terminate naming the searches still running); flushed.
  void terminate();

 private:
  // What became of asking the bus to start the host; shared with the pending call, which may
  // answer after connect() has returned.
  struct Activation {
    bool answered = false;
    std::optional<std::string> failure;
  };

  Client(linux_platform::GMainContextPtr context, ProblemReporter problem,
         std::string activationName);
  void report(const std::string& text) const;

  // Immutable after construction.
  linux_platform::GMainContextPtr context_;
  ProblemReporter problem_;
  std::string activationName_;
  // Declared before the core, whose poster uses it, so that it is destroyed after the core.
  std::unique_ptr<BusLink> link_;
  std::unique_ptr<ClientCore> core_;
  bool interrupted_ = false;
  std::uint64_t hostAppearances_ = 0;  // times the activation name got an owner
};

}  // namespace trovadex::companion
