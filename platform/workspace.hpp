// Workspace: which applications are installed and running, and when one terminates.
//
// An application is known by its bundle identifier. Terminations are posted on the workspace's
// notification centre under kWorkspaceDidTerminateApplicationNotification, with userInfo
// {"NSApplicationBundleIdentifier": id} and the running application in the notification's
// application field. Look-ups are safe from any thread; observers run on the main thread.
#pragma once

#include <memory>
#include <optional>
#include <string>
#include <string_view>
#include <vector>

#include "foundation/value.hpp"
#include "platform/notification_center.hpp"

namespace trovadex::platform {

inline constexpr std::string_view kWorkspaceDidTerminateApplicationNotification =
    "NSWorkspaceDidTerminateApplicationNotification";
inline constexpr std::string_view kApplicationBundleIdentifierKey = "NSApplicationBundleIdentifier";

class RunningApplication {
 public:
  virtual ~RunningApplication();
  // The application's bundle identifier: a string, or nil when it has none.
  virtual foundation::Value bundleIdentifier() const = 0;
};

class Workspace {
 public:
  virtual ~Workspace();

  // Where the application with this identifier is installed, or nothing when it is not.
  virtual std::optional<std::string> absolutePathForAppBundleWithIdentifier(
      const std::string& bundleIdentifier) = 0;

  // The running instances of the application with this identifier (empty when none runs).
  virtual std::vector<std::shared_ptr<const RunningApplication>>
  runningApplicationsWithBundleIdentifier(const std::string& bundleIdentifier) = 0;

  // The centre on which terminations are posted.
  virtual NotificationCenter& notificationCenter() = 0;
};

}  // namespace trovadex::platform
