// DesktopWorkspace: the Workspace port over desktop entries and bus-name ownership.
//
// An application is an identifier with a desktop entry "<id>.desktop": installed when the entry
// exists, running once per owner or queued owner of the bus name <id>, terminated when that name
// loses its last owner. Construct and destroy on the main thread (terminations are posted
// there); look-ups are safe from any thread.
#pragma once

#include <memory>
#include <optional>
#include <string>
#include <vector>

#include "linux/glib_ptr.hpp"
#include "linux/local_notification_center.hpp"
#include "linux/main_loop.hpp"
#include "platform/console.hpp"
#include "platform/workspace.hpp"

namespace trovadex::linux_platform {

class DesktopWorkspace final : public platform::Workspace {
 public:
  // Shares connection; console (may be null) receives a line when a look-up on the bus fails.
  DesktopWorkspace(MainLoop& loop, GDBusConnection* connection,
                   std::shared_ptr<platform::Console> console);
  ~DesktopWorkspace() override;
  DesktopWorkspace(const DesktopWorkspace&) = delete;
  DesktopWorkspace& operator=(const DesktopWorkspace&) = delete;

  // The desktop entry's file, or nothing.
  std::optional<std::string> absolutePathForAppBundleWithIdentifier(
      const std::string& bundleIdentifier) override;
  std::vector<std::shared_ptr<const platform::RunningApplication>>
  runningApplicationsWithBundleIdentifier(const std::string& bundleIdentifier) override;
  platform::NotificationCenter& notificationCenter() override { return center_; }

 private:
  static void onNameOwnerChanged(GDBusConnection*, const gchar*, const gchar*, const gchar*,
                                 const gchar*, GVariant* parameters, gpointer data);

  // Immutable after construction.
  const GObjectPtr<GDBusConnection> connection_;
  const std::shared_ptr<platform::Console> console_;

  LocalNotificationCenter center_;
  guint ownerSubscription_ = 0;  // Main thread only.
};

// Whether the identifier names an application: a valid well-known bus name with a desktop
// entry. Safe from any thread.
bool hasDesktopEntry(const std::string& identifier);

}  // namespace trovadex::linux_platform
