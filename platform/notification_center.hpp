// NotificationCenter: named notifications with a property-list userInfo.
//
// One port serves three centres: the distributed centre that crosses processes (the companion's
// commands and the plug-in's replies), the in-process centre (the host's will-terminate
// notification), and the workspace centre (application terminations). Observers are called on
// the main thread. post() is safe from any thread; addObserver() and removal run on the main
// thread.
#pragma once

#include <functional>
#include <memory>
#include <string>
#include <string_view>

#include "foundation/value.hpp"
#include "platform/subscription.hpp"

namespace trovadex::platform {

class RunningApplication;

// The host's orderly-quit notification, posted on the in-process centre.
inline constexpr std::string_view kApplicationWillTerminateNotification =
    "NSApplicationWillTerminateNotification";

struct Notification {
  std::string name;
  foundation::Value object;    // a string or nil
  foundation::Value userInfo;  // a dictionary or nil
  // Workspace notifications only: the application the notification is about (the platform's
  // application key of the userInfo); null elsewhere.
  std::shared_ptr<const RunningApplication> application;
};

using NotificationHandler = std::function<void(const Notification&)>;

class NotificationCenter {
 public:
  virtual ~NotificationCenter();

  // Sends a notification to every observer of its name. On the distributed centre the bus never
  // holds a notification back, so deliverImmediately is met by construction.
  virtual void postNotification(const std::string& name, const foundation::Value& object,
                                const foundation::Value& userInfo, bool deliverImmediately) = 0;

  // Calls handler on the main thread for every notification of that name, from any sender,
  // until the returned subscription is reset or destroyed.
  [[nodiscard]] virtual Subscription addObserver(const std::string& name,
                                                 NotificationHandler handler) = 0;
};

}  // namespace trovadex::platform
