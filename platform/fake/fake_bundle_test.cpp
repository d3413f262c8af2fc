#include "platform/fake/fake_bundle.hpp"

#include <gtest/gtest.h>

namespace trovadex::platform::fake {
namespace {

using foundation::Value;

TEST(FakeBundle, LocalizedStringIsTheTranslationElseTheValueElseTheKey) {
  FakeBundle bundle;
  bundle.setLocalizedString("Continue", "Continuer");

  EXPECT_EQ(bundle.localizedStringForKey("Continue", "ignored"), "Continuer");
  EXPECT_EQ(bundle.localizedStringForKey("Uninstall Plug-In", "Remove"), "Remove");
  EXPECT_EQ(bundle.localizedStringForKey("Uninstall Plug-In", ""), "Uninstall Plug-In");
}

TEST(FakeBundle, InfoEntriesCanBeSetAndRemoved) {
  FakeBundle bundle(Value::Dictionary{{"CFBundleVersion", "412-7"}});
  EXPECT_EQ(bundle.objectForInfoDictionaryKey("CFBundleVersion"), Value("412-7"));

  bundle.setInfo("CFBundleVersion", Value());
  bundle.setInfo("CFBundleShortVersionString", "2.0b1");
  EXPECT_TRUE(bundle.objectForInfoDictionaryKey("CFBundleVersion").isNil());
  EXPECT_EQ(bundle.objectForInfoDictionaryKey("CFBundleShortVersionString"), Value("2.0b1"));
}

}  // namespace
}  // namespace trovadex::platform::fake
