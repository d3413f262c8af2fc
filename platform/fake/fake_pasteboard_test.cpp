#include "platform/fake/fake_pasteboard.hpp"

#include <gtest/gtest.h>

#include <memory>
#include <string>

namespace trovadex::platform::fake {
namespace {

using foundation::Value;

constexpr const char* kType = "org.trovadex.MailPlugin.ResultsBatch";

TEST(FakePasteboardServer, LookUpGivesTheSameObjectWhileAnyoneHoldsIt) {
  FakePasteboardServer server;
  auto made = server.pasteboardWithUniqueName();
  EXPECT_EQ(made->name(), "fake-1");
  made->setTag("uniqueName", "q1");

  auto found = server.pasteboardWithName("fake-1");
  EXPECT_EQ(found, made);
  EXPECT_EQ(found->tag("uniqueName"), Value("q1"));
  EXPECT_EQ(server.livePasteboard("fake-1"), made);
}

TEST(FakePasteboardServer, ANameNobodyHoldsGivesAFreshObjectOverTheSameContents) {
  FakePasteboardServer server;
  auto made = server.pasteboardWithUniqueName();
  made->setTag("clientName", "c1");
  made->declareTypes({kType}, nullptr);
  ASSERT_TRUE(
      made->setPropertyList(Value(Value::Dictionary{{"batchNumber", Value::integer(1)}}), kType));
  made.reset();
  EXPECT_EQ(server.livePasteboard("fake-1"), nullptr);

  auto again = server.pasteboardWithName("fake-1");
  // Tags belong to the object, contents to the server.
  EXPECT_TRUE(again->tag("clientName").isNil());
  EXPECT_EQ(again->propertyListForType(kType)["batchNumber"], Value::integer(1));
}

TEST(FakePasteboardServer, UniqueNamesSkipEveryNameAlreadySeen) {
  FakePasteboardServer server;
  auto byName = server.pasteboardWithName("fake-1");
  auto unique = server.pasteboardWithUniqueName();
  auto another = server.pasteboardWithUniqueName();

  EXPECT_EQ(unique->name(), "fake-2");
  EXPECT_EQ(another->name(), "fake-3");
  EXPECT_EQ(server.namesMade(), (std::vector<std::string>{"fake-1", "fake-2", "fake-3"}));
}

TEST(FakePasteboardServer, UnusableNamesGiveInertPasteboardsThatStoreNothing) {
  FakePasteboardServer server;
  for (const std::string& name : {std::string(), std::string(".hidden"), std::string("a/b"),
                                  std::string("sp ace"), std::string(201, 'n')}) {
    SCOPED_TRACE(name);
    auto inert = std::dynamic_pointer_cast<FakePasteboard>(server.pasteboardWithName(name));
    ASSERT_NE(inert, nullptr);
    EXPECT_TRUE(inert->isInert());
    inert->declareTypes({kType}, nullptr);
    EXPECT_FALSE(inert->setPropertyList(Value("x"), kType));
    EXPECT_TRUE(inert->propertyListForType(kType).isNil());
  }
  EXPECT_TRUE(server.namesMade().empty());
  EXPECT_TRUE(FakePasteboardServer::isUsableName(std::string(200, 'n')));
  EXPECT_TRUE(FakePasteboardServer::isUsableName("trovadex-12-3-Ab_c.d"));
}

TEST(FakePasteboard, StoresOnlyUnderTypesDeclaredSinceTheLastClear) {
  FakePasteboardServer server;
  auto pasteboard = std::dynamic_pointer_cast<FakePasteboard>(server.pasteboardWithUniqueName());
  const int owner = 0;

  EXPECT_FALSE(pasteboard->setPropertyList(Value("early"), kType));
  pasteboard->declareTypes({kType}, &owner);
  EXPECT_FALSE(pasteboard->setPropertyList(Value("other type"), "other"));
  EXPECT_FALSE(pasteboard->setPropertyList(Value(), kType));
  EXPECT_TRUE(pasteboard->setPropertyList(Value("batch"), kType));
  EXPECT_EQ(pasteboard->declaredOwner(), &owner);
  EXPECT_EQ(server.propertyList(pasteboard->name(), kType), Value("batch"));

  pasteboard->clearContents();
  EXPECT_TRUE(pasteboard->propertyListForType(kType).isNil());
  EXPECT_TRUE(pasteboard->declaredTypes().empty());
  EXPECT_FALSE(pasteboard->setPropertyList(Value("after clear"), kType));
  EXPECT_EQ(pasteboard->clearContentsCount(), 1u);
}

TEST(FakePasteboard, ReleasingGloballyEmptiesItAndIsCountedByTheServerToo) {
  FakePasteboardServer server;
  auto pasteboard = std::dynamic_pointer_cast<FakePasteboard>(server.pasteboardWithUniqueName());
  pasteboard->declareTypes({kType}, nullptr);
  pasteboard->setPropertyList(Value("batch"), kType);

  pasteboard->releaseGlobally();
  pasteboard->releaseGlobally();

  EXPECT_TRUE(pasteboard->propertyListForType(kType).isNil());
  EXPECT_EQ(pasteboard->releaseGloballyCount(), 2u);
  const std::string name = pasteboard->name();
  pasteboard.reset();
  EXPECT_EQ(server.releaseGloballyCount(name), 2u);
  EXPECT_EQ(server.releaseGloballyCount("never-made"), 0u);
}

}  // namespace
}  // namespace trovadex::platform::fake
