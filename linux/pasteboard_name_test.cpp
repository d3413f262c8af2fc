#include "linux/pasteboard_name.hpp"

#include <gtest/gtest.h>

#include <string>

namespace trovadex::linux_platform {
namespace {

TEST(PasteboardName, AcceptsTheAllowedCharactersUpToTwoHundredBytes) {
  EXPECT_TRUE(isValidPasteboardName("org.trovadex.MailPlugin.ResultsBatch"));
  EXPECT_TRUE(isValidPasteboardName("A-z_0.9"));
  EXPECT_TRUE(isValidPasteboardName(std::string(200, 'a')));
}

TEST(PasteboardName, RefusesPathsHiddenNamesAndOverlongOrEmptyNames) {
  for (const std::string& bad :
       {std::string("../x"), std::string("a/b"), std::string(".hidden"), std::string(".."),
        std::string(300, 'a'), std::string(201, 'a'), std::string(), std::string("a b"),
        std::string("caf\xc3\xa9"), std::string("a\0b", 3), std::string("a~")}) {
    EXPECT_FALSE(isValidPasteboardName(bad)) << bad;
  }
}

TEST(PasteboardName, UniqueNamesAreValidAndCarryTheirPid) {
  const std::string name = makeUniquePasteboardName(4242, 17, 0xbeefu);
  EXPECT_EQ(name, "trovadex-4242-17-0000beef");
  EXPECT_TRUE(isValidPasteboardName(name));
  EXPECT_EQ(pidOfUniquePasteboardName(name), 4242);
}

TEST(PasteboardName, OtherNamesCarryNoPid) {
  for (const char* other :
       {"trovadex-4242-17", "trovadex-x-17-00ff", "trovadex-12-3-zz", "trovadex-0-1-00",
        "trovadex-99999999999999-1-00", "mine-12-3-00ff", "trovadex--1-00"}) {
    EXPECT_FALSE(pidOfUniquePasteboardName(other).has_value()) << other;
  }
}

}  // namespace
}  // namespace trovadex::linux_platform
