#include "host/host_presence.hpp"

#include <string>

#include "linux/callback_wall.hpp"
#include "linux/mail_host_bus_name.hpp"

namespace trovadex::host {

namespace lp = linux_platform;

namespace {

// RequestName: fail rather than queue behind another host; the reply when the name is ours.
constexpr guint32 kDoNotQueue = 4;
constexpr guint32 kPrimaryOwner = 1;

}  // namespace

HostPresence::HostPresence(GDBusConnection* connection, std::shared_ptr<platform::Console> console,
                           Options options, std::function<void()> leave)
    : connection_(G_DBUS_CONNECTION(g_object_ref(connection))),
      console_(std::move(console)),
      idleTime_(options.idleTime),
      ready_(std::move(options.ready)),
      leave_(std::move(leave)) {
  readinessDeadline_ = std::chrono::steady_clock::now() + options.readinessWait;
  // Even a host that is ready at once claims its name from the loop: what the bundles scheduled
  // on it while loading (the plug-in starts listening there) comes first.
  checkReadinessLater();
  closedHandler_ = g_signal_connect(
      connection_.get(), "closed",
      G_CALLBACK(+[](GDBusConnection*, gboolean, GError*, gpointer data) {
        auto* self = static_cast<HostPresence*>(data);
        lp::runGuarded(self->console_.get(), "bus closed",
                       [&] { self->leaveOnce("the session bus has closed the connection"); });
      }),
      this);
  if (!idleTime_) return;
  console_->writeLine("Mail host: exits after " + std::to_string(idleTime_->count()) +
                      " s without a client");
  // A watch reports its name's current state first: with no client there, the idle timer starts
  // at once.
  for (const auto& name : options.clientNames) {
    watches_.push_back(g_bus_watch_name_on_connection(
        connection_.get(), name.c_str(), G_BUS_NAME_WATCHER_FLAGS_NONE,
        [](GDBusConnection*, const gchar* name, const gchar*, gpointer data) {
          auto* self = static_cast<HostPresence*>(data);
          lp::runGuarded(self->console_.get(), "client appeared",
                         [&] { self->clientAppeared(name); });
        },
        [](GDBusConnection*, const gchar* name, gpointer data) {
          auto* self = static_cast<HostPresence*>(data);
          lp::runGuarded(self->console_.get(), "client vanished",
                         [&] { self->clientVanished(name); });
        },
        this, nullptr));
  }
}

HostPresence::~HostPresence() {
  stopTimer();
  if (readinessTimer_) g_source_destroy(readinessTimer_.get());
  g_signal_handler_disconnect(connection_.get(), closedHandler_);
  // No callback of a watch runs after this returns.
  for (guint watch : watches_) g_bus_unwatch_name(watch);
  if (ownsName_) {
    const std::string name(lp::kMailHostBusName);
    GVariant* reply = g_dbus_connection_call_sync(
        connection_.get(), "org.freedesktop.DBus", "/org/freedesktop/DBus", "org.freedesktop.DBus",
        "ReleaseName", g_variant_new("(s)", name.c_str()), G_VARIANT_TYPE("(u)"),
        G_DBUS_CALL_FLAGS_NONE, -1, nullptr, nullptr);
    if (reply != nullptr) g_variant_unref(reply);
  }
}

void HostPresence::claimWhenReady() {
  if (!ready_ || ready_()) {
    claimName();
    return;
  }
  if (std::chrono::steady_clock::now() >= readinessDeadline_) {
    console_->writeLine("Mail host: serving while the index is still catching up");
    claimName();
    return;
  }
  checkReadinessLater();
}

void HostPresence::checkReadinessLater() {
  readinessTimer_.reset(g_timeout_source_new(static_cast<guint>(kReadinessCheck.count())));
  g_source_set_callback(
      readinessTimer_.get(),
      [](gpointer data) -> gboolean {
        auto* self = static_cast<HostPresence*>(data);
        // The source stays alive until its callback returns.
        lp::GSourcePtr source = std::move(self->readinessTimer_);
        lp::runGuarded(self->console_.get(), "readiness", [&] { self->claimWhenReady(); });
        return G_SOURCE_REMOVE;
      },
      this, nullptr);
  g_source_attach(readinessTimer_.get(), g_main_context_get_thread_default());
}

void HostPresence::claimName() {
  const std::string name(lp::kMailHostBusName);
  GError* error = nullptr;
  GVariant* reply = g_dbus_connection_call_sync(
      connection_.get(), "org.freedesktop.DBus", "/org/freedesktop/DBus", "org.freedesktop.DBus",
      "RequestName", g_variant_new("(su)", name.c_str(), kDoNotQueue), G_VARIANT_TYPE("(u)"),
      G_DBUS_CALL_FLAGS_NONE, -1, nullptr, &error);
  if (reply == nullptr) {
    console_->writeLine("Mail host: could not ask for the bus name " + name + ": " +
                        (error != nullptr ? error->message : "unknown error"));
    g_clear_error(&error);
    return;
  }
  guint32 result = 0;
  g_variant_get(reply, "(u)", &result);
  g_variant_unref(reply);
  ownsName_ = result == kPrimaryOwner;
  if (!ownsName_) {
    console_->writeLine("Mail host: another host owns the bus name " + name +
                        "; this one runs without it");
  }
}

void HostPresence::clientAppeared(const std::string& name) {
  presentClients_.insert(name);
  stopTimer();
}

void HostPresence::clientVanished(const std::string& name) {
  presentClients_.erase(name);
  if (!idleTime_ || !presentClients_.empty() || left_ || timer_) return;
  const auto milliseconds = std::chrono::duration_cast<std::chrono::milliseconds>(*idleTime_);
  timer_.reset(g_timeout_source_new(static_cast<guint>(milliseconds.count())));
  g_source_set_callback(
      timer_.get(),
      [](gpointer data) -> gboolean {
        auto* self = static_cast<HostPresence*>(data);
        self->timer_.reset();
        lp::runGuarded(self->console_.get(), "idle exit", [&] {
          self->leaveOnce("no client for " + std::to_string(self->idleTime_->count()) + " s");
        });
        return G_SOURCE_REMOVE;
      },
      this, nullptr);
  g_source_attach(timer_.get(), g_main_context_get_thread_default());
}

void HostPresence::leaveOnce(const std::string& why) {
  if (left_) return;
  left_ = true;
  console_->writeLine("Mail host: " + why + "; exiting");
  leave_();
}

void HostPresence::stopTimer() {
  if (!timer_) return;
  g_source_destroy(timer_.get());
  timer_.reset();
}

}  // namespace trovadex::host
