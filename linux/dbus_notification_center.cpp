#include "linux/dbus_notification_center.hpp"

#include <cstdint>
#include <map>
#include <vector>

#include "linux/bus_notification.hpp"
#include "linux/callback_wall.hpp"
#include "linux/session_bus.hpp"

namespace trovadex::linux_platform {

using foundation::Value;

struct DBusNotificationCenter::State {
  // What a bus subscription knows: the centre weakly, and the name it serves.
  struct Slot {
    std::weak_ptr<State> state;
    std::string name;
  };
  // The slot belongs to the entry, not to GLib: GLib would free it only on a later pass of the
  // main loop, which may never come. GLib never calls a subscription's callback after it was
  // unsubscribed on the thread that delivers it, so the slot can go with the entry.
  struct Name {
    guint busSubscription = 0;
    std::unique_ptr<Slot> slot;
    std::map<std::uint64_t, platform::NotificationHandler> handlers;  // in registration order
  };

  // Immutable after construction.
  GObjectPtr<GDBusConnection> connection;
  std::shared_ptr<platform::Console> console;

  // Main thread only.
  std::map<std::string, Name, std::less<>> names;
  std::uint64_t nextObserverId = 1;

  void log(const std::string& line) const {
    if (console) console->writeLine(line);
  }

  static void onSignal(GDBusConnection*, const gchar* sender, const gchar*, const gchar*,
                       const gchar*, GVariant* body, gpointer data) {
    auto* slot = static_cast<Slot*>(data);
    auto state = slot->state.lock();
    if (!state) return;
    // A copy: an observer that removes the last subscription of the name frees the slot.
    const std::string name = slot->name;
    runGuarded(state->console.get(), "distributed notification",
               [&] { state->deliver(name, sender != nullptr ? sender : "", body); });
  }

  void deliver(const std::string& name, const std::string& sender, GVariant* body) {
    auto decoded = decodeNotificationBody(body);
    if (!decoded) {
      log("Ignored notification " + name + " from " + sender + ": " +
          decoded.error().localizedDescription);
      return;
    }
    for (const auto& problem : decoded.value().problems) {
      log("Notification " + name + " from " + sender + ": " + problem);
    }
    platform::Notification notification{name, std::move(decoded.value().object),
                                        std::move(decoded.value().userInfo), nullptr};
    // An observer may add or remove observers; each one still registered is called once.
    std::vector<std::uint64_t> ids;
    if (auto found = names.find(name); found != names.end()) {
      for (const auto& entry : found->second.handlers) ids.push_back(entry.first);
    }
    for (std::uint64_t id : ids) {
      auto found = names.find(name);
      if (found == names.end()) return;
      auto handler = found->second.handlers.find(id);
      if (handler == found->second.handlers.end()) continue;
      platform::NotificationHandler call = handler->second;
      runGuarded(console.get(), "notification observer", [&] { call(notification); });
    }
  }

  void remove(const std::string& name, std::uint64_t id) {
    auto found = names.find(name);
    if (found == names.end()) return;
    found->second.handlers.erase(id);
    if (!found->second.handlers.empty()) return;
    g_dbus_connection_signal_unsubscribe(connection.get(), found->second.busSubscription);
    names.erase(found);
  }
};

DBusNotificationCenter::DBusNotificationCenter(GDBusConnection* connection,
                                               std::shared_ptr<platform::Console> console)
    : state_(std::make_shared<State>()) {
  state_->connection.reset(G_DBUS_CONNECTION(g_object_ref(connection)));
  state_->console = std::move(console);
}

DBusNotificationCenter::~DBusNotificationCenter() {
  for (const auto& [name, entry] : state_->names) {
    g_dbus_connection_signal_unsubscribe(state_->connection.get(), entry.busSubscription);
  }
  state_->names.clear();
}

void DBusNotificationCenter::postNotification(const std::string& name, const Value& object,
                                              const Value& userInfo, bool /*deliverImmediately*/) {
  const auto signal = signalNameForNotification(name);
  if (!signal) {
    state_->log("Cannot post notification " + name + ": not a valid bus signal name");
    return;
  }
  auto body = encodeNotificationBody(object, userInfo);
  if (!body) {
    state_->log("Cannot post notification " + name + ": " + body.error().localizedDescription);
    return;
  }
  GError* error = nullptr;
  const gboolean sent = g_dbus_connection_emit_signal(
      state_->connection.get(), nullptr, std::string(kNotificationObjectPath).c_str(),
      signal->interfaceName.c_str(), signal->member.c_str(), body.value().get(), &error);
  GErrorPtr owned(error);
  if (!sent) {
    state_->log("Cannot post notification " + name + ": " +
                busError(error, "the bus refused it").localizedDescription);
  }
}

platform::Subscription DBusNotificationCenter::addObserver(const std::string& name,
                                                           platform::NotificationHandler handler) {
  const auto signal = signalNameForNotification(name);
  if (!signal) {
    state_->log("Cannot observe notification " + name + ": not a valid bus signal name");
    return {};
  }
  auto [entry, added] = state_->names.try_emplace(name);
  if (added) {
    entry->second.slot = std::make_unique<State::Slot>(State::Slot{state_, name});
    entry->second.busSubscription = g_dbus_connection_signal_subscribe(
        state_->connection.get(), nullptr, signal->interfaceName.c_str(), signal->member.c_str(),
        nullptr, nullptr, G_DBUS_SIGNAL_FLAGS_NONE, &State::onSignal, entry->second.slot.get(),
        nullptr);
  }
  const std::uint64_t id = state_->nextObserverId++;
  entry->second.handlers.emplace(id, std::move(handler));
  return platform::Subscription([weak = std::weak_ptr<State>(state_), name, id] {
    if (auto state = weak.lock()) state->remove(name, id);
  });
}

void DBusNotificationCenter::flush() {
  GError* error = nullptr;
  if (!g_dbus_connection_flush_sync(state_->connection.get(), nullptr, &error)) {
    GErrorPtr owned(error);
    state_->log(busError(error, "Could not flush the session bus").localizedDescription);
  }
}

}  // namespace trovadex::linux_platform
