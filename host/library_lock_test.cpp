#include "host/library_lock.hpp"

#include <gtest/gtest.h>
#include <unistd.h>

#include "platform/fake/temporary_folder.hpp"

namespace trovadex::host {
namespace {

TEST(LibraryLock, AdmitsOneHostPerLibraryAndNamesTheHolder) {
  platform::fake::TemporaryFolder folder;
  auto first = LibraryLock::acquire(folder.path() / "Library");
  ASSERT_TRUE(first.ok()) << first.error().localizedDescription;

  auto second = LibraryLock::acquire(folder.path() / "Library");
  ASSERT_FALSE(second.ok());
  EXPECT_NE(second.error().localizedDescription.find("process " + std::to_string(::getpid())),
            std::string::npos)
      << second.error().localizedDescription;

  EXPECT_TRUE(LibraryLock::acquire(folder.path() / "Other").ok()) << "other libraries are free";
  first.value().reset();
  EXPECT_TRUE(LibraryLock::acquire(folder.path() / "Library").ok()) << "released with its owner";
}

}  // namespace
}  // namespace trovadex::host
