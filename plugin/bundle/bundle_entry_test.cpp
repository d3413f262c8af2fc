// Loads the built bundle as the host does: dlopen, look the entry up, hand it the ports.
#include <dlfcn.h>

#include <cstdlib>
#include <fstream>
#include <sstream>
#include <string>

#include <gtest/gtest.h>

#include "foundation/property_list.hpp"
#include "platform/fake/fake_ports.hpp"

namespace {

using trovadex::foundation::Value;
using LoadEntry = bool (*)(const trovadex::platform::Ports*);

std::string bundleFolder() {
  const char* folder = std::getenv("TROVADEX_TEST_BUNDLE");
  return folder ? folder : "";
}

void* openBundle() {
  const std::string library = bundleFolder() + "/Contents/Linux/TrovadexMailPlugin.so";
  return dlopen(library.c_str(), RTLD_NOW | RTLD_LOCAL);
}

TEST(MailBundle, CarriesAnInfoDictionaryWithTheProjectVersion) {
  ASSERT_FALSE(bundleFolder().empty()) << "TROVADEX_TEST_BUNDLE names the built bundle";
  std::ifstream file(bundleFolder() + "/Contents/Info.plist", std::ios::binary);
  ASSERT_TRUE(file.good());
  std::stringstream bytes;
  bytes << file.rdbuf();
  auto info = trovadex::foundation::decodePropertyList(bytes.str());
  ASSERT_TRUE(info.ok());
  EXPECT_EQ(info.value()["CFBundleIdentifier"], Value("org.trovadex.TrovadexMailPlugin"));
  EXPECT_EQ(info.value()["CFBundleExecutable"], Value("TrovadexMailPlugin"));
  EXPECT_TRUE(info.value()["CFBundleVersion"].isString());
  EXPECT_EQ(info.value()["CFBundleShortVersionString"], info.value()["CFBundleVersion"]);
}

TEST(MailBundle, ExportsOnlyItsLoadingEntry) {
  void* handle = openBundle();
  ASSERT_NE(handle, nullptr) << dlerror();
  EXPECT_NE(dlsym(handle, "trovadex_mailbundle_load"), nullptr);
  EXPECT_EQ(dlsym(handle, "_ZN8trovadex6plugin12TDMailPlugin4loadERNS0_13PluginContextE"), nullptr);
  EXPECT_EQ(dlsym(handle, "_ZN8trovadex6plugin11startBundleERNS0_13PluginContextE"), nullptr);
}

TEST(MailBundle, RefusesMissingPortsThenLoadsOnceAndStartsThePlugin) {
  void* handle = openBundle();
  ASSERT_NE(handle, nullptr) << dlerror();
  auto load = reinterpret_cast<LoadEntry>(dlsym(handle, "trovadex_mailbundle_load"));
  ASSERT_NE(load, nullptr);

  trovadex::platform::fake::FakePorts fakes;
  EXPECT_FALSE(load(nullptr));
  trovadex::platform::Ports incomplete = fakes.ports();
  incomplete.console = nullptr;
  EXPECT_FALSE(load(&incomplete));
  EXPECT_EQ(fakes.hostClasses->mailBundle().registerBundleCount(), 0u);

  const trovadex::platform::Ports ports = fakes.ports();
  ASSERT_TRUE(load(&ports));
  EXPECT_EQ(fakes.hostClasses->mailBundle().registerBundleCount(), 1u);
  EXPECT_EQ(fakes.console->lines(),
            (std::vector<std::string>{"TrovadexMailPlugin - n/a - TDMailPlugin load",
                                      "TrovadexMailPlugin - n/a - TDMailPlugin initialize",
                                      "TrovadexMailPlugin - n/a - TDMailPlugin register"}));
  fakes.dispatcher->runMainUntilIdle();
  EXPECT_EQ(fakes.distributedCenter->postsNamed("org.trovadex.MailPlugin.PluginReady").size(), 1u);

  EXPECT_TRUE(load(&ports)) << "a second call finds the bundle loaded";
  EXPECT_EQ(fakes.hostClasses->mailBundle().registerBundleCount(), 1u);
}

}  // namespace
