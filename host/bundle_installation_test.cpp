#include "host/bundle_installation.hpp"

#include <gtest/gtest.h>

#include <fstream>
#include <sstream>

#include "foundation/property_list.hpp"
#include "platform/fake/temporary_folder.hpp"

namespace trovadex::host {
namespace {

namespace fs = std::filesystem;

void writeFile(const fs::path& path, const std::string& bytes) {
  fs::create_directories(path.parent_path());
  std::ofstream(path, std::ios::binary) << bytes;
}

std::string readFile(const fs::path& path) {
  std::ifstream file(path, std::ios::binary);
  std::stringstream bytes;
  bytes << file.rdbuf();
  return bytes.str();
}

fs::path makeBundle(const fs::path& parent, const std::string& libraryBytes) {
  const fs::path bundle = parent / "Plug.mailbundle";
  const foundation::Value info = foundation::Value::Dictionary{
      {"CFBundleIdentifier", "org.example.Plug"}, {"CFBundleExecutable", "Plug"}};
  writeFile(bundle / "Contents" / "Info.plist",
            foundation::encodePropertyList(info, foundation::PropertyListFormat::Xml).value());
  writeFile(bundle / "Contents" / "Linux" / "Plug.so", libraryBytes);
  return bundle;
}

TEST(InstallBundle, CopiesTheBundleAndReplacesAnOlderCopyWhole) {
  platform::fake::TemporaryFolder folder;
  const fs::path bundles = folder.path() / "Library" / "Mail" / "Bundles";
  const fs::path first = makeBundle(folder.path() / "v1", "one");
  auto installed = installBundle(first, bundles);
  ASSERT_TRUE(installed.ok()) << installed.error().localizedDescription;
  EXPECT_EQ(installed.value(), bundles / "Plug.mailbundle");
  EXPECT_EQ(readFile(installed.value() / "Contents" / "Linux" / "Plug.so"), "one");
  writeFile(installed.value() / "Contents" / "stale-file", "left from the old copy");

  const fs::path second = makeBundle(folder.path() / "v2", "two");
  ASSERT_TRUE(installBundle(second, bundles).ok());
  EXPECT_EQ(readFile(bundles / "Plug.mailbundle" / "Contents" / "Linux" / "Plug.so"), "two");
  EXPECT_FALSE(fs::exists(bundles / "Plug.mailbundle" / "Contents" / "stale-file"));
  // Nothing but the bundle is left behind: no staging or retired copies.
  EXPECT_EQ(std::distance(fs::directory_iterator(bundles), fs::directory_iterator()), 1);
}

TEST(InstallBundle, RefusesWhatIsNoBundleAndLeavesTheInstalledOneAlone) {
  platform::fake::TemporaryFolder folder;
  const fs::path bundles = folder.path() / "Bundles";
  ASSERT_TRUE(installBundle(makeBundle(folder.path() / "good", "good"), bundles).ok());

  const fs::path noLibrary = makeBundle(folder.path() / "broken", "x");
  fs::remove(noLibrary / "Contents" / "Linux" / "Plug.so");
  const fs::path notABundle = folder.path() / "Plug.folder";
  fs::create_directories(notABundle);
  for (const fs::path& source : {noLibrary, notABundle, folder.path() / "absent.mailbundle"}) {
    auto installed = installBundle(source, bundles);
    EXPECT_FALSE(installed.ok()) << source;
  }
  EXPECT_EQ(readFile(bundles / "Plug.mailbundle" / "Contents" / "Linux" / "Plug.so"), "good");
}

}  // namespace
}  // namespace trovadex::host
