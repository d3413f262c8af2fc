#include "companion/bus_link.hpp"

#include <algorithm>
#include <cstdint>
#include <exception>
#include <utility>

#include "linux/bus_notification.hpp"
#include "linux/session_bus.hpp"

namespace trovadex::companion {

using foundation::Error;
using foundation::Result;
using foundation::Status;
using foundation::Value;
using linux_platform::busError;
using linux_platform::GErrorPtr;
using linux_platform::GObjectPtr;
using linux_platform::GVariantPtr;

namespace {

// RequestName with no flags: no replacing of the owner, and a taken name queues the request.
constexpr guint32 kQueueBehindOwners = 0;
constexpr guint32 kPrimaryOwner = 1;
constexpr guint32 kAlreadyOwner = 4;

// How many turns of the context a closing link gives its cancelled service starts to report.
constexpr int kDrainPasses = 100;

Result<GVariantPtr> callBusDaemon(GDBusConnection* connection, const char* method,
                                  GVariant* arguments, const char* replyType) {
  GError* error = nullptr;
  GVariant* reply = g_dbus_connection_call_sync(
      connection, "org.freedesktop.DBus", "/org/freedesktop/DBus", "org.freedesktop.DBus", method,
      arguments, G_VARIANT_TYPE(replyType), G_DBUS_CALL_FLAGS_NONE, -1, nullptr, &error);
  GErrorPtr owned(error);
  if (reply == nullptr) return busError(error, std::string("The bus refused ") + method);
  return GVariantPtr(reply);
}

}  // namespace

Result<std::unique_ptr<BusLink>> BusLink::open(GMainContext* context, NotificationReceiver receiver,
                                               ProblemReporter problem) {
  auto connection = linux_platform::openSessionBus();
  if (!connection) return connection.error();
  std::unique_ptr<BusLink> link(
      new BusLink(std::move(connection).value(),
                  std::make_unique<Delivery>(Delivery{std::move(receiver), std::move(problem)})));
  link->context_ = context;
  // Signals are delivered to the context that is the thread's default when subscribing.
  g_main_context_push_thread_default(context);
  const std::string interface(linux_platform::kNotificationInterface);
  link->subscription_ = g_dbus_connection_signal_subscribe(
      link->connection_.get(), nullptr, interface.c_str(), nullptr, nullptr, nullptr,
      G_DBUS_SIGNAL_FLAGS_NONE, &BusLink::onSignal, link->delivery_.get(), nullptr);
  g_main_context_pop_thread_default(context);
  return link;
}

BusLink::BusLink(GObjectPtr<GDBusConnection> connection, std::unique_ptr<Delivery> delivery)
    : connection_(std::move(connection)),
      cancellable_(g_cancellable_new()),
      pendingStarts_(std::make_shared<int>(0)),
      delivery_(std::move(delivery)) {}

BusLink::~BusLink() {
  // GDBus drops queued deliveries of a subscription that is gone, so delivery_ is not used after
  // this, even by signals already waiting in the context.
  if (subscription_ != 0) g_dbus_connection_signal_unsubscribe(connection_.get(), subscription_);
  if (nameSubscription_ != 0) {
    g_dbus_connection_signal_unsubscribe(connection_.get(), nameSubscription_);
  }
  // A cancelled call still reports, on the context: let pending starts end here, so that none
  // outlives the link (they then return at once, without calling back).
  g_cancellable_cancel(cancellable_.get());
  for (int pass = 0; *pendingStarts_ > 0 && pass < kDrainPasses; ++pass) {
    g_main_context_iteration(context_, FALSE);
  }
  if (ownsNameRequest_) {
    const std::string name(kCompanionBusName);
    callBusDaemon(connection_.get(), "ReleaseName", g_variant_new("(s)", name.c_str()), "(u)");
  }
  flush();
  g_dbus_connection_close_sync(connection_.get(), nullptr, nullptr);
}

void BusLink::onSignal(GDBusConnection*, const gchar* sender, const gchar*, const gchar* interface,
                       const gchar* member, GVariant* body, gpointer data) {
  auto* delivery = static_cast<Delivery*>(data);
  // No exception may unwind through GDBus.
  try {
    const std::string name = std::string(interface) + "." + member;
    auto decoded = linux_platform::decodeNotificationBody(body);
    if (!decoded) {
      if (delivery->problem) {
        delivery->problem("Ignored " + name + " from " + (sender ? sender : "?") + ": " +
                          decoded.error().localizedDescription);
      }
      return;
    }
    if (delivery->problem) {
      for (const auto& dropped : decoded.value().problems) delivery->problem(name + ": " + dropped);
    }
    delivery->receiver(name, decoded.value().userInfo);
  } catch (const std::exception& exception) {
    if (delivery->problem)
      delivery->problem(std::string("Notification handler: ") + exception.what());
  } catch (...) {
    if (delivery->problem) delivery->problem("Notification handler: unknown exception");
  }
}

Status BusLink::post(Command command, const Value& userInfo) {
  const std::string name = commandName(command);
  auto body = linux_platform::encodeNotificationBody(Value(), userInfo);
  if (!body) return body.error();
  const std::string interface(linux_platform::kNotificationInterface);
  const std::string path(linux_platform::kNotificationObjectPath);
  const std::string member(commandSuffix(command));
  GError* error = nullptr;
  const gboolean sent =
      g_dbus_connection_emit_signal(connection_.get(), nullptr, path.c_str(), interface.c_str(),
                                    member.c_str(), body.value().get(), &error);
  GErrorPtr owned(error);
  if (!sent) return busError(error, "Could not send " + name);
  return {};
}

Result<bool> BusLink::requestCompanionName() {
  const std::string name(kCompanionBusName);
  auto reply = callBusDaemon(connection_.get(), "RequestName",
                             g_variant_new("(su)", name.c_str(), kQueueBehindOwners), "(u)");
  if (!reply) return reply.error();
  ownsNameRequest_ = true;
  guint32 result = 0;
  g_variant_get(reply.value().get(), "(u)", &result);
  return result == kPrimaryOwner || result == kAlreadyOwner;
}

void BusLink::watchNameAppearing(const std::string& name, std::function<void()> appeared) {
  if (nameSubscription_ != 0) return;
  nameAppeared_ = std::make_unique<std::function<void()>>(std::move(appeared));
  g_main_context_push_thread_default(context_);
  nameSubscription_ = g_dbus_connection_signal_subscribe(
      connection_.get(), "org.freedesktop.DBus", "org.freedesktop.DBus", "NameOwnerChanged",
      "/org/freedesktop/DBus", name.c_str(), G_DBUS_SIGNAL_FLAGS_NONE,
      [](GDBusConnection*, const gchar*, const gchar*, const gchar*, const gchar*,
         GVariant* parameters, gpointer data) {
        const gchar* newOwner = nullptr;
        g_variant_get(parameters, "(&s&s&s)", nullptr, nullptr, &newOwner);
        if (newOwner == nullptr || newOwner[0] == '\0') return;
        try {
          (*static_cast<std::function<void()>*>(data))();
        } catch (...) {
          // No exception may unwind through GDBus; a missed appearance costs only a wait.
        }
      },
      nameAppeared_.get(), nullptr);
  g_main_context_pop_thread_default(context_);
}

void BusLink::startService(const std::string& name, std::chrono::milliseconds timeout,
                           std::function<void(Status)> done) {
  struct Pending {
    std::function<void(Status)> done;
    std::shared_ptr<int> count;
  };
  ++*pendingStarts_;
  auto* pending = new Pending{std::move(done), pendingStarts_};
  // The reply is delivered to the context that is the thread's default when calling.
  g_main_context_push_thread_default(context_);
  g_dbus_connection_call(
      connection_.get(), "org.freedesktop.DBus", "/org/freedesktop/DBus", "org.freedesktop.DBus",
      "StartServiceByName", g_variant_new("(su)", name.c_str(), 0u), G_VARIANT_TYPE("(u)"),
      G_DBUS_CALL_FLAGS_NONE,
      static_cast<gint>(std::clamp<std::int64_t>(timeout.count(), 1, G_MAXINT)), cancellable_.get(),
      [](GObject* source, GAsyncResult* result, gpointer data) {
        std::unique_ptr<Pending> pending(static_cast<Pending*>(data));
        --*pending->count;
        GError* error = nullptr;
        GVariantPtr reply(g_dbus_connection_call_finish(G_DBUS_CONNECTION(source), result, &error));
        GErrorPtr owned(error);
        // A cancelled call belongs to a link that is gone.
        if (g_error_matches(error, G_IO_ERROR, G_IO_ERROR_CANCELLED)) return;
        try {
          if (!reply) {
            pending->done(busError(error, "The bus could not start the service"));
          } else {
            pending->done(Status{});
          }
        } catch (...) {
          // No exception may unwind through GDBus; the caller waits on its own timeout.
        }
      },
      pending);
  g_main_context_pop_thread_default(context_);
}

Status BusLink::flush() {
  GError* error = nullptr;
  if (!g_dbus_connection_flush_sync(connection_.get(), nullptr, &error)) {
    GErrorPtr owned(error);
    return busError(error, "Could not flush the session bus");
  }
  return {};
}

std::string BusLink::uniqueBusName() const {
  const gchar* name = g_dbus_connection_get_unique_name(connection_.get());
  return name != nullptr ? name : "";
}

}  // namespace trovadex::companion
