#include "platform/fake/fake_workspace.hpp"

#include <algorithm>
#include <utility>

namespace trovadex::platform::fake {

FakeRunningApplication::FakeRunningApplication(foundation::Value bundleIdentifier)
    : bundleIdentifier_(std::move(bundleIdentifier)) {}

FakeRunningApplication::~FakeRunningApplication() = default;

FakeWorkspace::FakeWorkspace(std::shared_ptr<FakeNotificationCenter> center)
    : center_(std::move(center)) {}

FakeWorkspace::~FakeWorkspace() = default;

std::optional<std::string> FakeWorkspace::absolutePathForAppBundleWithIdentifier(
    const std::string& bundleIdentifier) {
  std::lock_guard lock(mutex_);
  installLookups_.push_back(bundleIdentifier);
  auto found = installed_.find(bundleIdentifier);
  if (found == installed_.end()) return std::nullopt;
  return found->second;
}

std::vector<std::shared_ptr<const RunningApplication>>
FakeWorkspace::runningApplicationsWithBundleIdentifier(const std::string& bundleIdentifier) {
  std::lock_guard lock(mutex_);
  std::vector<std::shared_ptr<const RunningApplication>> matching;
  for (const auto& application : running_) {
    const foundation::Value identifier = application->bundleIdentifier();
    const std::string* text = identifier.asString();
    if (text != nullptr && *text == bundleIdentifier) matching.push_back(application);
  }
  return matching;
}

void FakeWorkspace::installApplication(const std::string& bundleIdentifier,
                                       const std::string& path) {
  std::lock_guard lock(mutex_);
  installed_.insert_or_assign(bundleIdentifier, path);
}

void FakeWorkspace::uninstallApplication(const std::string& bundleIdentifier) {
  std::lock_guard lock(mutex_);
  installed_.erase(bundleIdentifier);
}

std::shared_ptr<const FakeRunningApplication> FakeWorkspace::launchApplication(
    const foundation::Value& bundleIdentifier) {
  auto application = std::make_shared<const FakeRunningApplication>(bundleIdentifier);
  std::lock_guard lock(mutex_);
  running_.push_back(application);
  return application;
}

void FakeWorkspace::terminateApplication(
    const std::shared_ptr<const FakeRunningApplication>& application, TerminationInfo info) {
  {
    std::lock_guard lock(mutex_);
    running_.erase(std::remove(running_.begin(), running_.end(), application), running_.end());
  }
  foundation::Value::Dictionary userInfo;
  if (info == TerminationInfo::WithBundleIdentifier && application) {
    foundation::Value identifier = application->bundleIdentifier();
    if (!identifier.isNil()) {
      userInfo.emplace(std::string(kApplicationBundleIdentifierKey), std::move(identifier));
    }
  }
  Notification notification{std::string(kWorkspaceDidTerminateApplicationNotification),
                            {},
                            foundation::Value(std::move(userInfo)),
                            application};
  // Posted after the instance has left the running list, as observers expect.
  center_->post(notification, false);
}

std::vector<std::string> FakeWorkspace::installLookups() const {
  std::lock_guard lock(mutex_);
  return installLookups_;
}

}  // namespace trovadex::platform::fake
