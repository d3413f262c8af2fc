// HostPresence: the host's own well-known bus name, and its exit when no client is left or the
// session bus has gone.
//
// The host claims kMailHostBusName without queueing once it is ready to serve whole results:
// when ready() first holds (checked from the loop every kReadinessCheck, the first time after
// what was already scheduled there) or after readinessWait at most, since a client that had the
// host started is waiting for the name. A second host on the same bus, for
// another library, runs on without the name, which the log says. With an idle time, it
// watches the bus names that clients own: once none of them has had an owner for the whole idle
// time, leave runs once. The watch starts idle, so a host started for a client that is already
// gone also ends. Whatever the idle time, leave runs when the bus closes the connection (the
// session is over). Construct, use and destroy on the main thread; leave runs there.
#pragma once

#include <chrono>
#include <functional>
#include <memory>
#include <optional>
#include <set>
#include <string>
#include <vector>

#include "linux/glib_ptr.hpp"
#include "platform/console.hpp"

namespace trovadex::host {

// How often the host checks whether it is ready to claim its name.
inline constexpr std::chrono::milliseconds kReadinessCheck{100};

class HostPresence {
 public:
  struct Options {
    std::vector<std::string> clientNames;  // owned by clients while they run
    std::optional<std::chrono::seconds> idleTime;
    std::function<bool()> ready;  // null: ready at once
    std::chrono::milliseconds readinessWait{0};
  };

  // Shares connection; subscriptions and timers deliver on the thread-default context.
  HostPresence(GDBusConnection* connection, std::shared_ptr<platform::Console> console,
               Options options, std::function<void()> leave);
  // Stops watching and gives the name up.
  ~HostPresence();
  HostPresence(const HostPresence&) = delete;
  HostPresence& operator=(const HostPresence&) = delete;

  // Whether the host holds its well-known name.
  bool ownsName() const { return ownsName_; }

 private:
  void claimWhenReady();
  void checkReadinessLater();
  void claimName();
  void clientAppeared(const std::string& name);
  void clientVanished(const std::string& name);
  void stopTimer();
  void leaveOnce(const std::string& why);

  // Immutable after construction.
  const linux_platform::GObjectPtr<GDBusConnection> connection_;
  const std::shared_ptr<platform::Console> console_;
  const std::optional<std::chrono::seconds> idleTime_;
  const std::function<bool()> ready_;
  const std::function<void()> leave_;

  bool ownsName_ = false;
  linux_platform::GSourcePtr readinessTimer_;
  std::chrono::steady_clock::time_point readinessDeadline_;
  std::vector<guint> watches_;
  std::set<std::string> presentClients_;
  linux_platform::GSourcePtr timer_;
  gulong closedHandler_ = 0;
  bool left_ = false;  // leave has run
};

}  // namespace trovadex::host
