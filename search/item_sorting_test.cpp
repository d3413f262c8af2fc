#include <gtest/gtest.h>

#include "search/item_sorting.hpp"

namespace trovadex::plugin {
namespace {

using foundation::Date;
using foundation::Value;
using platform::SearchableItem;

SearchableItem item(const std::string& id, Value::Dictionary attributes) {
  SearchableItem made;
  made.uniqueIdentifier = id;
  made.attributeSet.attributes = std::move(attributes);
  return made;
}

Value day(int n) { return Value(Date::withTimeIntervalSinceReferenceDate(86400.0 * n)); }

std::vector<std::string> sortedIds(std::vector<SearchableItem> items, const std::string& attribute,
                                   bool ascending) {
  std::vector<SearchableItem*> pointers;
  for (auto& each : items) pointers.push_back(&each);
  sortFoundItems(pointers, sortKeysForAttribute(attribute), ascending);
  std::vector<std::string> ids;
  for (const auto* each : pointers) ids.push_back(each->uniqueIdentifier);
  return ids;
}

TEST(SortKeys, FileSystemDatesBreakTiesByCreationThenReceivedDate) {
  const std::vector<std::string> tieBroken{"kMDItemContentCreationDate",
                                           "com_apple_mail_dateReceived"};
  for (const char* attribute : {"kMDItemFSContentChangeDate", "kMDItemFSCreationDate"}) {
    auto keys = sortKeysForAttribute(attribute);
    ASSERT_EQ(keys.size(), 3u);
    EXPECT_EQ(keys[0], attribute);
    EXPECT_EQ(std::vector(keys.begin() + 1, keys.end()), tieBroken);
  }
  EXPECT_EQ(sortKeysForAttribute("kMDItemLastUsedDate"),
            std::vector<std::string>{"kMDItemLastUsedDate"});
  EXPECT_EQ(sortKeysForAttribute("kMDItemSubject"), std::vector<std::string>{"kMDItemSubject"});
}

TEST(SortFoundItems, OrdersTiesOnTheCreationDateByTheTieBreakersInTheSameDirection) {
  const std::vector<SearchableItem> items{
      item("a", {{"kMDItemFSCreationDate", day(5)}, {"kMDItemContentCreationDate", day(1)}}),
      item("b", {{"kMDItemFSCreationDate", day(5)}, {"kMDItemContentCreationDate", day(3)}}),
      item("c", {{"kMDItemFSCreationDate", day(5)},
                 {"kMDItemContentCreationDate", day(3)},
                 {"com_apple_mail_dateReceived", day(9)}}),
      item("d", {{"kMDItemFSCreationDate", day(7)}}),
  };
  EXPECT_EQ(sortedIds(items, "kMDItemFSCreationDate", false),
            (std::vector<std::string>{"d", "c", "b", "a"}));
  EXPECT_EQ(sortedIds(items, "kMDItemFSCreationDate", true),
            (std::vector<std::string>{"a", "b", "c", "d"}));
}

TEST(SortFoundItems, KeepsTheEnginesOrderForTiesOnTheLastUsedDate) {
  const std::vector<SearchableItem> items{
      item("a", {{"kMDItemLastUsedDate", day(5)}, {"kMDItemContentCreationDate", day(1)}}),
      item("b", {{"kMDItemLastUsedDate", day(5)}, {"kMDItemContentCreationDate", day(3)}}),
      item("c", {{"kMDItemLastUsedDate", day(6)}}),
  };
  EXPECT_EQ(sortedIds(items, "kMDItemLastUsedDate", false),
            (std::vector<std::string>{"c", "a", "b"}));
}

TEST(SortFoundItems, PutsItemsWithoutTheKeyFirstWhenAscending) {
  const std::vector<SearchableItem> items{item("with", {{"kMDItemSubject", "b"}}),
                                          item("without", {}),
                                          item("early", {{"kMDItemSubject", "a"}})};
  EXPECT_EQ(sortedIds(items, "kMDItemSubject", true),
            (std::vector<std::string>{"without", "early", "with"}));
  EXPECT_EQ(sortedIds(items, "kMDItemSubject", false),
            (std::vector<std::string>{"with", "early", "without"}));
}

TEST(CompareAttributeValues, ComparesNumbersByValueWhateverTheirKind) {
  EXPECT_LT(compareAttributeValues(Value::integer(-1), Value::unsignedInteger(0)), 0);
  EXPECT_EQ(compareAttributeValues(Value::integer(2), Value::real(2.0)), 0);
  EXPECT_GT(compareAttributeValues(Value::unsignedInteger(UINT64_MAX), Value::integer(INT64_MAX)),
            0);
  EXPECT_LT(compareAttributeValues(Value::real(1.5), Value::integer(2)), 0);
  EXPECT_NE(compareAttributeValues(Value("1"), Value::integer(1)), 0) << "kinds differ";
}

}  // namespace
}  // namespace trovadex::plugin
