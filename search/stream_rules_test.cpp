// Rules of the result stream that nothing else in the plug-in would notice breaking: chunk sizes
// per delivery, the path an item carries itself, removal chunks at their exact size, and a query
// cancelled while its handler is half-way through a delivery.
#include <gtest/gtest.h>

#include <atomic>
#include <functional>

#include "platform/file_manager.hpp"
#include "search/search_fixture.hpp"
#include "search/td_mail_plugin_query.hpp"

namespace trovadex::plugin {
namespace {

using foundation::Value;
using platform::fake::RemovedItemsStep;
using protocol::Message;
using protocol::PasteboardType;
using testing::found;
using testing::kWaitTimeout;
using testing::mailItem;
using testing::mailItems;

using StreamRules = testing::SearchFixture;

TEST_F(StreamRules, EachDeliveryStartsItsChunksAgainAt750) {
  auto query = search("q1", {found(mailItems(1, 1000), 5000), found(mailItems(2001, 1000), 5000)});
  ASSERT_TRUE(query->waitUntilIdle(kWaitTimeout));
  const auto updates = userInfos(Message::QueryHasUpdates);
  std::vector<std::size_t> counts;
  for (const Value& update : updates) {
    counts.push_back(payload(update, PasteboardType::ResultsBatch)["messages"].count());
  }
  EXPECT_EQ(counts, (std::vector<std::size_t>{750, 250, 750, 250}));
  ASSERT_EQ(updates.size(), 4u);
  EXPECT_EQ(updates[2]["foundItemCount"], Value::unsignedInteger(1750))
      << "an intermediate batch counts every message delivered so far";
}

TEST_F(StreamRules, AnItemsOwnFilePathWinsOverItsPathAttribute) {
  platform::SearchableItem both = mailItem(1, {{"kMDItemPath", "/elsewhere/1.emlx"}});
  platform::SearchableItem attributeOnly =
      mailItem(2, {{"kMDItemPath", "/elsewhere/2.emlx"}}, /*withPath=*/false);
  auto query = search("q1", {found({both, attributeOnly})});
  ASSERT_TRUE(query->waitUntilIdle(kWaitTimeout));
  const auto updates = userInfos(Message::QueryHasUpdates);
  ASSERT_EQ(updates.size(), 1u);
  const Value batch = payload(updates[0], PasteboardType::ResultsBatch);
  EXPECT_EQ(testing::messageAt(batch, 0)["kMDItemPath"], Value("/mail/1.emlx"));
  EXPECT_EQ(testing::messageAt(batch, 1)["kMDItemPath"], Value("/elsewhere/2.emlx"));
}

TEST_F(StreamRules, RemovalsFillChunksOfExactly1000) {
  auto identifiers = [](std::size_t count) {
    Value::Array ids;
    for (std::size_t i = 0; i < count; ++i) ids.emplace_back(std::to_string(i));
    return Value(std::move(ids));
  };
  auto query =
      search("q1", {RemovedItemsStep{identifiers(1000)}, RemovedItemsStep{identifiers(1001)}});
  ASSERT_TRUE(query->waitUntilIdle(kWaitTimeout));
  std::vector<std::size_t> sizes;
  for (const Value& removal : userInfos(Message::QueryHasRemovals)) {
    sizes.push_back(payload(removal, PasteboardType::RemovalBatch)["messageIDs"].count());
  }
  EXPECT_EQ(sizes, (std::vector<std::size_t>{1000, 1000, 1}))
      << "exactly 1000 is one full chunk and no empty second one";
}

// A file manager that cancels the query when it is asked for the display name of one path, and
// counts what it is asked afterwards. The found-items handler asks it for every message that has
// a path but neither a display name nor a subject.
class CancellingFileManager final : public platform::FileManager {
 public:
  explicit CancellingFileManager(std::shared_ptr<platform::FileManager> inner)
      : inner_(std::move(inner)) {}

