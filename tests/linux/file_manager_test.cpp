// Files: existence, the freedesktop Trash, removal, display names and the library folder.
#include <gtest/gtest.h>

#include <filesystem>
#include <fstream>
#include <sstream>

#include "linux/linux_file_manager.hpp"
#include "tests/linux/linux_test_support.hpp"

namespace trovadex::linux_platform {
namespace {

namespace fs = std::filesystem;

std::string trashFolder() { return std::string(std::getenv("XDG_DATA_HOME")) + "/Trash"; }

std::string readText(const std::string& path) {
  std::ifstream file(path);
  std::stringstream text;
  text << file.rdbuf();
  return text.str();
}

// A bundle folder like the one the plug-in removes itself from.
std::string makeBundle(const std::string& library) {
  const std::string bundle = library + "/Mail/Bundles/TrovadexMailPlugin.mailbundle";
  fs::create_directories(bundle + "/Contents/Linux");
  std::ofstream(bundle + "/Contents/Info.plist") << "<plist/>";
  return bundle;
}

TEST(LinuxFileManager, MovesABundleToTheTrashWithItsInfoRecord) {
  const std::string library = testing::freshFolder("library");
  const std::string bundle = makeBundle(library);
  LinuxFileManager files(library);
  auto trashed = files.trashItemAtPath(bundle);
  ASSERT_TRUE(trashed.ok()) << trashed.error().localizedDescription;
  EXPECT_EQ(trashed.value(), trashFolder() + "/files/TrovadexMailPlugin.mailbundle");
  EXPECT_FALSE(files.fileExistsAtPath(bundle));
  EXPECT_TRUE(fs::exists(trashed.value() + "/Contents/Info.plist"));

  const std::string info =
      readText(trashFolder() + "/info/TrovadexMailPlugin.mailbundle.trashinfo");
  EXPECT_EQ(info.rfind("[Trash Info]\n", 0), 0u) << info;
  EXPECT_NE(info.find("\nPath=" + bundle + "\n"), std::string::npos) << info;
  EXPECT_NE(info.find("\nDeletionDate="), std::string::npos) << info;
}

TEST(LinuxFileManager, ReportsWhereASecondItemOfTheSameNameWent) {
  const std::string library = testing::freshFolder("library");
  LinuxFileManager files(library);
  const std::string firstBundle = makeBundle(library);
  ASSERT_TRUE(files.trashItemAtPath(firstBundle).ok());
  const std::string again = makeBundle(library);
  auto second = files.trashItemAtPath(again);
  ASSERT_TRUE(second.ok()) << second.error().localizedDescription;
  EXPECT_EQ(second.value(), trashFolder() + "/files/TrovadexMailPlugin.2.mailbundle");
  EXPECT_TRUE(fs::exists(trashFolder() + "/info/TrovadexMailPlugin.2.mailbundle.trashinfo"));
}

TEST(LinuxFileManager, SaysReadablyWhyAnItemCouldNotBeTrashed) {
  LinuxFileManager files(testing::freshFolder("library"));
  auto missing = files.trashItemAtPath(testing::testRoot() + "/no/such/Plug.mailbundle");
  ASSERT_FALSE(missing.ok());
  EXPECT_EQ(missing.error().localizedDescription.rfind(
                "\"Plug.mailbundle\" couldn't be moved to the Trash: ", 0),
            0u)
      << missing.error().localizedDescription;
  EXPECT_EQ(missing.error().domain, "g-io-error-quark");
}

TEST(LinuxFileManager, RemovesWholeFoldersAndSaysWhenThereIsNothingToRemove) {
  const std::string library = testing::freshFolder("library");
  const std::string bundle = makeBundle(library);
  LinuxFileManager files(library);
  ASSERT_TRUE(files.removeItemAtPath(bundle).ok());
  EXPECT_FALSE(fs::exists(bundle));
  auto again = files.removeItemAtPath(bundle);
  ASSERT_FALSE(again.ok());
  EXPECT_EQ(again.error().code, ENOENT);
}

TEST(LinuxFileManager, ShowsTheLastPathComponentAndKnowsWhatExists) {
  LinuxFileManager files("/unused");
  EXPECT_EQ(files.displayNameAtPath("/mail/V10/INBOX.mbox/Messages/12.emlx"), "12.emlx");
  EXPECT_EQ(files.displayNameAtPath("/a/Plug.mailbundle/"), "Plug.mailbundle");
  EXPECT_EQ(files.displayNameAtPath("/"), "/");
  EXPECT_TRUE(files.fileExistsAtPath(testing::testRoot()));
  EXPECT_FALSE(files.fileExistsAtPath(testing::testRoot() + "/absent"));
  EXPECT_FALSE(files.fileExistsAtPath(""));
}

TEST(LinuxFileManager, FindsTheLibraryInTheDataFolderUnlessTheHostNamesOne) {
  EXPECT_EQ(LinuxFileManager().userLibraryDirectory(),
            std::string(std::getenv("XDG_DATA_HOME")) + "/trovadex");
  EXPECT_EQ(LinuxFileManager("/srv/library").userLibraryDirectory(), "/srv/library");
}

}  // namespace
}  // namespace trovadex::linux_platform
