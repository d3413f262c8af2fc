#include "companion/sorted_results.hpp"

#include <gtest/gtest.h>

#include <optional>
#include <string>
#include <vector>

#include "foundation/date.hpp"

namespace trovadex::companion {
namespace {

using foundation::Date;
using foundation::Value;

// A message with library ID id and the given attributes; a nil attribute is left out.
FoundMessage message(std::int64_t id, Value::Dictionary attributes) {
  return *FoundMessage::fromRecord(Value::Dictionary{
      {"attributes", Value(std::move(attributes))},
      {"libraryID", Value::integer(id)},
  });
}

FoundMessage created(std::int64_t id, std::optional<double> unixTime) {
  Value::Dictionary attributes;
  if (unixTime) attributes.emplace("kMDItemContentCreationDate", Date::withUnixTime(*unixTime));
  return message(id, std::move(attributes));
}

std::vector<std::int64_t> ids(const std::vector<FoundMessage>& messages) {
  std::vector<std::int64_t> result;
  for (const auto& found : messages) result.push_back(found.libraryID.value_or(-1));
  return result;
}

// Two deliveries, each sorted newest first on its own, as the plug-in delivers them.
std::vector<std::vector<FoundMessage>> twoSortedDeliveries() {
  return {{created(1, 500), created(2, 300), created(3, 100)},
          {created(4, 600), created(5, 400), created(6, 200)}};
}

TEST(SortedResults, OrdersAllDeliveriesTogetherNewestFirst) {
  SortedResults sorted("kMDItemContentCreationDate", false, std::nullopt);
  for (const auto& delivery : twoSortedDeliveries()) sorted.add(delivery);
  EXPECT_EQ(ids(sorted.take()), (std::vector<std::int64_t>{4, 1, 5, 2, 6, 3}));
}

TEST(SortedResults, CutsAtTheLimitOnlyAfterSortingEverything) {
  SortedResults sorted("kMDItemContentCreationDate", false, 2);
  for (const auto& delivery : twoSortedDeliveries()) sorted.add(delivery);
  EXPECT_EQ(ids(sorted.take()), (std::vector<std::int64_t>{4, 1}));

  // Many more messages than the limit, the best ones arriving last.
  SortedResults many("kMDItemContentCreationDate", true, 3);
  for (int delivery = 0; delivery < 10; ++delivery) {
    std::vector<FoundMessage> messages;
    for (int i = 0; i < 7; ++i) {
      const int id = delivery * 7 + i;
      messages.push_back(created(id, 1000 - id));
    }
    many.add(messages);
  }
  EXPECT_EQ(ids(many.take()), (std::vector<std::int64_t>{69, 68, 67}));
  EXPECT_TRUE(many.take().empty());
}

TEST(SortedResults, MissingValuesComeFirstAscendingAndLastDescending) {
  const std::vector<FoundMessage> messages{created(1, 200), created(2, std::nullopt),
                                           created(3, 100)};
  SortedResults descending("kMDItemContentCreationDate", false, std::nullopt);
  descending.add(messages);
  EXPECT_EQ(ids(descending.take()), (std::vector<std::int64_t>{1, 3, 2}));

  SortedResults ascending("kMDItemContentCreationDate", true, std::nullopt);
  ascending.add(messages);
  EXPECT_EQ(ids(ascending.take()), (std::vector<std::int64_t>{2, 3, 1}));
}

TEST(SortedResults, EqualMessagesKeepTheirArrivalOrder) {
  SortedResults sorted("kMDItemSubject", true, 4);
  for (std::int64_t id : {5, 3, 9, 1, 7, 2})
    sorted.add({message(id, {{"kMDItemSubject", "same"}})});
  EXPECT_EQ(ids(sorted.take()), (std::vector<std::int64_t>{5, 3, 9, 1}));
}

TEST(SortedResults, FileSystemDatesBreakTiesByCreationThenReceivedDate) {
  const Value sameChange = Date::withUnixTime(1000);
  auto withDates = [&](std::int64_t id, double createdAt, double receivedAt) {
    return message(id, {{"kMDItemFSContentChangeDate", sameChange},
                        {"kMDItemContentCreationDate", Date::withUnixTime(createdAt)},
                        {"com_apple_mail_dateReceived", Date::withUnixTime(receivedAt)}});
  };
  SortedResults sorted("kMDItemFSContentChangeDate", false, std::nullopt);
  sorted.add({withDates(1, 10, 1), withDates(2, 20, 1), withDates(3, 20, 5)});
  EXPECT_EQ(ids(sorted.take()), (std::vector<std::int64_t>{3, 2, 1}));
}

TEST(SortedResults, NumbersCompareByValueWhateverTheirKind) {
  SortedResults sorted("kMDItemFSSize", true, std::nullopt);
  sorted.add({message(1, {{"kMDItemFSSize", Value::unsignedInteger(10)}}),
              message(2, {{"kMDItemFSSize", Value::real(2.5)}}),
              message(3, {{"kMDItemFSSize", Value::integer(-4)}})});
  EXPECT_EQ(ids(sorted.take()), (std::vector<std::int64_t>{3, 2, 1}));
}

}  // namespace
}  // namespace trovadex::companion
