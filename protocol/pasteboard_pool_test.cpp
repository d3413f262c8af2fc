#include <gtest/gtest.h>

#include "plugin/plugin_harness.hpp"

namespace trovadex::plugin {
namespace {

using foundation::Value;
using testing::PluginHarness;

class PasteboardPool : public ::testing::Test {
 protected:
  PasteboardPool() : plugin_(harness_.start()) {}
  std::size_t released(const std::shared_ptr<platform::Pasteboard>& pasteboard) const {
    return harness_.fakes.pasteboardServer->releaseGloballyCount(pasteboard->name());
  }

  PluginHarness harness_;
  TDMailPlugin& plugin_;
};

TEST_F(PasteboardPool, MakesAUniquelyNamedPasteboardWhenEmptyAndRecordsIt) {
  auto first = plugin_.pasteboardFromPool();
  auto second = plugin_.pasteboardFromPool();
  ASSERT_NE(first, nullptr);
  ASSERT_NE(second, nullptr);
  EXPECT_NE(first->name(), second->name());
  EXPECT_EQ(plugin_.pasteboards(), (std::vector{first, second}));
  EXPECT_TRUE(plugin_.pasteboardPool().empty());
}

TEST_F(PasteboardPool, ReusesTheOldestReturnedFirst) {
  auto first = plugin_.pasteboardFromPool();
  auto second = plugin_.pasteboardFromPool();
  plugin_.pasteboardToPool(second);
  plugin_.pasteboardToPool(first);
  EXPECT_EQ(plugin_.pasteboardFromPool(), second);
  EXPECT_EQ(plugin_.pasteboardFromPool(), first);
  EXPECT_EQ(plugin_.pasteboards().size(), 2u) << "nothing new was made";
}

TEST_F(PasteboardPool, KeepsTheLastFiveOfSevenReturnsAndGivesUpTheFirstTwo) {
  std::vector<std::shared_ptr<platform::Pasteboard>> taken;
  for (int i = 0; i < 7; ++i) taken.push_back(plugin_.pasteboardFromPool());
  for (const auto& pasteboard : taken) plugin_.pasteboardToPool(pasteboard);

  EXPECT_EQ(plugin_.pasteboardPool(), (std::vector(taken.begin() + 2, taken.end())));
  EXPECT_EQ(released(taken[0]), 1u);
  EXPECT_EQ(released(taken[1]), 1u);
  for (int i = 2; i < 7; ++i) EXPECT_EQ(released(taken[i]), 0u);
  EXPECT_EQ(plugin_.pasteboards().size(), 7u) << "given-up pasteboards stay on record";
}

TEST_F(PasteboardPool, ANilReturnChangesNothing) {
  std::vector<std::shared_ptr<platform::Pasteboard>> taken;
  for (int i = 0; i < 5; ++i) taken.push_back(plugin_.pasteboardFromPool());
  for (const auto& pasteboard : taken) plugin_.pasteboardToPool(pasteboard);
  plugin_.pasteboardToPool(nullptr);
  EXPECT_EQ(plugin_.pasteboardPool(), taken);
  for (const auto& pasteboard : taken) EXPECT_EQ(released(pasteboard), 0u);
}

TEST_F(PasteboardPool, AReturnClearsTheContentsAndTheTags) {
  auto pasteboard = plugin_.pasteboardFromPool();
  const std::string type = protocol::pasteboardTypeName(protocol::PasteboardType::ResultsBatch);
  pasteboard->declareTypes({type}, &plugin_);
  ASSERT_TRUE(
      pasteboard->setPropertyList(Value::Dictionary{{"batchNumber", Value::integer(1)}}, type));
  pasteboard->setTag("uniqueName", "q1");
  pasteboard->setTag("clientName", "c1");
  pasteboard->setTag(type, "x");

  plugin_.pasteboardToPool(pasteboard);
  EXPECT_TRUE(pasteboard->propertyListForType(type).isNil());
  EXPECT_TRUE(pasteboard->tag("uniqueName").isNil());
  EXPECT_TRUE(pasteboard->tag("clientName").isNil());
  EXPECT_TRUE(pasteboard->tag(type).isNil());
}

}  // namespace
}  // namespace trovadex::plugin
