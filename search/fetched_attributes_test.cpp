#include <set>

#include <gtest/gtest.h>

#include "plugin/plugin_harness.hpp"

namespace trovadex::plugin {
namespace {

using testing::PluginHarness;

TEST(FetchedAttributes, HoldNinetyDistinctNamesOfEveryFamily) {
  PluginHarness harness;
  const auto& names = TDMailPlugin::fetchedAttributes(harness.context);
  const std::set<std::string> distinct(names.begin(), names.end());
  EXPECT_EQ(names.size(), 90u);
  EXPECT_EQ(distinct.size(), 90u);
  for (const char* name : {":MD:DeviceId", ":MD:kMDItemPath", "_kMDItemExternalID",
                           "kMDItemAuthors", "kMDItemEmailAddresses", "com_apple_metadata_modtime",
                           "com_apple_mail_attachmentSpecificTypes", "kMDItemComment",
                           "kMDItemFSContentChangeDate", "kMDItemLastUsedDate"}) {
    EXPECT_EQ(distinct.count(name), 1u) << name;
  }
}

TEST(FetchedAttributes, AreBuiltOnceAndShared) {
  PluginHarness harness;
  const auto* first = &TDMailPlugin::fetchedAttributes(harness.context);
  EXPECT_EQ(&TDMailPlugin::fetchedAttributes(harness.context), first);
}

TEST(BuildQueryWithString, AsksForTheListOnlyWhenAllAttributesAreWanted) {
  PluginHarness harness;
  auto bare = TDMailPlugin::buildQueryWithString(harness.context, "kMDItemSubject = \"x\"", false);
  ASSERT_NE(bare, nullptr);
  EXPECT_TRUE(bare->fetchAttributes().isNil());
  EXPECT_EQ(harness.context.fetchedAttributes.size(), 90u) << "built whatever the flag";

  auto full = TDMailPlugin::buildQueryWithString(harness.context, "", true);
  ASSERT_NE(full, nullptr);
  EXPECT_EQ(full->fetchAttributes().count(), 90u);
  const auto requests = harness.fakes.searchQueryFactory->requests();
  ASSERT_EQ(requests.size(), 2u);
  EXPECT_EQ(requests[0].queryString, "kMDItemSubject = \"x\"");
  EXPECT_FALSE(requests[0].attributes.has_value());
  EXPECT_EQ(requests[1].queryString, "") << "an empty string goes to the engine unchanged";
  EXPECT_EQ(requests[1].attributes, harness.context.fetchedAttributes);
  EXPECT_FALSE(harness.fakes.searchQueryFactory->lastQuery()->isStarted()) << "made, not started";
}

TEST(BuildQueryWithString, GivesNothingWhenTheEngineRefuses) {
  PluginHarness harness;
  harness.fakes.searchQueryFactory->setReturnsNullQueries(true);
  EXPECT_EQ(TDMailPlugin::buildQueryWithString(harness.context, "x", true), nullptr);
}

}  // namespace
}  // namespace trovadex::plugin
