#include "desktop/shell_results.hpp"
#include "desktop/shell_search.hpp"

#include <gtest/gtest.h>

#include <optional>
#include <string>
#include <vector>

namespace trovadex::desktop {
namespace {

using foundation::Date;
using foundation::Value;

// A record as a results batch carries it; a date of nothing leaves the attribute out.
companion::FoundMessage message(std::int64_t libraryID, std::optional<double> unixDate,
                                Value::Dictionary attributes = {}) {
  if (unixDate) attributes.emplace(kResultDateAttribute, Date::withUnixTime(*unixDate));
  const Value record =
      Value::Dictionary{{"attributes", std::move(attributes)},
                        {"kMDItemPath", "/mail/" + std::to_string(libraryID) + ".emlx"},
                        {"libraryID", Value::integer(libraryID)}};
  return *companion::FoundMessage::fromRecord(record);
}

std::vector<std::string> identifiers(const NewestResults& newest) {
  std::vector<std::string> ids;
  for (const auto& result : newest.results()) ids.push_back(result.identifier);
  return ids;
}

TEST(ShellResult, ShowsSubjectFirstAuthorAndMinuteOfTheDate) {
  auto result = ShellResult::fromMessage(
      message(7, 1750526220,  // 2025-06-21 17:17:00 UTC
              {{"kMDItemSubject", "Quarterly report"},
               {"kMDItemAuthors", Value::Array{"Zoë Quillfeather", "Bob"}}}));
  ASSERT_TRUE(result);
  EXPECT_EQ(result->identifier, "7");
  EXPECT_EQ(result->path, "/mail/7.emlx");
  EXPECT_EQ(result->title(), "Quarterly report");
  EXPECT_EQ(result->description(), "Zoë Quillfeather \u2014 2025-06-21 17:17");
}

TEST(ShellResult, FallsBackToAddressesAndLeavesOutWhatIsUnknown) {
  auto addressOnly = ShellResult::fromMessage(
      message(1, std::nullopt, {{"kMDItemAuthorEmailAddresses", Value::Array{"a@example.org"}}}));
  ASSERT_TRUE(addressOnly);
  EXPECT_EQ(addressOnly->title(), "(no subject)");
  EXPECT_EQ(addressOnly->description(), "a@example.org");

  auto dateOnly = ShellResult::fromMessage(message(2, 0));
  ASSERT_TRUE(dateOnly);
  EXPECT_EQ(dateOnly->description(), "1970-01-01 00:00");
}

TEST(ShellResult, NeedsALibraryIDAndAPath) {
  const Value noID = Value::Dictionary{{"kMDItemPath", "/mail/1.emlx"}};
  EXPECT_FALSE(ShellResult::fromMessage(*companion::FoundMessage::fromRecord(noID)));
  const Value noPath = Value::Dictionary{{"libraryID", Value::integer(3)}};
  EXPECT_FALSE(ShellResult::fromMessage(*companion::FoundMessage::fromRecord(noPath)));
}

TEST(NewestResults, KeepsTheNewestUpToItsBoundNewestFirstAcrossBatches) {
  NewestResults newest(3);
  newest.add(message(1, 100));
  newest.add(message(2, 400));
  newest.add(message(3, std::nullopt));  // undated: the oldest
  newest.add(message(4, 300));
  EXPECT_EQ(identifiers(newest), (std::vector<std::string>{"2", "4", "1"}));
  newest.add(message(5, 50));  // older than everything kept: dropped
  newest.add(message(6, 500));
  EXPECT_EQ(identifiers(newest), (std::vector<std::string>{"6", "2", "4"}));
}

TEST(NewestResults, KeepsEachMessageOnceAndEqualDatesInArrivalOrder) {
  NewestResults newest(5);
  newest.add(message(1, 200));
  newest.add(message(2, 200));
  newest.add(message(1, 200));
  newest.add(message(3, std::nullopt));
  newest.add(message(4, std::nullopt));
  EXPECT_EQ(identifiers(newest), (std::vector<std::string>{"1", "2", "3", "4"}));
}

TEST(JoinedTerms, JoinsWithSingleSpacesSkippingEmptyTerms) {
  EXPECT_EQ(joinedTerms({"invoice", "", "march"}), "invoice march");
  EXPECT_EQ(joinedTerms({}), "");
}

}  // namespace
}  // namespace trovadex::desktop
