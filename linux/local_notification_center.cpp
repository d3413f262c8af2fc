#include "linux/local_notification_center.hpp"

#include <cstdint>
#include <map>
#include <vector>

#include "linux/callback_wall.hpp"

namespace trovadex::linux_platform {

struct LocalNotificationCenter::State {
  struct Observer {
    std::string name;
    platform::NotificationHandler handler;
  };

  // Immutable after construction.
  MainLoop* loop;
  std::shared_ptr<platform::Console> console;

  // Main thread only.
  std::map<std::uint64_t, Observer> observers;  // keyed in registration order
  std::uint64_t nextObserverId = 1;

  void deliver(const platform::Notification& notification) {
    std::vector<std::uint64_t> ids;
    for (const auto& [id, observer] : observers) {
      if (observer.name == notification.name) ids.push_back(id);
    }
    // An observer may add or remove observers; each one still registered is called once.
    for (std::uint64_t id : ids) {
      auto found = observers.find(id);
      if (found == observers.end()) continue;
      platform::NotificationHandler call = found->second.handler;
      runGuarded(console.get(), "notification observer", [&] { call(notification); });
    }
  }
};

LocalNotificationCenter::LocalNotificationCenter(MainLoop& loop,
                                                 std::shared_ptr<platform::Console> console)
    : state_(std::make_shared<State>()), deliveries_(loop.context(), console.get()) {
  state_->loop = &loop;
  state_->console = std::move(console);
}

LocalNotificationCenter::~LocalNotificationCenter() = default;

void LocalNotificationCenter::postNotification(const std::string& name,
                                               const foundation::Value& object,
                                               const foundation::Value& userInfo,
                                               bool /*deliverImmediately*/) {
  post(platform::Notification{name, object, userInfo, nullptr});
}

void LocalNotificationCenter::post(platform::Notification notification) {
  if (state_->loop->isMainThread()) {
    state_->deliver(notification);
    return;
  }
  deliveries_.push([weak = std::weak_ptr<State>(state_), notification = std::move(notification)] {
    if (auto state = weak.lock()) state->deliver(notification);
  });
}

platform::Subscription LocalNotificationCenter::addObserver(const std::string& name,
                                                            platform::NotificationHandler handler) {
  const std::uint64_t id = state_->nextObserverId++;
  state_->observers.emplace(id, State::Observer{name, std::move(handler)});
  return platform::Subscription([weak = std::weak_ptr<State>(state_), id] {
    if (auto state = weak.lock()) state->observers.erase(id);
  });
}

}  // namespace trovadex::linux_platform
