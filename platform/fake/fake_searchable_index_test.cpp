#include "platform/fake/fake_searchable_index.hpp"

#include <gtest/gtest.h>

#include <memory>
#include <optional>
#include <string>
#include <vector>

namespace trovadex::platform::fake {
namespace {

using Outcome = std::optional<std::optional<foundation::Error>>;  // outer: whether it completed

TEST(FakeSearchableIndex, RecordsChangesAndCompletesThemAtOnceByDefault) {
  FakeSearchableIndexFactory factory;
  auto index = factory.indexWithName("mail", "NSFileProtectionNone");
  Outcome added;
  Outcome deleted;

  index->indexSearchableItems({SearchableItem{"1", "inbox", {}, std::nullopt}},
                              [&](const auto& error) { added = error; });
  auto fake = factory.indexes().at(0);
  fake->setCompletionError(foundation::Error{"CSIndexErrorDomain", -1000, "down"});
  index->deleteSearchableItemsWithIdentifiers({"1"}, [&](const auto& error) { deleted = error; });

  ASSERT_TRUE(added.has_value());
  EXPECT_FALSE(added->has_value());
  ASSERT_TRUE(deleted.has_value() && deleted->has_value());
  EXPECT_EQ((*deleted)->code, -1000);
  EXPECT_EQ(fake->protectionClass(), "NSFileProtectionNone");
  const auto changes = fake->changes();
  ASSERT_EQ(changes.size(), 2u);
  EXPECT_EQ(changes[0].items.at(0).uniqueIdentifier, "1");
  EXPECT_EQ(changes[1].kind, IndexChange::Kind::DeleteIdentifiers);
}

TEST(FakeSearchableIndex, HeldCompletionsRunWhenTheTestSays) {
  FakeSearchableIndexFactory factory;
  auto index = factory.indexWithName("mail");
  auto fake = factory.indexes().at(0);
  fake->setCompletesAutomatically(false);
  std::vector<std::string> completed;

  index->deleteSearchableItemsWithDomainIdentifiers({"inbox"},
                                                    [&](const auto&) { completed.push_back("a"); });
  index->indexSearchableItems({}, [&](const auto&) { completed.push_back("b"); });
  EXPECT_TRUE(completed.empty());

  EXPECT_EQ(fake->completePending(), 2u);
  EXPECT_EQ(completed, (std::vector<std::string>{"a", "b"}));
  EXPECT_EQ(fake->completePending(), 0u);
  EXPECT_FALSE(fake->protectionClass().has_value());
}

}  // namespace
}  // namespace trovadex::platform::fake
