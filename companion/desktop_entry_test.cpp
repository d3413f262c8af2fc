#include "companion/desktop_entry.hpp"

#include <gio/gdesktopappinfo.h>
#include <gtest/gtest.h>

#include <filesystem>
#include <fstream>
#include <sstream>

#include "companion/companion_test_support.hpp"

namespace trovadex::companion {
namespace {

using testing::TemporaryFolder;

std::string execLine(const std::string& entry) {
  std::istringstream stream(entry);
  for (std::string line; std::getline(stream, line);) {
    if (line.rfind("Exec=", 0) == 0) return line.substr(5);
  }
  return {};
}

TEST(DesktopEntry, PointsExecAtTheProgramQuotingWhatNeedsIt) {
  EXPECT_EQ(execLine(desktopEntryFor("/usr/bin/trovadex").value()), "/usr/bin/trovadex status");
  // Quoted for the launcher, then the key file escapes its backslashes once more.
  EXPECT_EQ(execLine(desktopEntryFor("/opt/my apps/$x\"y%/trovadex").value()),
            R"("/opt/my apps/\\$x\\"y%%/trovadex" status)");
  const std::string entry = desktopEntryFor("/usr/bin/trovadex").value();
  EXPECT_NE(entry.find("Name=Trovadex"), std::string::npos);
  EXPECT_NE(entry.find("Type=Application"), std::string::npos);
}

TEST(DesktopEntry, InstallsAnEntryThatGioAcceptsAndRunsTheRightProgram) {
  TemporaryFolder folder;
  const std::string dataHome = folder.path() + "/fresh/data";
  // Any program that exists will do: GIO refuses entries whose Exec names a missing one.
  const std::string program = folder.path() + "/bin dir/trovadex";
  std::filesystem::create_directories(folder.path() + "/bin dir");
  std::filesystem::copy_file("/bin/true", program);

  auto path = installDesktopEntry(dataHome, program);
  ASSERT_TRUE(path.ok()) << path.error().localizedDescription;
  EXPECT_EQ(path.value(), dataHome + "/applications/org.trovadex.Trovadex.desktop");

  GDesktopAppInfo* info = g_desktop_app_info_new_from_filename(path.value().c_str());
  ASSERT_NE(info, nullptr);
  EXPECT_STREQ(g_app_info_get_name(G_APP_INFO(info)), "Trovadex");
  // The launcher's reading of Exec gives back the program and its one argument.
  gint argc = 0;
  gchar** argv = nullptr;
  ASSERT_TRUE(
      g_shell_parse_argv(g_app_info_get_commandline(G_APP_INFO(info)), &argc, &argv, nullptr));
  ASSERT_EQ(argc, 2);
  EXPECT_EQ(std::string(argv[0]), program);
  EXPECT_STREQ(argv[1], "status");
  g_strfreev(argv);
  g_object_unref(info);

  // Installing again replaces the entry.
  ASSERT_TRUE(installDesktopEntry(dataHome, "/bin/true").ok());
  std::ifstream file(path.value());
  std::stringstream text;
  text << file.rdbuf();
  EXPECT_EQ(execLine(text.str()), "/bin/true status");
}

TEST(DesktopEntry, ReportsAFolderThatCannotBeMade) {
  TemporaryFolder folder;
  const std::string blocker = folder.path() + "/file";
  std::ofstream(blocker) << "x";
  auto path = installDesktopEntry(blocker, "/bin/true");
  ASSERT_FALSE(path.ok());
  EXPECT_NE(path.error().localizedDescription.find(blocker), std::string::npos);
}

}  // namespace
}  // namespace trovadex::companion