  void cancelAt(std::string path, std::function<void()> cancel) {
    triggerPath_ = std::move(path);
    cancel_ = std::move(cancel);
  }
  std::size_t callsAfterCancel() const { return callsAfterCancel_.load(); }

  bool fileExistsAtPath(const std::string& path) const override {
    if (cancelled_.load()) ++callsAfterCancel_;
    return inner_->fileExistsAtPath(path);
  }
  foundation::Result<std::string> trashItemAtPath(const std::string& path) override {
    return inner_->trashItemAtPath(path);
  }
  foundation::Status removeItemAtPath(const std::string& path) override {
    return inner_->removeItemAtPath(path);
  }
  std::string displayNameAtPath(const std::string& path) const override {
    if (cancelled_.load()) ++callsAfterCancel_;
    if (path == triggerPath_ && !cancelled_.exchange(true)) cancel_();
    return inner_->displayNameAtPath(path);
  }
  std::string userLibraryDirectory() const override { return inner_->userLibraryDirectory(); }

 private:
  const std::shared_ptr<platform::FileManager> inner_;
  // Set before the query starts, read on its handler thread.
  std::string triggerPath_;
  std::function<void()> cancel_;
  mutable std::atomic<bool> cancelled_{false};
  mutable std::atomic<std::size_t> callsAfterCancel_{0};
};

class CancelledMidDelivery : public ::testing::Test {
 protected:
  CancelledMidDelivery()
      : harness_(testing::PluginHarness::queuedDelivery(),
                 [this](platform::Ports& ports) {
                   fileManager_ = std::make_shared<CancellingFileManager>(ports.fileManager);
                   ports.fileManager = fileManager_;
                 }),
        plugin_(harness_.start()) {}

  // Runs q1 over items, cancelling it when the display name of triggerPath is asked for.
  void runCancellingAt(platform::SearchableItems items, const std::string& triggerPath) {
    fileManager_->cancelAt(triggerPath, [this] { plugin_.cancelQuery("q1", Value("c1")); });
    harness_.fakes.searchQueryFactory->queueScript({found(std::move(items), 5000)});
    plugin_.search(testing::PluginHarness::command(Message::Search,
                                                   {{"uniqueName", "q1"}, {"clientName", "c1"}}));
    // The cancel can drop the query before it is looked up here; a query nobody holds has no
    // handler running any more (a running handler keeps its query alive).
    if (auto query = harness_.fakes.searchQueryFactory->lastQuery()) {
      ASSERT_TRUE(query->waitUntilFinished(kWaitTimeout));
    }
  }

  std::shared_ptr<CancellingFileManager> fileManager_;
  testing::PluginHarness harness_;
  TDMailPlugin& plugin_;
};

TEST_F(CancelledMidDelivery, TheNextElementFindsTheQueryGoneAndNothingMoreIsPosted) {
  runCancellingAt(mailItems(1, 1000), "/mail/760.emlx");
  EXPECT_EQ(harness_.posts(Message::QueryHasUpdates).size(), 1u) << "only the first 750";
  EXPECT_EQ(fileManager_->callsAfterCancel(), 0u) << "no element after the cancel was shaped";
}

TEST_F(CancelledMidDelivery, TheFinalChunkIsNotResolvedOnceTheQueryIsGone) {
  // Messages without a path are resolved through the library when their chunk is flushed; the
  // last message, which has one, cancels the query while it is shaped.
  platform::SearchableItems items;
  for (std::int64_t id = 1; id <= 5; ++id) items.push_back(mailItem(id, {}, /*withPath=*/false));
  items.push_back(mailItem(6));
  runCancellingAt(std::move(items), "/mail/6.emlx");
  EXPECT_TRUE(harness_.posts(Message::QueryHasUpdates).empty());
  EXPECT_EQ(harness_.fakes.mailLibrary->database().readBlockCount(), 0u)
      << "the final chunk was looked up after the cancel";
  EXPECT_EQ(fileManager_->callsAfterCancel(), 0u);
}

}  // namespace
}  // namespace trovadex::plugin
