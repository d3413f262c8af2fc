// FakeNotificationCenter: a notification centre that records every post and delivers it to the
// observers of its name on the main thread of a FakeDispatcher.
//
// In Queued delivery every post becomes one item of main work (as the distributed centre's
// delivery on a later pass of the run loop). In Synchronous delivery a post made on the main
// thread reaches the observers before post returns (as the in-process centre), while a post
// from any other thread is still queued as main work: observers never run off the main thread.
// Observers are looked up when the delivery runs. Posting, the record and the waits are safe
// from any thread; observers are added and removed on the main thread.
#pragma once

#include <chrono>
#include <condition_variable>
#include <cstddef>
#include <memory>
#include <mutex>
#include <string>
#include <vector>

#include "platform/fake/fake_dispatcher.hpp"
#include "platform/notification_center.hpp"

namespace trovadex::platform::fake {

enum class NotificationDelivery { Queued, Synchronous };

// One post as the centre received it.
struct RecordedPost {
  std::string name;
  foundation::Value object;
  foundation::Value userInfo;
  bool deliverImmediately = false;
  std::shared_ptr<const RunningApplication> application;
};

class FakeNotificationCenter final : public NotificationCenter {
 public:
  FakeNotificationCenter(std::shared_ptr<FakeDispatcher> dispatcher,
                         NotificationDelivery delivery = NotificationDelivery::Synchronous);
  ~FakeNotificationCenter() override;

  void postNotification(const std::string& name, const foundation::Value& object,
                        const foundation::Value& userInfo, bool deliverImmediately) override;
  [[nodiscard]] Subscription addObserver(const std::string& name,
                                         NotificationHandler handler) override;

  // Posts a whole notification, its application field included (the workspace's terminations).
  void post(const Notification& notification, bool deliverImmediately);

  // The record, oldest first, since construction or the last clearPosts().
  std::vector<RecordedPost> posts() const;
  std::vector<RecordedPost> postsNamed(const std::string& name) const;
  void clearPosts();
  // Waits until the record holds at least count posts of that name; false on timeout.
  bool waitForPost(const std::string& name, std::chrono::milliseconds timeout,
                   std::size_t count = 1) const;

  // Observers of that name not yet removed.
  std::size_t observerCount(const std::string& name) const;

 private:
  struct Registry;

  // Immutable after construction.
  const std::shared_ptr<FakeDispatcher> dispatcher_;
  const NotificationDelivery delivery_;
  // Shared with queued deliveries and with subscriptions, which may outlive the centre.
  const std::shared_ptr<Registry> registry_;

  mutable std::mutex recordMutex_;
  mutable std::condition_variable posted_;
  std::vector<RecordedPost> record_;  // Guarded by recordMutex_.
};

}  // namespace trovadex::platform::fake
