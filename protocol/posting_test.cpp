#include <gtest/gtest.h>

#include "plugin/plugin_harness.hpp"

namespace trovadex::plugin {
namespace {

using foundation::Value;
using protocol::Message;
using testing::PluginHarness;

class Posting : public ::testing::Test {
 protected:
  Posting() : plugin_(harness_.start()) {}
  std::vector<platform::fake::RecordedPost> postAndRecord(const Value& userInfo) {
    harness_.fakes.distributedCenter->clearPosts();
    plugin_.postDistributedNotificationName("org.trovadex.MailPlugin.Test", Value(), userInfo,
                                            true);
    return harness_.fakes.distributedCenter->posts();
  }

  PluginHarness harness_;
  TDMailPlugin& plugin_;
};

TEST_F(Posting, SetsTheCommonKeysOverAnyThatTheUserInfoCarries) {
  const auto posts = postAndRecord(
      Value::Dictionary{{"version", "x"}, {"compatibilityVersion", Value::integer(7)}, {"a", "b"}});
  ASSERT_EQ(posts.size(), 1u);
  EXPECT_EQ(posts[0].name, "org.trovadex.MailPlugin.Test");
  EXPECT_TRUE(posts[0].deliverImmediately);
  EXPECT_EQ(posts[0].userInfo,
            Value(Value::Dictionary{
                {"version", "1"}, {"compatibilityVersion", Value::integer(1)}, {"a", "b"}}));
}

TEST_F(Posting, MakesAUserInfoWhenThereIsNone) {
  const auto posts = postAndRecord(Value());
  ASSERT_EQ(posts.size(), 1u);
  EXPECT_EQ(posts[0].userInfo.count(), 2u);
}

TEST_F(Posting, DropsSilentlyAMessageAboutAQueryThatIsNotRegistered) {
  harness_.fakes.console->clear();
  EXPECT_TRUE(postAndRecord(Value::Dictionary{{"uniqueName", "gone"}}).empty());
  EXPECT_TRUE(postAndRecord(Value::Dictionary{{"uniqueName", Value::integer(3)}}).empty());
  EXPECT_TRUE(harness_.fakes.console->lines().empty());
}

TEST_F(Posting, PostsAboutARunningQueryUntilItIsCancelled) {
  plugin_.search(
      PluginHarness::command(Message::Search, {{"uniqueName", "q1"}, {"clientName", "c1"}}));
  EXPECT_EQ(postAndRecord(Value::Dictionary{{"uniqueName", "q1"}}).size(), 1u);

  auto engineQuery = harness_.fakes.searchQueryFactory->lastQuery();
  ASSERT_NE(engineQuery, nullptr);
  engineQuery->cancel();
  EXPECT_TRUE(postAndRecord(Value::Dictionary{{"uniqueName", "q1"}}).empty())
      << "a query that reports itself cancelled is dropped even while still filed";

  plugin_.cancelQuery("q1", Value("c1"));
  EXPECT_TRUE(postAndRecord(Value::Dictionary{{"uniqueName", "q1"}}).empty());
}

}  // namespace
}  // namespace trovadex::plugin
