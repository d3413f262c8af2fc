// linux_bus_peer: the other process of the bus tests.
//
//   linux_bus_peer echo FROM TO   re-posts every org.trovadex.MailPlugin.FROM notification as
//                                 org.trovadex.MailPlugin.TO, through its own decode and encode
//   linux_bus_peer own NAME       asks for the bus name NAME (queueing allowed)
//
// It prints one line when it is ready ("ready", or "owned" / "queued") and runs until its
// standard input is closed, then exits, giving up its connection and names.
#include <gio/gio.h>
#include <glib-unix.h>

#include <unistd.h>
#include <cstdio>
#include <cstring>
#include <memory>
#include <string>

#include "linux/dbus_notification_center.hpp"
#include "linux/glib_ptr.hpp"
#include "linux/main_loop.hpp"
#include "linux/session_bus.hpp"

namespace tl = trovadex::linux_platform;

namespace {

// Makes sure the bus has handled everything this connection sent so far (match rules
// included): the bus answers calls in order.
bool roundTripToBus(GDBusConnection* connection) {
  GError* error = nullptr;
  tl::GVariantPtr reply(g_dbus_connection_call_sync(
      connection, "org.freedesktop.DBus", "/org/freedesktop/DBus", "org.freedesktop.DBus", "GetId",
      nullptr, nullptr, G_DBUS_CALL_FLAGS_NONE, -1, nullptr, &error));
  if (error != nullptr) g_error_free(error);
  return reply != nullptr;
}

gboolean onInput(gint fd, GIOCondition, gpointer data) {
  char buffer[256];
  if (read(fd, buffer, sizeof buffer) <= 0) {
    static_cast<tl::MainLoop*>(data)->quit();
    return G_SOURCE_REMOVE;
  }
  return G_SOURCE_CONTINUE;
}

void announce(const char* line) {
  std::printf("%s\n", line);
  std::fflush(stdout);
}

}  // namespace

int main(int argc, char** argv) {
  if (argc < 3) {
    std::fprintf(stderr, "usage: %s echo FROM TO | own NAME\n", argv[0]);
    return 2;
  }
  tl::MainLoop loop;
  auto connection = tl::openSessionBus();
  if (!connection) {
    std::fprintf(stderr, "%s\n", connection.error().localizedDescription.c_str());
    return 1;
  }
  GDBusConnection* bus = connection.value().get();

  // Standard input closing is the signal to leave.
  tl::GSourcePtr input(
      g_unix_fd_source_new(0, static_cast<GIOCondition>(G_IO_IN | G_IO_HUP | G_IO_ERR)));
  g_source_set_callback(input.get(), G_SOURCE_FUNC(onInput), &loop, nullptr);
  g_source_attach(input.get(), loop.context());

  const std::string command = argv[1];
  std::unique_ptr<tl::DBusNotificationCenter> center;
  trovadex::platform::Subscription subscription;
  if (command == "echo" && argc == 4) {
    center = std::make_unique<tl::DBusNotificationCenter>(bus, nullptr);
    const std::string to = std::string("org.trovadex.MailPlugin.") + argv[3];
    subscription = center->addObserver(
        std::string("org.trovadex.MailPlugin.") + argv[2],
        [&center, to](const trovadex::platform::Notification& notification) {
          center->postNotification(to, notification.object, notification.userInfo, true);
        });
    if (!roundTripToBus(bus)) return 1;
    announce("ready");
  } else if (command == "own") {
    GError* error = nullptr;
    tl::GVariantPtr reply(g_dbus_connection_call_sync(
        bus, "org.freedesktop.DBus", "/org/freedesktop/DBus", "org.freedesktop.DBus", "RequestName",
        g_variant_new("(su)", argv[2], 0u), G_VARIANT_TYPE("(u)"), G_DBUS_CALL_FLAGS_NONE, -1,
        nullptr, &error));
    if (!reply) {
      std::fprintf(stderr, "RequestName failed: %s\n", error->message);
      g_error_free(error);
      return 1;
    }
    guint32 result = 0;
    g_variant_get(reply.get(), "(u)", &result);
    announce(result == 1 ? "owned" : result == 2 ? "queued" : "refused");
  } else {
    std::fprintf(stderr, "unknown command %s\n", argv[1]);
    return 2;
  }
  loop.run();
  subscription.reset();
  if (center) center->flush();
  return 0;
}
