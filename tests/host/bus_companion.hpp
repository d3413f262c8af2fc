// BusCompanion: the companion's side of the protocol, as bare as a test needs it: a connection
// of its own to the private session bus that records every notification of the plug-in's
// interface and posts commands.
//
// Notifications from other connections are recorded on the test's main loop, in the order the
// bus delivered them.
// Main thread only.
#pragma once

#include <chrono>
#include <functional>
#include <string>
#include <vector>

#include "foundation/value.hpp"
#include "linux/glib_ptr.hpp"
#include "linux/main_loop.hpp"

namespace trovadex::host::testing {

struct ReceivedNotification {
  std::string member;  // "PluginReady", "QueryHasUpdates", ...
  foundation::Value userInfo;
};

class BusCompanion {
 public:
  explicit BusCompanion(linux_platform::MainLoop& loop);
  ~BusCompanion();
  BusCompanion(const BusCompanion&) = delete;
  BusCompanion& operator=(const BusCompanion&) = delete;

  bool connected() const { return connection_ != nullptr; }

  // Posts the command <interface>.<member> with a nil object.
  void post(const std::string& member, const foundation::Value::Dictionary& userInfo);

  const std::vector<ReceivedNotification>& received() const { return received_; }
  // Turns the loop until done() holds over what was received; false when time runs out.
  bool waitFor(const std::function<bool(const std::vector<ReceivedNotification>&)>& done,
               std::chrono::milliseconds timeout);
  // The notifications with that member, in order.
  std::vector<ReceivedNotification> named(const std::string& member) const;

 private:
  static void onSignal(GDBusConnection* connection, const gchar* sender, const gchar*, const gchar*,
                       const gchar* member, GVariant* parameters, gpointer self);

  linux_platform::MainLoop& loop_;
  linux_platform::GObjectPtr<GDBusConnection> connection_;
  guint subscription_ = 0;
  std::vector<ReceivedNotification> received_;
};

}  // namespace trovadex::host::testing
