#include "platform/fake/fake_notification_center.hpp"

#include <atomic>
#include <cassert>
#include <cstdint>
#include <map>
#include <utility>

namespace trovadex::platform::fake {

struct FakeNotificationCenter::Registry {
  struct Observer {
    std::string name;
    NotificationHandler handler;
    std::atomic<bool> active{true};
  };

  std::mutex mutex;
  std::uint64_t nextId = 1;                                 // Guarded by mutex.
  std::map<std::uint64_t, std::shared_ptr<Observer>> byId;  // Guarded by mutex; in order added.

  // Calls every active observer of the notification's name, in the order they were added. The
  // list is taken first and the lock let go, so that an observer may add or remove observers
  // (itself included) or post again; one removed meanwhile is skipped.
  void deliver(const Notification& notification) {
    std::vector<std::shared_ptr<Observer>> observers;
    {
      std::lock_guard lock(mutex);
      for (const auto& [id, observer] : byId) {
        if (observer->name == notification.name) observers.push_back(observer);
      }
    }
    for (const auto& observer : observers) {
      if (observer->active.load()) observer->handler(notification);
    }
  }
};

FakeNotificationCenter::FakeNotificationCenter(std::shared_ptr<FakeDispatcher> dispatcher,
                                               NotificationDelivery delivery)
    : dispatcher_(std::move(dispatcher)),
      delivery_(delivery),
      registry_(std::make_shared<Registry>()) {
  assert(dispatcher_ && "the centre delivers through a dispatcher");
}

FakeNotificationCenter::~FakeNotificationCenter() = default;

void FakeNotificationCenter::postNotification(const std::string& name,
                                              const foundation::Value& object,
                                              const foundation::Value& userInfo,
                                              bool deliverImmediately) {
  post(Notification{name, object, userInfo, nullptr}, deliverImmediately);
}

void FakeNotificationCenter::post(const Notification& notification, bool deliverImmediately) {
  {
    std::lock_guard lock(recordMutex_);
    record_.push_back(RecordedPost{notification.name, notification.object, notification.userInfo,
                                   deliverImmediately, notification.application});
  }
  posted_.notify_all();

  if (delivery_ == NotificationDelivery::Synchronous && dispatcher_->isMainThread()) {
    registry_->deliver(notification);
    return;
  }
  dispatcher_->dispatchAsyncMain(
      [registry = registry_, notification] { registry->deliver(notification); });
}

Subscription FakeNotificationCenter::addObserver(const std::string& name,
                                                 NotificationHandler handler) {
  auto observer = std::make_shared<Registry::Observer>();
  observer->name = name;
  observer->handler = std::move(handler);
  std::uint64_t id = 0;
  {
    std::lock_guard lock(registry_->mutex);
    id = registry_->nextId++;
    registry_->byId.emplace(id, observer);
  }
  return Subscription([weakRegistry = std::weak_ptr<Registry>(registry_), id] {
    auto registry = weakRegistry.lock();
    if (!registry) return;
    std::shared_ptr<Registry::Observer> removed;
    {
      std::lock_guard lock(registry->mutex);
      auto found = registry->byId.find(id);
      if (found == registry->byId.end()) return;
      removed = std::move(found->second);
      registry->byId.erase(found);
    }
    removed->active.store(false);
  });
}

std::vector<RecordedPost> FakeNotificationCenter::posts() const {
  std::lock_guard lock(recordMutex_);
  return record_;
}

std::vector<RecordedPost> FakeNotificationCenter::postsNamed(const std::string& name) const {
  std::lock_guard lock(recordMutex_);
  std::vector<RecordedPost> named;
  for (const auto& post : record_) {
    if (post.name == name) named.push_back(post);
  }
  return named;
}

void FakeNotificationCenter::clearPosts() {
  std::lock_guard lock(recordMutex_);
  record_.clear();
}

bool FakeNotificationCenter::waitForPost(const std::string& name, std::chrono::milliseconds timeout,
                                         std::size_t count) const {
  std::unique_lock lock(recordMutex_);
  return posted_.wait_for(lock, timeout, [&] {
    std::size_t seen = 0;
    for (const auto& post : record_) {
      if (post.name == name) ++seen;
    }
    return seen >= count;
  });
}

std::size_t FakeNotificationCenter::observerCount(const std::string& name) const {
  std::lock_guard lock(registry_->mutex);
  std::size_t count = 0;
  for (const auto& [id, observer] : registry_->byId) {
    if (observer->name == name) ++count;
  }
  return count;
}

}  // namespace trovadex::platform::fake
