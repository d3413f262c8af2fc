// DBusNotificationCenter: the distributed notification centre, as signals on the session bus.
//
// post() emits the signal that the bus form of notifications describes; the bus queues it at
// once and never holds it back. addObserver() subscribes to that signal from any sender; one
// bus subscription serves every observer of a name, and each received body is decoded once.
// Bodies of the wrong shape are ignored and parts without a property-list reading dropped, each
// with a console line. Observers run on the main thread (the thread that constructs the
// centre). post() and flush() are safe from any thread; addObserver() and removal are main
// thread only.
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
