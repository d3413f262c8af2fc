#include <gtest/gtest.h>

#include "search/search_fixture.hpp"
#include "search/td_mail_plugin_query.hpp"

namespace trovadex::plugin {
namespace {

using foundation::Value;
using protocol::Message;
using protocol::PasteboardType;
using testing::found;
using testing::kWaitTimeout;
using testing::mailItem;
using testing::mailItems;

class FoundItems : public testing::SearchFixture {
 protected:
  // Runs one live query through script and returns its QueryHasUpdates userInfos.
  std::vector<Value> updatesOf(platform::fake::SearchScript script, Value::Dictionary extra = {}) {
    auto query = search("q1", std::move(script), std::move(extra));
    EXPECT_TRUE(query->waitUntilIdle(kWaitTimeout));
    return userInfos(Message::QueryHasUpdates);
  }
  static std::vector<std::uint64_t> numbers(const std::vector<Value>& updates,
                                            std::string_view key) {
    std::vector<std::uint64_t> values;
    for (const Value& update : updates) values.push_back(update[key].unsignedLongLongValue());
    return values;
  }
  std::vector<std::size_t> messageCounts(const std::vector<Value>& updates) const {
    std::vector<std::size_t> counts;
    for (const Value& update : updates) {
      counts.push_back(payload(update, PasteboardType::ResultsBatch)["messages"].count());
    }
    return counts;
  }
  std::vector<std::int64_t> libraryIDs(const Value& update) const {
    std::vector<std::int64_t> ids;
    const Value messages = payload(update, PasteboardType::ResultsBatch)["messages"];
    for (std::size_t i = 0; i < messages.count(); ++i)
      ids.push_back(messages.at(i)["libraryID"].integerValue());
    return ids;
  }
};

TEST_F(FoundItems, OfADeliveryOf749ReportTheFoundCountLessTheDroppedMessages) {
  auto items = mailItems(1, 746);
  for (int n = 0; n < 3; ++n) items.push_back(testing::unresolvableItem(n));
  const auto updates = updatesOf({found(items, 10000)});
  ASSERT_EQ(updates.size(), 1u);
  EXPECT_EQ(messageCounts(updates), std::vector<std::size_t>{746});
  EXPECT_EQ(numbers(updates, "foundItemCount"), std::vector<std::uint64_t>{9997});
}

TEST_F(FoundItems, OfADeliveryOfExactly750ReportTheMessagesDeliveredSoFarInOneBatch) {
  const auto updates = updatesOf({found(mailItems(1, 750), 10000)});
  EXPECT_EQ(messageCounts(updates), std::vector<std::size_t>{750});
  EXPECT_EQ(numbers(updates, "foundItemCount"), std::vector<std::uint64_t>{750});
}

TEST_F(FoundItems, OfABigDeliveryComeIn750ThenChunksOf1500) {
  const auto updates = updatesOf({found(mailItems(1, 3000), 10000)});
  EXPECT_EQ(messageCounts(updates), (std::vector<std::size_t>{750, 1500, 750}));
  EXPECT_EQ(numbers(updates, "foundItemCount"), (std::vector<std::uint64_t>{750, 2250, 10000}));
  EXPECT_EQ(numbers(updates, "batchNumber"), (std::vector<std::uint64_t>{1, 2, 3}));
}

TEST_F(FoundItems, OfAVeryLargeResultSetComeInChunksOf2000) {
  const auto updates = updatesOf({found(mailItems(1, 3000), 10001)});
  EXPECT_EQ(messageCounts(updates), (std::vector<std::size_t>{750, 2000, 250}));
  EXPECT_EQ(numbers(updates, "foundItemCount"), (std::vector<std::uint64_t>{750, 2750, 10001}));
}

TEST_F(FoundItems, DroppedInAnEarlyChunkStillLowerTheFinalCount) {
  auto items = mailItems(1, 740);
  for (int n = 0; n < 10; ++n) items.push_back(testing::unresolvableItem(n));
  auto rest = mailItems(1000, 250);
  items.insert(items.end(), rest.begin(), rest.end());
  const auto updates = updatesOf({found(items, 5000)});
  EXPECT_EQ(messageCounts(updates), (std::vector<std::size_t>{740, 250}));
  EXPECT_EQ(numbers(updates, "foundItemCount"), (std::vector<std::uint64_t>{740, 4990}));
}

TEST_F(FoundItems, AlreadyDeliveredMessagesAreSkippedAcrossDeliveries) {
  platform::SearchableItems first = mailItems(1, 10);
  platform::SearchableItems second = mailItems(5, 11);  // 5..15: 11..15 are new
  platform::SearchableItem anonymous;
  anonymous.filePath = "/mail/anonymous.emlx";
  first.push_back(anonymous);
  second.push_back(anonymous);  // without a library ID an item is never de-duplicated

  const auto updates = updatesOf({found(first), found(second)});
  ASSERT_EQ(updates.size(), 2u);
  EXPECT_EQ(messageCounts(updates), (std::vector<std::size_t>{11, 6}));
  EXPECT_EQ(libraryIDs(updates[1]), (std::vector<std::int64_t>{11, 12, 13, 14, 15, 0}));
  const Value messages = payload(updates[1], PasteboardType::ResultsBatch)["messages"];
  EXPECT_EQ(messages.at(0)["index"], Value::unsignedInteger(11)) << "numbering goes on";
  EXPECT_EQ(plugin_.queryNamed("q1")->messageIDs().size(), 15u);
}

TEST_F(FoundItems, AreSortedPerDeliveryWithTheTieBreakers) {
  auto day = [](int n) {
    return Value(foundation::Date::withTimeIntervalSinceReferenceDate(86400.0 * n));
  };
  platform::SearchableItems items{
      mailItem(1, {{"kMDItemFSCreationDate", day(5)}, {"kMDItemContentCreationDate", day(1)}}),
      mailItem(2, {{"kMDItemFSCreationDate", day(5)}, {"kMDItemContentCreationDate", day(3)}}),
      mailItem(3, {{"kMDItemFSCreationDate", day(8)}}),
      mailItem(4, {{"kMDItemFSCreationDate", day(5)},
                   {"kMDItemContentCreationDate", day(3)},
                   {"com_apple_mail_dateReceived", day(4)}}),
  };
  const auto updates = updatesOf({found(items)}, {{"sortingAttribute", "kMDItemFSCreationDate"}});
  ASSERT_EQ(updates.size(), 1u);
  EXPECT_EQ(libraryIDs(updates[0]), (std::vector<std::int64_t>{3, 4, 2, 1}));
}

TEST_F(FoundItems, SortedOnTheLastUsedDateHaveNoTieBreaker) {
  auto day = [](int n) {
    return Value(foundation::Date::withTimeIntervalSinceReferenceDate(86400.0 * n));
  };
  platform::SearchableItems items{
      mailItem(1, {{"kMDItemLastUsedDate", day(5)}, {"kMDItemContentCreationDate", day(1)}}),
      mailItem(2, {{"kMDItemLastUsedDate", day(5)}, {"kMDItemContentCreationDate", day(3)}}),
      mailItem(3, {{"kMDItemLastUsedDate", day(2)}}),
  };
  const auto updates = updatesOf({found(items)}, {{"sortingAttribute", "kMDItemLastUsedDate"},
                                                  {"sortAscending", Value::boolean(true)}});
  ASSERT_EQ(updates.size(), 1u);
  EXPECT_EQ(libraryIDs(updates[0]), (std::vector<std::int64_t>{3, 1, 2}));
}

TEST_F(FoundItems, ListTheBatchesStillPendingInEachAnnouncement) {
  auto query = search("q1", {found(mailItems(1, 5)), found(mailItems(10, 5))});
  ASSERT_TRUE(query->waitUntilIdle(kWaitTimeout));
  auto updates = userInfos(Message::QueryHasUpdates);
  ASSERT_EQ(updates.size(), 2u);
  ASSERT_TRUE(updates[0]["pendingBatches"].isArray());
  EXPECT_EQ(updates[0]["pendingBatches"].count(), 0u);
  EXPECT_EQ(updates[1]["pendingBatches"],
            Value(Value::Array{Value::Dictionary{{"batchNumber", Value::unsignedInteger(1)},
                                                 {"batchName", updates[0]["batchName"]}}}));

  plugin_.clear(testing::PluginHarness::command(
      Message::Clear,
      {{"uniqueName", "q1"}, {"clientName", "c1"}, {"batchName", updates[0]["batchName"]}}));
  query->appendSteps({found(mailItems(20, 5))});
  ASSERT_TRUE(harness_.waitForPosts(Message::QueryHasUpdates, 3));
  updates = userInfos(Message::QueryHasUpdates);
  ASSERT_EQ(updates[2]["pendingBatches"].count(), 1u);
  EXPECT_EQ(updates[2]["pendingBatches"].at(0)["batchNumber"], Value::unsignedInteger(2));
}

TEST_F(FoundItems, TravelAsAResultsBatchOnATaggedPendingPasteboard) {
  const Value::Dictionary command{{"clientName", "c1"},
                                  {"queryString", "kMDItemSubject == \"x\""},
                                  {"version", "3.1"},
                                  {"lineageName", "L"}};
  const auto updates = updatesOf({found(mailItems(7, 2), 40)}, command);
  ASSERT_EQ(updates.size(), 1u);
  const Value& update = updates[0];
  for (const auto& [key, value] : command) {
    if (key != "version") {
      EXPECT_EQ(update[key], value) << key;
    }
  }
  EXPECT_EQ(update["uniqueName"], Value("q1"));
  EXPECT_EQ(update["batchNumber"].kind(), Value::Kind::Unsigned);
  EXPECT_EQ(update["foundItemCount"].kind(), Value::Kind::Unsigned);

  const std::string batchName = *update["batchName"].asString();
  auto pasteboard = harness_.fakes.pasteboardServer->livePasteboard(batchName);
  ASSERT_NE(pasteboard, nullptr);
  const std::string type = protocol::pasteboardTypeName(PasteboardType::ResultsBatch);
  EXPECT_EQ(pasteboard->declaredTypes(), std::vector<std::string>{type});
  EXPECT_EQ(pasteboard->declaredOwner(), &plugin_);
  EXPECT_EQ(pasteboard->tag("uniqueName"), Value("q1"));
  EXPECT_EQ(pasteboard->tag("clientName"), Value("c1"));

  const Value batch = payload(update, PasteboardType::ResultsBatch);
  EXPECT_EQ(batch["foundItemCount"], Value::unsignedInteger(40));
  EXPECT_EQ(batch["batchNumber"], Value::unsignedInteger(1));
  EXPECT_EQ(batch["queryString"], Value("kMDItemSubject == \"x\""));
  EXPECT_EQ(batch["uniqueName"], Value("q1"));
  EXPECT_EQ(batch["clientName"], Value("c1"));
  const Value first = testing::messageAt(batch, 0);
  EXPECT_EQ(first["kMDItemPath"], Value("/mail/7.emlx"));
  EXPECT_EQ(first["libraryID"], Value::integer(7));
  EXPECT_EQ(first["index"], Value::unsignedInteger(0));
  EXPECT_EQ(first["attributes"]["_kMDItemExternalID"], Value::integer(7));

  const auto pending = plugin_.pendingBatchesOf("q1");
  ASSERT_EQ(pending.size(), 1u);
  EXPECT_EQ(pending[0].batchName, batchName);
  EXPECT_EQ(pending[0].batchNumber, 1u);
  EXPECT_EQ(pending[0].pasteboard.get(), pasteboard.get());
  EXPECT_EQ(harness_.consoleLines("TDMailPlugin post org.trovadex.MailPlugin.QueryHasUpdates"),
            std::vector<std::string>{"TrovadexMailPlugin - q1 - TDMailPlugin post "
                                     "org.trovadex.MailPlugin.QueryHasUpdates / " +
                                     batchName + " - 1 - 2"});
  EXPECT_TRUE(harness_.consoleLines(": batchNumber").empty())
      << "detail lines need a log level above 1";
}

TEST_F(FoundItems, TakeTheirDisplayNameFromTheNameTheSubjectOrTheFile) {
  platform::SearchableItem fromPath = mailItem(3);
  fromPath.filePath.reset();
  fromPath.attributeSet.attributes.emplace("kMDItemPath", "/mail/three.emlx");
  const auto updates =
      updatesOf({found({mailItem(1, {{"kMDItemDisplayName", "Named"}, {"kMDItemSubject", "S"}}),
                        mailItem(2, {{"kMDItemSubject", "Subject only"}}), fromPath})});
  ASSERT_EQ(updates.size(), 1u);
  const Value batch = payload(updates[0], PasteboardType::ResultsBatch);
  EXPECT_EQ(testing::messageAt(batch, 0)["attributes"]["kMDItemDisplayName"], Value("Named"));
  EXPECT_EQ(testing::messageAt(batch, 1)["attributes"]["kMDItemDisplayName"],
            Value("Subject only"));
  EXPECT_EQ(testing::messageAt(batch, 2)["attributes"]["kMDItemDisplayName"], Value("three.emlx"));
  EXPECT_EQ(testing::messageAt(batch, 2)["kMDItemPath"], Value("/mail/three.emlx"));
}

TEST_F(FoundItems, WithoutAPathAreResolvedThroughTheMailLibrary) {
  ASSERT_TRUE(harness_.fakes.mailLibrary->addMessage(42, 5).ok());
  const auto updates = updatesOf({found({mailItem(42, {}, /*withPath=*/false)})});
  ASSERT_EQ(updates.size(), 1u);
  const Value message = testing::messageAt(payload(updates[0], PasteboardType::ResultsBatch), 0);
  EXPECT_EQ(message["kMDItemPath"],
            Value(harness_.fakes.mailLibrary->dataPathForMessage(42, 5, 0).value_or("")));
}

TEST_F(FoundItems, AreDroppedSilentlyWhenAttributeSetsOfferNoAttributes) {
  harness_.fakes.searchQueryFactory->setAttributeSetsRespondToAttributes(false);
  const auto updates = updatesOf({found(mailItems(1, 5))});
  EXPECT_TRUE(updates.empty());
  EXPECT_EQ(harness_.consoleLines("TDMailPlugin found items 5").size(), 1u);
  EXPECT_TRUE(plugin_.pasteboards().empty());
}

}  // namespace
}  // namespace trovadex::plugin
