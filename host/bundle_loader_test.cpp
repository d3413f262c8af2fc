// The bundle loader over real bundle folders and real shared libraries built for the test.
#include "host/bundle_loader.hpp"

#include <gtest/gtest.h>

#include <cstdlib>
#include <fstream>

#include "foundation/property_list.hpp"
#include "platform/fake/fake_ports.hpp"
#include "platform/fake/temporary_folder.hpp"

namespace trovadex::host {
namespace {

namespace fs = std::filesystem;
using foundation::Value;

fs::path testLibrary(const std::string& flavour) {
  const char* folder = std::getenv("TROVADEX_TEST_BUNDLE_LIBRARIES");
  return fs::path(folder ? folder : ".") / ("TestBundle_" + flavour + ".so");
}

void writeFile(const fs::path& path, const std::string& bytes) {
  fs::create_directories(path.parent_path());
  std::ofstream(path, std::ios::binary) << bytes;
}

class BundleLoaderTest : public ::testing::Test {
 protected:
  // A bundle folder named name.mailbundle; a null info writes no Info.plist, an empty flavour no
  // library.
  fs::path makeBundle(const std::string& name, const Value& info, const std::string& flavour) {
    const fs::path bundle = folder_.path() / "Bundles" / (name + ".mailbundle");
    fs::create_directories(bundle / "Contents");
    if (!info.isNil()) {
      writeFile(bundle / "Contents" / "Info.plist",
                foundation::encodePropertyList(info, foundation::PropertyListFormat::Xml).value());
    }
    if (!flavour.empty()) {
      fs::create_directories(bundle / "Contents" / "Linux");
      fs::copy_file(testLibrary(flavour), bundle / "Contents" / "Linux" / (name + ".so"));
    }
    return bundle;
  }

  static Value info(const std::string& identifier, const std::string& executable) {
    return Value::Dictionary{{"CFBundleIdentifier", identifier},
                             {"CFBundleExecutable", executable},
                             {"CFBundleVersion", "7"},
                             {"CFBundleShortVersionString", "7.0"}};
  }

  BundleLoader makeLoader() {
    return BundleLoader(fakes_.ports(), nullptr, loaded_, fakes_.console);
  }

  platform::fake::TemporaryFolder folder_;
  platform::fake::FakePorts fakes_;
  std::shared_ptr<LoadedBundles> loaded_ = std::make_shared<LoadedBundles>(nullptr);
};

TEST_F(BundleLoaderTest, LoadsABundleWithItsOwnInfoDictionaryAndRecordsItsRegistration) {
  const fs::path bundle = makeBundle("Good", info("org.example.Good", "Good"), "registers");
  BundleLoader loader = makeLoader();
  const auto reports = loader.loadBundles({bundle});
  ASSERT_EQ(reports.size(), 1u);
  EXPECT_TRUE(reports[0].loaded) << reports[0].problem;
  EXPECT_EQ(reports[0].identity.identifier, "org.example.Good");
  EXPECT_EQ(reports[0].identity.version, "7");
  EXPECT_TRUE(loaded_->isRegistered("org.example.Good"));
  EXPECT_EQ(fakes_.console->linesContaining("test bundle loading as org.example.Good").size(), 1u);
  EXPECT_EQ(fakes_.console->linesContaining("Loaded bundle org.example.Good 7 from").size(), 1u);
}

TEST_F(BundleLoaderTest, ReportsEachBrokenBundleAndGoesOnToTheNext) {
  struct Case {
    fs::path bundle;
    std::string problem;  // a part of the reported reason
  };
  writeFile(folder_.path() / "not-a-library.so", "this is text, not a shared library\n");
  const fs::path garbled = makeBundle("Garbled", Value(), "");
  writeFile(garbled / "Contents" / "Info.plist", "<plist><dict><key>oops");
  const fs::path notLibrary =
      makeBundle("NotLibrary", info("org.example.NotLibrary", "NotLibrary"), "");
  writeFile(notLibrary / "Contents" / "Linux" / "NotLibrary.so", "text\n");
  const std::vector<Case> cases = {
      {folder_.path() / "Missing.mailbundle", "cannot be read"},
      {makeBundle("NoInfo", Value(), "registers"), "cannot be read"},
      {garbled, "no property list"},
      {makeBundle("NoIdentifier", Value::Dictionary{{"CFBundleExecutable", "NoIdentifier"}},
                  "registers"),
       "no CFBundleIdentifier"},
      {makeBundle("NoExecutable", Value::Dictionary{{"CFBundleIdentifier", "org.example.NoExec"}},
                  "registers"),
       "no usable CFBundleExecutable"},
      {makeBundle("Escapes", info("org.example.Escapes", "../../not-a-library"), "registers"),
       "no usable CFBundleExecutable"},
      {makeBundle("NoLibrary", info("org.example.NoLibrary", "NoLibrary"), ""), "NoLibrary.so"},
      {notLibrary, "NotLibrary.so"},
      {makeBundle("Silent", info("org.example.Silent", "Silent"), "silent"),
       "does not export trovadex_mailbundle_load"},
      {makeBundle("Refuses", info("org.example.Refuses", "Refuses"), "refuses"), "refused to load"},
  };
  std::vector<fs::path> folders;
  for (const auto& item : cases) folders.push_back(item.bundle);
  folders.push_back(makeBundle("Good", info("org.example.Good", "Good"), "registers"));

  BundleLoader loader = makeLoader();
  const auto reports = loader.loadBundles(folders);
  ASSERT_EQ(reports.size(), cases.size() + 1);
  for (std::size_t i = 0; i < cases.size(); ++i) {
    SCOPED_TRACE(cases[i].bundle.string());
    EXPECT_FALSE(reports[i].loaded);
    EXPECT_NE(reports[i].problem.find(cases[i].problem), std::string::npos) << reports[i].problem;
    EXPECT_EQ(
        fakes_.console->linesContaining("Bundle " + cases[i].bundle.string() + " not loaded: ")
            .size(),
        1u);
  }
  EXPECT_TRUE(reports.back().loaded) << reports.back().problem;
  EXPECT_FALSE(loaded_->isRegistered("org.example.Refuses"));
  ASSERT_EQ(loaded_->registered().size(), 1u);
  EXPECT_EQ(loaded_->registered()[0].identifier, "org.example.Good");
}

TEST_F(BundleLoaderTest, LoadsOnlyTheFirstOfTwoBundlesWithOneIdentifier) {
  const fs::path first = makeBundle("First", info("org.example.Same", "First"), "registers");
  const fs::path second = makeBundle("Second", info("org.example.Same", "Second"), "registers");
  BundleLoader loader = makeLoader();
  const auto reports = loader.loadBundles({first, second});
  ASSERT_EQ(reports.size(), 2u);
  EXPECT_TRUE(reports[0].loaded);
  EXPECT_FALSE(reports[1].loaded);
  EXPECT_NE(reports[1].problem.find("was loaded already"), std::string::npos);
  EXPECT_EQ(loaded_->registered().size(), 1u);
}

TEST(FindBundles, ListsOnlyMailBundlesInNameOrder) {
  platform::fake::TemporaryFolder folder;
  for (const char* name : {"b.mailbundle", "a.mailbundle", "notes.txt", "c.bundle"}) {
    fs::create_directories(folder.path() / name);
  }
  EXPECT_EQ(findBundles(folder.path()), (std::vector<fs::path>{folder.path() / "a.mailbundle",
                                                               folder.path() / "b.mailbundle"}));
  EXPECT_TRUE(findBundles(folder.path() / "absent").empty());
}

}  // namespace
}  // namespace trovadex::host
