// FakeWorkspace: applications that the test installs, launches and terminates.
//
// Installing puts an application's path under its bundle identifier; launching adds a running
// instance; terminating removes it and posts kWorkspaceDidTerminateApplicationNotification on the
// workspace's centre with userInfo {"NSApplicationBundleIdentifier": id} and the instance in the
// notification's application field. A termination may leave the identifier out of userInfo, so
// that observers must ask the running application instead. Look-ups are recorded. Safe from any
// thread; terminations are delivered by the centre on the main thread.
#pragma once

#include <map>
#include <memory>
#include <mutex>
#include <string>
#include <vector>

#include "platform/fake/fake_notification_center.hpp"
#include "platform/workspace.hpp"

namespace trovadex::platform::fake {

class FakeRunningApplication final : public RunningApplication {
 public:
  // bundleIdentifier: a String, or nil for an application without one.
  explicit FakeRunningApplication(foundation::Value bundleIdentifier);
  ~FakeRunningApplication() override;
  foundation::Value bundleIdentifier() const override { return bundleIdentifier_; }

 private:
  const foundation::Value bundleIdentifier_;  // Immutable after construction.
};

enum class TerminationInfo { WithBundleIdentifier, WithoutBundleIdentifier };

class FakeWorkspace final : public Workspace {
 public:
  explicit FakeWorkspace(std::shared_ptr<FakeNotificationCenter> center);
  ~FakeWorkspace() override;

  std::optional<std::string> absolutePathForAppBundleWithIdentifier(
      const std::string& bundleIdentifier) override;
  std::vector<std::shared_ptr<const RunningApplication>> runningApplicationsWithBundleIdentifier(
      const std::string& bundleIdentifier) override;
  NotificationCenter& notificationCenter() override { return *center_; }

  void installApplication(const std::string& bundleIdentifier, const std::string& path);
  void uninstallApplication(const std::string& bundleIdentifier);
  // Starts an instance; bundleIdentifier nil makes one without an identifier.
  std::shared_ptr<const FakeRunningApplication> launchApplication(
      const foundation::Value& bundleIdentifier);
  // Ends an instance and posts its termination (even when it was not running: the post is what
  // the test asked for).
  void terminateApplication(const std::shared_ptr<const FakeRunningApplication>& application,
                            TerminationInfo info = TerminationInfo::WithBundleIdentifier);

  // The identifiers asked of absolutePathForAppBundleWithIdentifier, in order.
  std::vector<std::string> installLookups() const;
  FakeNotificationCenter& center() { return *center_; }

 private:
  const std::shared_ptr<FakeNotificationCenter> center_;  // Immutable after construction.

  mutable std::mutex mutex_;
  // Guarded by mutex_.
  std::map<std::string, std::string> installed_;
  std::vector<std::shared_ptr<const FakeRunningApplication>> running_;
  std::vector<std::string> installLookups_;
};

}  // namespace trovadex::platform::fake
