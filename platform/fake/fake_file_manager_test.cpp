#include "platform/fake/fake_file_manager.hpp"

#include <gtest/gtest.h>

#include <filesystem>

namespace trovadex::platform::fake {
namespace {

namespace fs = std::filesystem;

TEST(FakeFileManager, TrashMovesItemsIntoTheTrashFolderKeepingBothOfTwoEqualNames) {
  FakeFileManager files;
  const fs::path bundle = files.root() / "Library" / "Mail" / "Bundles" / "Plugin.mailbundle";
  files.createFile(bundle / "Contents" / "Info.plist", "<plist/>");

  auto first = files.trashItemAtPath(bundle.string());
  ASSERT_TRUE(first.ok()) << first.error().localizedDescription;
  EXPECT_EQ(first.value(), (files.trashFolder() / "Plugin.mailbundle").string());
  EXPECT_TRUE(fs::exists(fs::path(first.value()) / "Contents" / "Info.plist"));
  EXPECT_FALSE(files.fileExistsAtPath(bundle.string()));

  files.createFile(bundle / "Contents" / "Info.plist");
  auto second = files.trashItemAtPath(bundle.string());
  ASSERT_TRUE(second.ok());
  EXPECT_EQ(second.value(), (files.trashFolder() / "Plugin.mailbundle 2").string());
  EXPECT_EQ(files.trashRequests().size(), 2u);
}

TEST(FakeFileManager, TrashFailsReadablyWhenSwitchedOffOrWhenNothingIsThere) {
  FakeFileManager files;
  const fs::path item = files.root() / "item.emlx";
  files.createFile(item);

  files.setTrashFails(true);
  auto refused = files.trashItemAtPath(item.string());
  ASSERT_FALSE(refused.ok());
  EXPECT_EQ(refused.error().code, kFileWriteNoPermissionError);
  EXPECT_NE(refused.error().localizedDescription.find("\"item.emlx\""), std::string::npos);
  EXPECT_TRUE(files.fileExistsAtPath(item.string()));

  files.setTrashFails(false);
  auto missing = files.trashItemAtPath((files.root() / "gone").string());
  ASSERT_FALSE(missing.ok());
  EXPECT_EQ(missing.error().code, kFileNoSuchFileError);
}

TEST(FakeFileManager, RemovesFoldersRecursivelyAndReportsMissingItems) {
  FakeFileManager files;
  const fs::path folder = files.root() / "folder";
  files.createFile(folder / "a" / "b.txt", "b");

  EXPECT_TRUE(files.removeItemAtPath(folder.string()).ok());
  EXPECT_FALSE(fs::exists(folder));
  auto again = files.removeItemAtPath(folder.string());
  ASSERT_FALSE(again.ok());
  EXPECT_EQ(again.error().code, kFileNoSuchFileError);
  EXPECT_EQ(files.removeRequests().size(), 2u);
}

TEST(FakeFileManager, DisplayNameIsTheLastPathComponent) {
  FakeFileManager files;
  EXPECT_EQ(files.displayNameAtPath("/mail/3/Messages/5.partial.emlx"), "5.partial.emlx");
  EXPECT_EQ(files.displayNameAtPath("/mail/Bundles/"), "Bundles");
  EXPECT_EQ(files.displayNameAtPath("/"), "/");
  EXPECT_EQ(files.displayNameAtPath(""), "");
}

TEST(FakeFileManager, UserLibraryLiesInsideTheTemporaryFolderUnlessSet) {
  FakeFileManager files;
  EXPECT_EQ(files.userLibraryDirectory(), (files.root() / "Library").string());
  EXPECT_TRUE(files.fileExistsAtPath(files.userLibraryDirectory()));
  files.setUserLibraryDirectory("/elsewhere/Library");
  EXPECT_EQ(files.userLibraryDirectory(), "/elsewhere/Library");
}

}  // namespace
}  // namespace trovadex::platform::fake
