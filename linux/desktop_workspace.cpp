#include "linux/desktop_workspace.hpp"

#include <gio/gdesktopappinfo.h>

#include "linux/callback_wall.hpp"
#include "linux/session_bus.hpp"

namespace trovadex::linux_platform {
namespace {

using foundation::Value;

// A listed owner can take this long to answer before the look-up gives up and reports none.
constexpr int kBusCallTimeoutMs = 2000;

class DesktopRunningApplication final : public platform::RunningApplication {
 public:
  DesktopRunningApplication(std::string identifier, std::string busOwner)
      : identifier_(std::move(identifier)), busOwner_(std::move(busOwner)) {}
  Value bundleIdentifier() const override { return Value(identifier_); }
  const std::string& busOwner() const { return busOwner_; }

 private:
  const std::string identifier_;
  const std::string busOwner_;  // the owner's unique connection name
};

bool isWellKnownName(const std::string& name) {
  return g_dbus_is_name(name.c_str()) && !g_dbus_is_unique_name(name.c_str());
}

std::optional<std::string> desktopEntryPath(const std::string& identifier) {
  if (!isWellKnownName(identifier)) return std::nullopt;
  GObjectPtr<GDesktopAppInfo> info(g_desktop_app_info_new((identifier + ".desktop").c_str()));
  if (!info) return std::nullopt;
  const char* path = g_desktop_app_info_get_filename(info.get());
  if (path == nullptr) return std::nullopt;
  return std::string(path);
}

}  // namespace

bool hasDesktopEntry(const std::string& identifier) {
  return desktopEntryPath(identifier).has_value();
}

DesktopWorkspace::DesktopWorkspace(MainLoop& loop, GDBusConnection* connection,
                                   std::shared_ptr<platform::Console> console)
    : connection_(G_DBUS_CONNECTION(g_object_ref(connection))),
      console_(std::move(console)),
      center_(loop, console_) {
  ownerSubscription_ = g_dbus_connection_signal_subscribe(
      connection_.get(), "org.freedesktop.DBus", "org.freedesktop.DBus", "NameOwnerChanged",
      "/org/freedesktop/DBus", nullptr, G_DBUS_SIGNAL_FLAGS_NONE, &onNameOwnerChanged, this,
      nullptr);
}

DesktopWorkspace::~DesktopWorkspace() {
  // Unsubscribing on the main thread guarantees no callback for this subscription runs later.
  g_dbus_connection_signal_unsubscribe(connection_.get(), ownerSubscription_);
}

void DesktopWorkspace::onNameOwnerChanged(GDBusConnection*, const gchar*, const gchar*,
                                          const gchar*, const gchar*, GVariant* parameters,
                                          gpointer data) {
  auto* self = static_cast<DesktopWorkspace*>(data);
  runGuarded(self->console_.get(), "application watch", [&] {
    if (!g_variant_is_of_type(parameters, G_VARIANT_TYPE("(sss)"))) return;
    const gchar* name = nullptr;
    const gchar* oldOwner = nullptr;
    const gchar* newOwner = nullptr;
    g_variant_get(parameters, "(&s&s&s)", &name, &oldOwner, &newOwner);
    // Only the loss of the last owner is a termination; a queued owner taking over is not.
    if (newOwner[0] != '\0' || !hasDesktopEntry(name)) return;
    platform::Notification notification{
        std::string(platform::kWorkspaceDidTerminateApplicationNotification), Value(),
        Value(Value::Dictionary{
            {std::string(platform::kApplicationBundleIdentifierKey), Value(name)}}),
        std::make_shared<DesktopRunningApplication>(name, oldOwner)};
    self->center_.post(std::move(notification));
  });
}

std::optional<std::string> DesktopWorkspace::absolutePathForAppBundleWithIdentifier(
    const std::string& bundleIdentifier) {
  return desktopEntryPath(bundleIdentifier);
}

std::vector<std::shared_ptr<const platform::RunningApplication>>
DesktopWorkspace::runningApplicationsWithBundleIdentifier(const std::string& bundleIdentifier) {
  std::vector<std::shared_ptr<const platform::RunningApplication>> running;
  if (!hasDesktopEntry(bundleIdentifier)) return running;
  GError* error = nullptr;
  GVariantPtr reply(g_dbus_connection_call_sync(
      connection_.get(), "org.freedesktop.DBus", "/org/freedesktop/DBus", "org.freedesktop.DBus",
      "ListQueuedOwners", g_variant_new("(s)", bundleIdentifier.c_str()), G_VARIANT_TYPE("(as)"),
      G_DBUS_CALL_FLAGS_NONE, kBusCallTimeoutMs, nullptr, &error));
  GErrorPtr owned(error);
  if (!reply) {
    // A name that nobody owns is answered with an error; that simply means nothing runs.
    GCharPtr remote(error != nullptr ? g_dbus_error_get_remote_error(error) : nullptr);
    const bool unowned =
        remote && std::string(remote.get()) == "org.freedesktop.DBus.Error.NameHasNoOwner";
    if (!unowned && console_) {
      console_->writeLine(busError(error, "Could not ask the bus who runs " + bundleIdentifier)
                              .localizedDescription);
    }
    return running;
  }
  GVariantIter* owners = nullptr;
  g_variant_get(reply.get(), "(as)", &owners);
  const gchar* owner = nullptr;
  while (g_variant_iter_next(owners, "&s", &owner)) {
    running.push_back(std::make_shared<DesktopRunningApplication>(bundleIdentifier, owner));
  }
  g_variant_iter_free(owners);
  return running;
}

}  // namespace trovadex::linux_platform
