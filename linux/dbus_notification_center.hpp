// DBusNotificationCenter: the distributed notification centre, as signals on the session bus.
//
// post() emits the notification's signal at once; one bus subscription per name serves all its
// observers. Malformed bodies are ignored and unreadable parts dropped, each with a console line.
// post() and flush() are safe from any thread; observers are added, removed and called on the
// main thread.
#pragma once

#include <memory>
#include <string>

#include "linux/glib_ptr.hpp"
#include "platform/console.hpp"
#include "platform/notification_center.hpp"

namespace trovadex::linux_platform {

class DBusNotificationCenter final : public platform::NotificationCenter {
 public:
  // Shares connection; console (may be null) receives the centre's log lines.
  DBusNotificationCenter(GDBusConnection* connection, std::shared_ptr<platform::Console> console);
  ~DBusNotificationCenter() override;
  DBusNotificationCenter(const DBusNotificationCenter&) = delete;
  DBusNotificationCenter& operator=(const DBusNotificationCenter&) = delete;

  void postNotification(const std::string& name, const foundation::Value& object,
                        const foundation::Value& userInfo, bool deliverImmediately) override;
  [[nodiscard]] platform::Subscription addObserver(const std::string& name,
                                                   platform::NotificationHandler handler) override;

  // Waits until every posted notification has been handed to the bus (at shutdown).
  void flush();

 private:
  struct State;
  std::shared_ptr<State> state_;  // Observers hold it weakly.
};

}  // namespace trovadex::linux_platform
