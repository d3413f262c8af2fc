// The start-up pass's plan: what is added, replaced and deleted, from the store's and the
// index's states.
#include "mailstore/indexer_sync_plan.hpp"

#include <gtest/gtest.h>

namespace trovadex::mailstore {
namespace {

using foundation::Date;
using foundation::Value;

StoredMessage stored(std::int64_t id, std::int64_t size, std::int64_t modifiedNanoseconds,
                     const char* fileName = nullptr) {
  StoredMessage message;
  message.libraryID = id;
  message.path = std::filesystem::path("/store/Data/Messages") /
                 (fileName ? fileName : (std::to_string(id) + ".emlx").c_str());
  message.fileSize = size;
  message.fileModificationNanoseconds = modifiedNanoseconds;
  return message;
}

IndexedMessageState indexedState(std::int64_t id, std::int64_t size, double modified,
                                 const char* fileName = nullptr) {
  return {fileName ? fileName : std::to_string(id) + ".emlx", size, modified};
}

std::vector<std::int64_t> ids(const std::vector<StoredMessage>& messages) {
  std::vector<std::int64_t> result;
  for (const auto& message : messages) result.push_back(message.libraryID);
  return result;
}

TEST(IndexerSyncPlan, AddsWhatIsMissingReplacesWhatChangedAndDeletesWhatIsGone) {
  constexpr std::int64_t kSecond = 1'700'000'000;
  std::vector<StoredMessage> store = {
      stored(1, 100, kSecond * 1'000'000'000 + 123'456'789),      // current
      stored(2, 100, kSecond * 1'000'000'000),                    // missing from the index
      stored(3, 120, kSecond * 1'000'000'000),                    // size changed
      stored(4, 100, (kSecond + 5) * 1'000'000'000),              // rewritten later, same size
      stored(5, 100, kSecond * 1'000'000'000, "5.partial.emlx"),  // stored partial since
      stored(6, 100, kSecond * 1'000'000'000),                    // indexed without a state
  };
  StoredMessage withoutFile;
  withoutFile.libraryID = 7;  // a row whose file is gone
  store.push_back(withoutFile);

  const std::map<std::string, std::optional<IndexedMessageState>> indexed = {
      {"1", indexedState(1, 100, kSecond + 0.123456789)},
      {"3", indexedState(3, 100, kSecond)},
      {"4", indexedState(4, 100, kSecond)},
      {"5", indexedState(5, 100, kSecond)},
      {"6", IndexedMessageState{}},
      {"7", indexedState(7, 100, kSecond)},
      {"8", indexedState(8, 100, kSecond)},  // its message was deleted
      {"not-a-message", std::nullopt},
  };
  const SynchronizationPlan plan = planSynchronization(store, indexed);
  EXPECT_EQ(ids(plan.toAdd), (std::vector<std::int64_t>{2}));
  EXPECT_EQ(ids(plan.toUpdate), (std::vector<std::int64_t>{3, 4, 5, 6}));
  EXPECT_EQ(plan.toDelete, (std::vector<std::string>{"7", "8", "not-a-message"}));
  EXPECT_EQ(plan.unchanged, 1u);
}

TEST(IndexerSyncPlan, ReadsAnItemsStateFromItsFileAttributes) {
  platform::SearchableItem item;
  item.uniqueIdentifier = "4711";
  item.attributeSet.attributes = {
      {"kMDItemFSName", Value("4711.emlx")},
      {"kMDItemFSSize", Value::integer(2048)},
      {"kMDItemFSContentChangeDate", Value(Date::withUnixTime(1700000000.5))},
  };
  const auto state = indexedStateOf(item);
  ASSERT_TRUE(state.has_value());
  EXPECT_EQ(state->first, 4711);
  EXPECT_EQ(state->second.fileName, "4711.emlx");
  EXPECT_EQ(state->second.fileSize, 2048);
  EXPECT_DOUBLE_EQ(state->second.modificationTime, 1700000000.5);

  for (const char* identifier : {"", "0", "-3", "012", "12a", "99999999999999999999"}) {
    item.uniqueIdentifier = identifier;
    EXPECT_FALSE(indexedStateOf(item).has_value()) << identifier;
  }
}

}  // namespace
}  // namespace trovadex::mailstore
