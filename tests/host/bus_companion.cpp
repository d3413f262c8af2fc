#include "tests/host/bus_companion.hpp"

#include <gtest/gtest.h>

#include "linux/bus_notification.hpp"
#include "linux/session_bus.hpp"

namespace trovadex::host::testing {

namespace lp = linux_platform;

BusCompanion::BusCompanion(lp::MainLoop& loop) : loop_(loop) {
  auto bus = lp::openSessionBus();
  if (!bus) {
    ADD_FAILURE() << "no private session bus: " << bus.error().localizedDescription;
    return;
  }
  connection_ = std::move(bus.value());
  const std::string interfaceName(lp::kNotificationInterface);
  const std::string path(lp::kNotificationObjectPath);
  subscription_ = g_dbus_connection_signal_subscribe(
      connection_.get(), nullptr, interfaceName.c_str(), nullptr, path.c_str(), nullptr,
      G_DBUS_SIGNAL_FLAGS_NONE, &BusCompanion::onSignal, this, nullptr);
  // The subscription is in place once the bus has answered a call made after it.
  GVariant* reply = g_dbus_connection_call_sync(
      connection_.get(), "org.freedesktop.DBus", "/org/freedesktop/DBus", "org.freedesktop.DBus",
      "GetId", nullptr, nullptr, G_DBUS_CALL_FLAGS_NONE, -1, nullptr, nullptr);
  if (reply != nullptr) g_variant_unref(reply);
}

BusCompanion::~BusCompanion() {
  if (connection_ && subscription_ != 0) {
    g_dbus_connection_signal_unsubscribe(connection_.get(), subscription_);
  }
}

void BusCompanion::onSignal(GDBusConnection* connection, const gchar* sender, const gchar*,
                            const gchar*, const gchar* member, GVariant* parameters,
                            gpointer self) {
  // The bus hands a connection its own signals too; the companion's commands are not news.
  if (g_strcmp0(sender, g_dbus_connection_get_unique_name(connection)) == 0) return;
  auto body = lp::decodeNotificationBody(parameters);
  if (!body) return;
  static_cast<BusCompanion*>(self)->received_.push_back({member, body.value().userInfo});
}

void BusCompanion::post(const std::string& member, const foundation::Value::Dictionary& userInfo) {
  auto body = lp::encodeNotificationBody(foundation::Value(), foundation::Value(userInfo));
  ASSERT_TRUE(body.ok()) << body.error().localizedDescription;
  const std::string interfaceName(lp::kNotificationInterface);
  const std::string path(lp::kNotificationObjectPath);
  GError* error = nullptr;
  const gboolean sent =
      g_dbus_connection_emit_signal(connection_.get(), nullptr, path.c_str(), interfaceName.c_str(),
                                    member.c_str(), body.value().get(), &error);
  if (!sent) {
    ADD_FAILURE() << "cannot post " << member << ": " << error->message;
    g_error_free(error);
  }
  g_dbus_connection_flush_sync(connection_.get(), nullptr, nullptr);
}

bool BusCompanion::waitFor(
    const std::function<bool(const std::vector<ReceivedNotification>&)>& done,
    std::chrono::milliseconds timeout) {
  return loop_.iterateUntil([&] { return done(received_); }, timeout);
}

std::vector<ReceivedNotification> BusCompanion::named(const std::string& member) const {
  std::vector<ReceivedNotification> result;
  for (const auto& notification : received_) {
    if (notification.member == member) result.push_back(notification);
  }
  return result;
}

}  // namespace trovadex::host::testing
