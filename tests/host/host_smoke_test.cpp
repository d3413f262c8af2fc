// End to end: a sample store of 2,000 messages, the mail host running with the real plug-in
// bundle on the test's private session bus, and the test as the companion. Searches are
// answered with QueryDidStart, batches on pasteboards whose records name existing .emlx files,
// and QueryDidComplete; SIGTERM makes the plug-in say PluginQuit and the host exit 0.
#include <gtest/gtest.h>

#include <csignal>
#include <filesystem>
#include <set>

#include "linux/pasteboard_folder.hpp"
#include "mailstore/sample_manifest.hpp"
#include "tests/host/bus_companion.hpp"
#include "tests/host/host_process.hpp"
#include "tests/linux/linux_test_support.hpp"

namespace trovadex::host::testing {
namespace {

using namespace std::chrono_literals;
using foundation::Value;
namespace fs = std::filesystem;
namespace lp = linux_platform;

// Sanitizer builds run the host several times slower.
#if defined(__SANITIZE_THREAD__) || defined(__SANITIZE_ADDRESS__)
constexpr std::chrono::milliseconds kStepTimeout = 240s;
#else
constexpr std::chrono::milliseconds kStepTimeout = 60s;
#endif
constexpr int kSampleMessages = 2000;
constexpr const char* kClientName = "smoke-test";
constexpr const char* kResultsBatchType = "org.trovadex.MailPlugin.ResultsBatch";

bool about(const ReceivedNotification& notification, const std::string& uniqueName) {
  const std::string* name = foundation::stringForKey(notification.userInfo, "uniqueName");
  return name != nullptr && *name == uniqueName;
}

struct SearchOutcome {
  std::vector<std::string> order;  // members about the query, as received
  std::vector<Value> records;      // every message record of every batch
  Value completion;                // QueryDidComplete's userInfo
};

// Posts a Search and gathers everything about it up to its QueryDidComplete, reading each batch
// from its pasteboard and clearing it as a companion does.
SearchOutcome search(BusCompanion& companion, const std::string& uniqueName,
                     const std::string& queryString) {
  SearchOutcome outcome;
  companion.post("Search", {{"uniqueName", uniqueName},
                            {"clientName", kClientName},
                            {"lineageName", uniqueName},
                            {"queryString", queryString},
                            {"sortingAttribute", "kMDItemContentCreationDate"},
                            {"sortAscending", Value::boolean(false)}});
  const bool completed = companion.waitFor(
      [&](const auto& received) {
        for (const auto& notification : received) {
          if (notification.member == "QueryDidComplete" && about(notification, uniqueName)) {
            return true;
          }
        }
        return false;
      },
      kStepTimeout);
  EXPECT_TRUE(completed) << "no QueryDidComplete for " << uniqueName;

  const lp::PasteboardFolder pasteboards(lp::PasteboardFolder::defaultRoot());
  for (const auto& notification : companion.received()) {
    if (!about(notification, uniqueName)) continue;
    outcome.order.push_back(notification.member);
    if (notification.member == "QueryDidComplete") outcome.completion = notification.userInfo;
    if (notification.member != "QueryHasUpdates") continue;
    const std::string* batchName = foundation::stringForKey(notification.userInfo, "batchName");
    if (batchName == nullptr) {
      ADD_FAILURE() << "QueryHasUpdates without a batchName";
      continue;
    }
    auto batch = pasteboards.readPropertyList(*batchName, kResultsBatchType);
    if (!batch.ok()) {
      ADD_FAILURE() << "batch " << *batchName << ": " << batch.error().localizedDescription;
      continue;
    }
    EXPECT_EQ(batch.value()["uniqueName"], Value(uniqueName));
    EXPECT_EQ(batch.value()["batchNumber"], notification.userInfo["batchNumber"]);
    if (const auto* messages = batch.value()["messages"].asArray()) {
      outcome.records.insert(outcome.records.end(), messages->begin(), messages->end());
    }
    companion.post(
        "Clear",
        {{"uniqueName", uniqueName}, {"clientName", kClientName}, {"batchName", *batchName}});
  }
  return outcome;
}

// Every record names an existing message file and a library ID no other record has.
void expectRecordsOfExistingMessages(const std::vector<Value>& records) {
  std::set<std::int64_t> libraryIDs;
  std::size_t missing = 0;
  for (const auto& record : records) {
    const std::string* path = foundation::stringForKey(record, "kMDItemPath");
    if (path == nullptr || !path->ends_with(".emlx") || !fs::is_regular_file(*path)) ++missing;
    EXPECT_TRUE(record["libraryID"].isNumber());
    libraryIDs.insert(record["libraryID"].integerValue());
  }
  EXPECT_EQ(missing, 0u) << "records without an existing .emlx file";
  EXPECT_EQ(libraryIDs.size(), records.size()) << "each message is delivered once";
}

TEST(MailHostSmoke, AnswersSearchesFromTheRealBundleAndQuitsCleanlyOnSigterm) {
  lp::MainLoop loop;
  const std::string root = lp::testing::freshFolder("host-smoke");
  const std::string library = root + "/Library";

  {
    HostProcess sample(loop, {TROVADEX_MAILHOST, "sample", "--library", library, "--messages",
                              std::to_string(kSampleMessages), "--seed", "8"});
    ASSERT_EQ(sample.waitForExit(kStepTimeout), 0) << sample.log();
  }
  auto manifest = mailstore::readSampleManifest(mailstore::sampleManifestPath(library));
  ASSERT_TRUE(manifest.ok()) << manifest.error().localizedDescription;
  const auto word = std::find_if(manifest.value().words.begin(), manifest.value().words.end(),
                                 [](const auto& planted) { return planted.field == "body"; });
  ASSERT_NE(word, manifest.value().words.end());

  BusCompanion companion(loop);
  ASSERT_TRUE(companion.connected());
  HostProcess host(
      loop, {TROVADEX_MAILHOST, "run", "--library", library, "--bundle", TROVADEX_PLUGIN_BUNDLE,
             "--bundle", root + "/Missing.mailbundle", "--alert-response", "2"});
  ASSERT_TRUE(companion.waitFor(
      [](const auto& received) {
        return std::any_of(received.begin(), received.end(),
                           [](const auto& n) { return n.member == "PluginReady"; });
      },
      kStepTimeout))
      << host.log();
  ASSERT_TRUE(host.waitForLogLine("Indexer: in step with the store", kStepTimeout)) << host.log();
  EXPECT_TRUE(host.hasLogLine("Missing.mailbundle not loaded")) << host.log();

  // The messages with attachments: a few hundred, which the engine delivers in more than one
  // part, so more than one batch.
  const SearchOutcome attached =
      search(companion, "smoke-attachments", "kMDItemAttachmentNames == \"*\"");
  ASSERT_FALSE(attached.order.empty());
  EXPECT_EQ(attached.order.front(), "QueryDidStart");
  EXPECT_EQ(attached.order.back(), "QueryDidComplete");
  EXPECT_GE(std::count(attached.order.begin(), attached.order.end(), "QueryHasUpdates"), 2);
  EXPECT_EQ(attached.records.size(), static_cast<std::size_t>(manifest.value().withAttachments));
  expectRecordsOfExistingMessages(attached.records);
  EXPECT_EQ(attached.completion["notification"], Value("completed"));
  EXPECT_TRUE(attached.completion["errorCode"].isNil());

  // A planted word: exactly the messages the manifest counted.
  const SearchOutcome planted =
      search(companion, "smoke-word", "kMDItemTextContent == \"" + word->word + "\"cd");
  EXPECT_EQ(planted.records.size(), static_cast<std::size_t>(word->messages)) << word->word;
  expectRecordsOfExistingMessages(planted.records);

  host.sendSignal(SIGTERM);
  ASSERT_TRUE(companion.waitFor(
      [](const auto& received) {
        return std::any_of(received.begin(), received.end(),
                           [](const auto& n) { return n.member == "PluginQuit"; });
      },
      kStepTimeout))
      << host.log();
  const Value activeNames = companion.named("PluginQuit").front().userInfo["activeNames"];
  ASSERT_TRUE(activeNames.isArray());
  std::set<std::string> active;
  for (const auto& name : *activeNames.asArray()) {
    if (name.isString()) active.insert(*name.asString());
  }
  EXPECT_EQ(active, (std::set<std::string>{"smoke-attachments", "smoke-word"}))
      << "live queries run until the host quits";
  EXPECT_EQ(host.waitForExit(kStepTimeout), 0) << host.log();
}

}  // namespace
}  // namespace trovadex::host::testing
