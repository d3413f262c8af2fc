// Pasteboards as folders of property-list files: identity, naming rules, modes, atomic writes
// and the clean-up of folders that dead hosts left behind.
#include <gtest/gtest.h>
#include <spawn.h>
#include <sys/stat.h>
#include <sys/wait.h>
#include <unistd.h>

#include <atomic>
#include <filesystem>
#include <fstream>
#include <set>
#include <thread>

#include "foundation/property_list.hpp"
#include "linux/folder_pasteboard_server.hpp"
#include "linux/pasteboard_folder.hpp"
#include "linux/pasteboard_name.hpp"
#include "tests/linux/linux_test_support.hpp"

extern char** environ;

namespace trovadex::linux_platform {
namespace {

using foundation::Value;
using testing::RecordingConsole;
namespace fs = std::filesystem;

const std::string kResults = "org.trovadex.MailPlugin.ResultsBatch";

struct Fixture {
  std::string base = testing::freshFolder("pasteboards");
  std::string root = base + "/trovadex/pasteboards";
  std::shared_ptr<RecordingConsole> console = std::make_shared<RecordingConsole>();
  FolderPasteboardServer server{PasteboardFolder(root), console};
};

Value batch(int records, const std::string& tag) {
  Value::Array messages;
  for (int i = 0; i < records; ++i) {
    messages.push_back(Value(Value::Dictionary{
        {"kMDItemPath", Value("/mail/" + tag + "/" + std::to_string(i) + ".emlx")},
        {"libraryID", Value::integer(i)},
        {"index", Value::unsignedInteger(static_cast<std::uint64_t>(i))}}));
  }
  return Value(Value::Dictionary{{"messages", Value(messages)}, {"uniqueName", Value(tag)}});
}

mode_t modeOf(const std::string& path) {
  struct stat status {};
  EXPECT_EQ(::stat(path.c_str(), &status), 0) << path;
  return status.st_mode & 07777;
}

// A pid that certainly belonged to a process which has ended.
pid_t pidOfAnEndedProcess() {
  pid_t pid = 0;
  char name[] = "true";
  char* argv[] = {name, nullptr};
  EXPECT_EQ(posix_spawnp(&pid, "true", nullptr, nullptr, argv, environ), 0);
  int status = 0;
  ::waitpid(pid, &status, 0);
  return pid;
}

TEST(FolderPasteboardServer, HandsOutOneObjectPerNameSoTagsAreShared) {
  Fixture fixture;
  auto first = fixture.server.pasteboardWithName("shared");
  auto again = fixture.server.pasteboardWithName("shared");
  EXPECT_EQ(first.get(), again.get());
  first->setTag("clientName", Value("c1"));
  EXPECT_EQ(again->tag("clientName"), Value("c1"));

  auto unique = fixture.server.pasteboardWithUniqueName();
  EXPECT_EQ(fixture.server.pasteboardWithName(unique->name()).get(), unique.get());
}

TEST(FolderPasteboardServer, StoresUnderDeclaredTypesForAnotherReaderToSee) {
  Fixture fixture;
  auto pasteboard = fixture.server.pasteboardWithUniqueName();
  const Value payload = batch(3, "q1");
  EXPECT_FALSE(pasteboard->setPropertyList(payload, kResults)) << "stored an undeclared type";
  pasteboard->declareTypes({kResults}, nullptr);
  ASSERT_TRUE(pasteboard->setPropertyList(payload, kResults));
  EXPECT_EQ(pasteboard->propertyListForType(kResults), payload);

  // Another server over the same folder stands for the companion process.
  FolderPasteboardServer reader(PasteboardFolder(fixture.root), nullptr);
  EXPECT_EQ(reader.pasteboardWithName(pasteboard->name())->propertyListForType(kResults), payload);
  EXPECT_TRUE(reader.pasteboardWithName(pasteboard->name())->propertyListForType("Other").isNil());
}

TEST(FolderPasteboardServer, TouchesTheDiskOnlyWhenSomethingIsWritten) {
  Fixture fixture;
  auto named = fixture.server.pasteboardWithName("later");
  auto unique = fixture.server.pasteboardWithUniqueName();
  named->declareTypes({kResults}, nullptr);
  unique->clearContents();
  EXPECT_TRUE(named->propertyListForType(kResults).isNil());
  EXPECT_FALSE(fs::exists(fixture.base + "/trovadex"));
  ASSERT_TRUE(named->setPropertyList(Value("x"), kResults));
  EXPECT_TRUE(fs::exists(fixture.root + "/later/" + kResults));
  EXPECT_FALSE(fs::exists(fixture.root + "/" + unique->name()));
}

TEST(FolderPasteboardServer, RefusesBadNamesWithoutTouchingTheDisk) {
  Fixture fixture;
  for (const std::string& bad :
       {std::string("../x"), std::string("a/b"), std::string(".hidden"), std::string(300, 'n')}) {
    auto pasteboard = fixture.server.pasteboardWithName(bad);
    EXPECT_EQ(pasteboard->name(), bad);
    pasteboard->declareTypes({kResults}, nullptr);
    EXPECT_FALSE(pasteboard->setPropertyList(Value("x"), kResults)) << bad;
    EXPECT_TRUE(pasteboard->propertyListForType(kResults).isNil());
    pasteboard->clearContents();
    pasteboard->releaseGlobally();
  }
  auto good = fixture.server.pasteboardWithName("good");
  good->declareTypes({"../escape", ".hidden"}, nullptr);
  EXPECT_FALSE(good->setPropertyList(Value("x"), "../escape"));
  EXPECT_FALSE(good->setPropertyList(Value("x"), ".hidden"));
  EXPECT_FALSE(fs::exists(fixture.base + "/trovadex"));
  EXPECT_FALSE(fs::exists(fixture.base + "/x"));
  EXPECT_EQ(std::distance(fs::directory_iterator(fixture.base), fs::directory_iterator()), 0);
}

TEST(FolderPasteboardServer, KeepsFoldersPrivateAndFilesOwnerOnly) {
  Fixture fixture;
  const mode_t oldMask = ::umask(0);
  fs::create_directories(fixture.base + "/trovadex");
  fs::permissions(fixture.base + "/trovadex", fs::perms::all);  // left open by someone
  auto pasteboard = fixture.server.pasteboardWithUniqueName();
  pasteboard->declareTypes({kResults}, nullptr);
  const bool stored = pasteboard->setPropertyList(Value("x"), kResults);
  ::umask(oldMask);
  ASSERT_TRUE(stored);
  EXPECT_EQ(modeOf(fixture.base + "/trovadex"), 0700u);
  EXPECT_EQ(modeOf(fixture.root), 0700u);
  EXPECT_EQ(modeOf(fixture.root + "/" + pasteboard->name()), 0700u);
  EXPECT_EQ(modeOf(fixture.root + "/" + pasteboard->name() + "/" + kResults), 0600u);
}

TEST(FolderPasteboardServer, ClearsTypesAndReleasesTheWholeFolder) {
  Fixture fixture;
  auto pasteboard = fixture.server.pasteboardWithName("batch");
  pasteboard->declareTypes({kResults, "Second"}, nullptr);
  ASSERT_TRUE(pasteboard->setPropertyList(Value("a"), kResults));
  ASSERT_TRUE(pasteboard->setPropertyList(Value("b"), "Second"));
  EXPECT_EQ(fixture.server.folder().types("batch"), (std::vector<std::string>{"Second", kResults}));
  pasteboard->clearContents();
  EXPECT_TRUE(fixture.server.folder().types("batch").empty());
  EXPECT_TRUE(fs::is_directory(fixture.root + "/batch"));
  EXPECT_FALSE(pasteboard->setPropertyList(Value("c"), kResults)) << "clearing forgets the types";
  pasteboard->declareTypes({kResults}, nullptr);
  ASSERT_TRUE(pasteboard->setPropertyList(Value("c"), kResults));
  pasteboard->releaseGlobally();
  EXPECT_FALSE(fs::exists(fixture.root + "/batch"));
  EXPECT_TRUE(pasteboard->propertyListForType(kResults).isNil());
}

TEST(FolderPasteboardServer, MakesFreshUniqueNamesThatCarryThisProcess) {
  Fixture fixture;
  std::set<std::string> names;
  std::vector<std::shared_ptr<platform::Pasteboard>> held;
  for (int i = 0; i < 100; ++i) {
    held.push_back(fixture.server.pasteboardWithUniqueName());
    names.insert(held.back()->name());
    EXPECT_EQ(pidOfUniquePasteboardName(held.back()->name()), ::getpid());
  }
  EXPECT_EQ(names.size(), 100u);
}

TEST(PasteboardFolder, ReadsBinaryAndXmlPropertyLists) {
  Fixture fixture;
  PasteboardFolder folder(fixture.root);
  ASSERT_TRUE(folder.prepareRoot().ok());
  fs::create_directories(fixture.root + "/formats");
  const Value payload = batch(2, "formats");
  for (auto format :
       {foundation::PropertyListFormat::Binary, foundation::PropertyListFormat::Xml}) {
    auto bytes = foundation::encodePropertyList(payload, format);
    ASSERT_TRUE(bytes.ok());
    std::ofstream(fixture.root + "/formats/" + kResults, std::ios::binary) << bytes.value();
    auto read = folder.readPropertyList("formats", kResults);
    ASSERT_TRUE(read.ok()) << read.error().localizedDescription;
    EXPECT_EQ(read.value(), payload);
  }
  std::ofstream(fixture.root + "/formats/" + kResults, std::ios::binary) << "not a list";
  EXPECT_FALSE(folder.readPropertyList("formats", kResults).ok());
}

TEST(PasteboardFolder, ReaderSeesWholeBatchesWhileAWriterReplacesThem) {
  Fixture fixture;
  PasteboardFolder folder(fixture.root);
  const Value first = batch(400, "first");
  const Value second = batch(300, "second");
  ASSERT_TRUE(folder.writePropertyList("live", kResults, first).ok());

  std::atomic<bool> writing{true};
  std::atomic<int> reads{0};
  std::atomic<int> torn{0};
  std::thread reader([&] {
    while (writing.load()) {
      auto read = folder.readPropertyList("live", kResults);
      if (!read.ok() || (read.value() != first && read.value() != second)) ++torn;
      ++reads;
    }
  });
  for (int i = 0; i < 40; ++i) {
    ASSERT_TRUE(folder.writePropertyList("live", kResults, i % 2 == 0 ? second : first).ok());
  }
  writing = false;
  reader.join();
  EXPECT_GT(reads.load(), 0);
  EXPECT_EQ(torn.load(), 0) << "of " << reads.load() << " reads";
  // Only the one type file remains: no temporary files are left behind.
  EXPECT_EQ(std::distance(fs::directory_iterator(fixture.root + "/live"), fs::directory_iterator()),
            1);
}

TEST(FolderPasteboardServer, RemovesFoldersOfEndedHostsAndKeepsThoseOfLiveOnes) {
  Fixture fixture;
  ASSERT_TRUE(PasteboardFolder(fixture.root).prepareRoot().ok());
  const std::string dead = makeUniquePasteboardName(pidOfAnEndedProcess(), 1, 0xabcu);
  const std::string live = makeUniquePasteboardName(::getppid(), 2, 0xdefu);
  const std::string mine = makeUniquePasteboardName(::getpid(), 3, 0x123u);
  for (const auto& name : {dead, live, mine, std::string("someone-elses")}) {
    fs::create_directories(fixture.root + "/" + name);
    std::ofstream(fixture.root + "/" + name + "/" + kResults) << "x";
  }
  EXPECT_EQ(fixture.server.removeStaleFolders(), 1u);
  EXPECT_FALSE(fs::exists(fixture.root + "/" + dead));
  EXPECT_TRUE(fs::exists(fixture.root + "/" + live));
  EXPECT_TRUE(fs::exists(fixture.root + "/" + mine));
  EXPECT_TRUE(fs::exists(fixture.root + "/someone-elses"));
  EXPECT_TRUE(fixture.console->contains("Removed the pasteboard " + dead));
}

TEST(PasteboardFolder, LivesInTheRuntimeFolderOrElseInAPrivateTemporaryOne) {
  const std::string runtime = std::getenv("XDG_RUNTIME_DIR");
  EXPECT_EQ(PasteboardFolder::defaultRoot(), runtime + "/trovadex/pasteboards");
  ::unsetenv("XDG_RUNTIME_DIR");
  ::setenv("TMPDIR", "/var/tmp", 1);
  const std::string fallback = PasteboardFolder::defaultRoot();
  ::unsetenv("TMPDIR");
  const std::string plain = PasteboardFolder::defaultRoot();
  ::setenv("XDG_RUNTIME_DIR", runtime.c_str(), 1);
  const std::string uid = std::to_string(::getuid());
  EXPECT_EQ(fallback, "/var/tmp/trovadex-" + uid + "/pasteboards");
  EXPECT_EQ(plain, "/tmp/trovadex-" + uid + "/pasteboards");
}

}  // namespace
}  // namespace trovadex::linux_platform
