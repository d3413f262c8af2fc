// MailHost: the running mail host, wired from the Linux adapters, the search engine and the
// message store, with the indexer keeping the index in step and the mail bundles loaded into it.
//
// start() wires everything and loads the bundles; once the index is in step with the store (5 s
// at most) the host claims its well-known bus name, so that a client which had the host started
// finds the plug-in listening over a whole index; the caller then runs the
// main loop until shutdown() (or until the loop is quit when the host has been idle for the time
// its options give). Bundles are never unloaded. Main thread only.
#pragma once

#include <chrono>
#include <filesystem>
#include <memory>
#include <optional>
#include <vector>

#include "foundation/error.hpp"
#include "linux/main_loop.hpp"

namespace trovadex::host {

struct HostOptions {
  std::filesystem::path library;
  std::vector<std::filesystem::path> bundles;  // named on the command line, loaded first
  std::optional<int> alertResponse;            // 1-based button number
  // Exit once no client has been on the bus for this long; nothing to serve until stopped.
  std::optional<std::chrono::seconds> idleExit;
};

class MailHost {
 public:
  // The loop must outlive the host.
  static foundation::Result<std::unique_ptr<MailHost>> start(linux_platform::MainLoop& loop,
                                                             const HostOptions& options);
  ~MailHost();
  MailHost(const MailHost&) = delete;
  MailHost& operator=(const MailHost&) = delete;

  // The orderly stop, in this order: give the well-known bus name up, post the in-process
  // will-terminate notification (bundles answer it at once), stop the indexer, cancel every engine
  // query and join the engine's threads, flush the defaults file, join the global pool, hand every
  // posted bus signal to the bus, and quit the main loop. Idempotent.
  void shutdown();

 private:
  struct Parts;
  explicit MailHost(std::unique_ptr<Parts> parts);
  std::unique_ptr<Parts> parts_;
};

// The run command's whole life: start, run the main loop until SIGTERM or SIGINT, shut down.
// Returns the process's exit status.
int runMailHost(const HostOptions& options);

}  // namespace trovadex::host
