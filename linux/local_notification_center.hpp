// LocalNotificationCenter: an in-process notification centre on the main loop.
//
// A post on the main thread reaches its observers before post() returns, in the order they were
// added; a post from another thread is delivered on the main thread on a later pass. Construct
// and destroy on the main thread; post() is safe from any thread; observers are added and
// removed on the main thread.
#pragma once

#include <memory>
#include <string>

#include "linux/main_loop.hpp"
#include "linux/main_thread_queue.hpp"
#include "platform/console.hpp"
#include "platform/notification_center.hpp"

namespace trovadex::linux_platform {

class LocalNotificationCenter final : public platform::NotificationCenter {
 public:
  // loop must outlive the centre; console (may be null) receives a line when an observer throws.
  LocalNotificationCenter(MainLoop& loop, std::shared_ptr<platform::Console> console);
  ~LocalNotificationCenter() override;
  LocalNotificationCenter(const LocalNotificationCenter&) = delete;
  LocalNotificationCenter& operator=(const LocalNotificationCenter&) = delete;

  void postNotification(const std::string& name, const foundation::Value& object,
                        const foundation::Value& userInfo, bool deliverImmediately) override;
  [[nodiscard]] platform::Subscription addObserver(const std::string& name,
                                                   platform::NotificationHandler handler) override;

  // Posts a notification that carries an application (the workspace's terminations).
  void post(platform::Notification notification);

 private:
  struct State;
  std::shared_ptr<State> state_;  // Pending deliveries and subscriptions hold it weakly.
  MainThreadQueue deliveries_;    // Notifications posted on other threads.
};

}  // namespace trovadex::linux_platform
