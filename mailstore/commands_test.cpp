#include "mailstore/commands.hpp"

#include <gtest/gtest.h>

#include <fstream>
#include <sstream>

#include "mailstore/sample_manifest.hpp"
#include "mailstore/test_support.hpp"

namespace trovadex::mailstore {
namespace {

struct CommandRun {
  int status;
  std::string out;
  std::string err;
};

CommandRun import(std::vector<std::string> words) {
  std::ostringstream out, err;
  const int status = runImportCommand("tool", words, out, err);
  return {status, out.str(), err.str()};
}

CommandRun sample(std::vector<std::string> words) {
  std::ostringstream out, err;
  const int status = runSampleCommand("tool", words, out, err);
  return {status, out.str(), err.str()};
}

TEST(Commands, ImportReportsWhatItStoredAndExitsOneWhenSomethingWasSkipped) {
  testing::TemporaryFolder folder;
  const auto library = (folder.path() / "library").string();
  std::ofstream(folder.path() / "good.eml") << testing::simpleMessage("c1@x", "Good");
  std::ofstream(folder.path() / "bad.eml") << "garbage\n";

  const CommandRun good = import({"--library", library, (folder.path() / "good.eml").string()});
  EXPECT_EQ(good.status, kExitDone) << good.err;
  EXPECT_NE(good.out.find("Imported 1 messages"), std::string::npos) << good.out;

  const CommandRun mixed =
      import({"--library=" + library, "--mailbox", "Archive/2020",
              (folder.path() / "good.eml").string(), (folder.path() / "bad.eml").string()});
  EXPECT_EQ(mixed.status, kExitSkipped);
  EXPECT_NE(mixed.out.find("(1 already there, 1 skipped)"), std::string::npos) << mixed.out;
  EXPECT_NE(mixed.err.find("tool: skipped " + (folder.path() / "bad.eml").string()),
            std::string::npos)
      << mixed.err;
}

TEST(Commands, RejectWrongUsageWithStatusTwo) {
  testing::TemporaryFolder folder;
  const auto library = folder.path().string();
  EXPECT_EQ(import({"--library", library}).status, kExitUsage);
  EXPECT_EQ(import({"--bogus", "x", "file"}).status, kExitUsage);
  EXPECT_EQ(import({"--library", library, "--mailbox", "../up", "file"}).status, kExitUsage);
  EXPECT_EQ(import({"--library"}).status, kExitUsage);
  EXPECT_EQ(sample({"--library", library}).status, kExitUsage);
  EXPECT_EQ(sample({"--library", library, "--messages", "0"}).status, kExitUsage);
  EXPECT_EQ(sample({"--library", library, "--messages", "5", "--seed", "-1"}).status, kExitUsage);
  const CommandRun extra = sample({"--library", library, "--messages", "5", "stray"});
  EXPECT_EQ(extra.status, kExitUsage);
  EXPECT_NE(extra.err.find("usage: tool sample"), std::string::npos);
  EXPECT_EQ(import({"--help"}).status, kExitDone);
}

TEST(Commands, SampleWritesTheLibraryTheManifestAndTheMaildir) {
  testing::TemporaryFolder folder;
  const CommandRun run =
      sample({"--library", (folder.path() / "library").string(), "--messages", "40", "--seed",
              "18446744073709551615", "--maildir", (folder.path() / "Maildir").string()});
  ASSERT_EQ(run.status, kExitDone) << run.err;
  auto manifest = readSampleManifest(sampleManifestPath(folder.path() / "library"));
  ASSERT_TRUE(manifest) << manifest.error().description();
  EXPECT_EQ(manifest.value().messageCount, 40);
  EXPECT_EQ(manifest.value().seed, 18446744073709551615ULL);
  EXPECT_TRUE(std::filesystem::is_directory(folder.path() / "Maildir/cur"));

  const CommandRun again =
      sample({"--library", (folder.path() / "library").string(), "--messages", "5"});
  EXPECT_EQ(again.status, kExitFailed);
  EXPECT_NE(again.err.find("already holds messages"), std::string::npos);
}

}  // namespace
}  // namespace trovadex::mailstore
