#include "platform/fake/fake_notification_center.hpp"

#include <gtest/gtest.h>

#include <chrono>
#include <memory>
#include <string>
#include <thread>
#include <vector>

namespace trovadex::platform::fake {
namespace {

using foundation::Value;
using namespace std::chrono_literals;

struct Delivery {
  std::string name;
  Value userInfo;
  std::thread::id thread;
};

class FakeNotificationCenterTest : public ::testing::Test {
 protected:
  Subscription observe(FakeNotificationCenter& center, const std::string& name) {
    return center.addObserver(name, [this](const Notification& notification) {
      delivered.push_back({notification.name, notification.userInfo, std::this_thread::get_id()});
    });
  }

  std::shared_ptr<FakeDispatcher> dispatcher = std::make_shared<FakeDispatcher>();
  std::vector<Delivery> delivered;  // written on the main thread only
};

TEST_F(FakeNotificationCenterTest, SynchronousCentreDeliversMainThreadPostsBeforePostReturns) {
  FakeNotificationCenter center(dispatcher, NotificationDelivery::Synchronous);
  auto search = observe(center, "Search");
  auto other = observe(center, "Other");

  center.postNotification("Search", "client", Value(Value::Dictionary{{"uniqueName", "q1"}}), true);

  ASSERT_EQ(delivered.size(), 1u);
  EXPECT_EQ(delivered[0].name, "Search");
  EXPECT_EQ(delivered[0].userInfo["uniqueName"], Value("q1"));
  const auto posts = center.posts();
  ASSERT_EQ(posts.size(), 1u);
  EXPECT_EQ(posts[0].object, Value("client"));
  EXPECT_TRUE(posts[0].deliverImmediately);
  EXPECT_EQ(dispatcher->pendingMainCount(), 0u);
}

TEST_F(FakeNotificationCenterTest, QueuedCentreDeliversOnlyWhenTheMainQueueRuns) {
  FakeNotificationCenter center(dispatcher, NotificationDelivery::Queued);
  auto first = observe(center, "A");

  center.postNotification("A", {}, {}, false);
  center.postNotification("A", {}, Value(Value::Dictionary{{"n", Value::integer(2)}}), false);
  EXPECT_TRUE(delivered.empty());
  EXPECT_EQ(center.postsNamed("A").size(), 2u);

  EXPECT_EQ(dispatcher->runMainUntilIdle(), 2u);
  ASSERT_EQ(delivered.size(), 2u);
  EXPECT_EQ(delivered[1].userInfo["n"], Value::integer(2));
}

TEST_F(FakeNotificationCenterTest, PostsFromAnotherThreadReachObserversOnTheMainThreadOnly) {
  FakeNotificationCenter center(dispatcher, NotificationDelivery::Synchronous);
  auto updates = observe(center, "QueryHasUpdates");

  std::thread handler([&] { center.postNotification("QueryHasUpdates", {}, {}, true); });
  ASSERT_TRUE(center.waitForPost("QueryHasUpdates", 10s));
  handler.join();
  EXPECT_TRUE(delivered.empty());

  dispatcher->runMainUntilIdle();
  ASSERT_EQ(delivered.size(), 1u);
  EXPECT_EQ(delivered[0].thread, std::this_thread::get_id());
}

TEST_F(FakeNotificationCenterTest, ResetSubscriptionsHearNothingMore) {
  FakeNotificationCenter center(dispatcher, NotificationDelivery::Queued);
  auto kept = observe(center, "Clear");
  auto dropped = observe(center, "Clear");
  EXPECT_EQ(center.observerCount("Clear"), 2u);

  center.postNotification("Clear", {}, {}, true);  // queued while both still listen
  dropped.reset();
  EXPECT_EQ(center.observerCount("Clear"), 1u);
  dispatcher->runMainUntilIdle();

  EXPECT_EQ(delivered.size(), 1u);
}

TEST_F(FakeNotificationCenterTest, AnObserverMayRemoveALaterObserverOfTheSameDelivery) {
  FakeNotificationCenter center(dispatcher, NotificationDelivery::Synchronous);
  Subscription later;
  auto first = center.addObserver("Terminate", [&](const Notification&) { later.reset(); });
  later = observe(center, "Terminate");

  center.postNotification("Terminate", {}, {}, true);

  EXPECT_TRUE(delivered.empty());
  EXPECT_EQ(center.observerCount("Terminate"), 1u);
}

TEST_F(FakeNotificationCenterTest, SubscriptionMayOutliveItsCentre) {
  auto center = std::make_unique<FakeNotificationCenter>(dispatcher);
  auto subscription = observe(*center, "Connect");
  center.reset();
  subscription.reset();
  EXPECT_FALSE(subscription.active());
}

TEST_F(FakeNotificationCenterTest, RecordCanBeClearedAndWaitedOn) {
  FakeNotificationCenter center(dispatcher);
  center.postNotification("PluginReady", {}, {}, true);
  center.postNotification("PluginQuit", {}, {}, true);
  EXPECT_TRUE(center.waitForPost("PluginReady", 0ms));
  EXPECT_FALSE(center.waitForPost("PluginReady", 0ms, 2));

  center.clearPosts();
  EXPECT_TRUE(center.posts().empty());
  EXPECT_FALSE(center.waitForPost("PluginQuit", 10ms));
}

}  // namespace
}  // namespace trovadex::platform::fake
