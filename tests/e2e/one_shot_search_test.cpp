// End to end: the companion library and the `trovadex` program against the mail host, with the
// real plug-in bundle, over a sample store whose manifest says exactly how many messages each
// planted word is in.
#include <gtest/gtest.h>

#include <algorithm>
#include <csignal>
#include <filesystem>
#include <functional>
#include <set>
#include <sstream>

#include "companion/client.hpp"
#include "companion/desktop_entry.hpp"
#include "mailstore/sample_manifest.hpp"
#include "tests/e2e/e2e_support.hpp"

namespace trovadex::e2e {
namespace {

using companion::Client;
using companion::ClientEvents;
using companion::ClientOptions;
using companion::SearchEvents;
using companion::SearchOutcome;
using companion::SearchSummary;
using foundation::Value;
namespace fs = std::filesystem;

// Enough messages for several batches: the first holds 750.
constexpr int kSampleMessages = 2000;

struct Found {
  SearchSummary summary;
  std::vector<std::string> paths;
  std::set<std::int64_t> libraryIDs;
  // Creation date (seconds) and library ID of every message that has both.
  std::vector<std::pair<double, std::int64_t>> created;
};

Found search(Client& client, const std::string& queryString) {
  Found found;
  SearchEvents events;
  events.found = [&](const companion::BatchReport& batch) {
    for (const auto& message : batch.messages) {
      found.paths.push_back(message.path.value_or(""));
      if (message.libraryID) found.libraryIDs.insert(*message.libraryID);
      const Value& date = message.attribute("kMDItemContentCreationDate");
      if (message.libraryID && date.isDate()) {
        found.created.emplace_back(date.asDate()->timeIntervalSinceReferenceDate(),
                                   *message.libraryID);
      }
    }
  };
  events.problem = [](const std::string& text) { ADD_FAILURE() << text; };
  found.summary = client.runSearch({.queryString = queryString}, events, kStepTimeout);
  return found;
}

std::vector<std::string> lines(const std::string& text) {
  std::vector<std::string> result;
  std::istringstream stream(text);
  for (std::string line; std::getline(stream, line);) result.push_back(line);
  return result;
}

TEST(CompanionEndToEnd, OneShotSearchesFindExactlyWhatTheManifestCounts) {
  linux_platform::GMainContextPtr context(g_main_context_new());
  const std::string root = testRoot();
  const std::string library = root + "/Library";

  const auto sample =
      runProgram(context.get(), {TROVADEX_MAILHOST, "sample", "--library", library, "--messages",
                                 std::to_string(kSampleMessages), "--seed", "11"});
  ASSERT_EQ(sample.status, 0) << sample.err;
  auto manifest = mailstore::readSampleManifest(mailstore::sampleManifestPath(library));
  ASSERT_TRUE(manifest.ok()) << manifest.error().localizedDescription;
  const auto word = std::find_if(
      manifest.value().words.begin(), manifest.value().words.end(),
      [](const auto& planted) { return planted.field == "body" && planted.messages > 0; });
  ASSERT_NE(word, manifest.value().words.end());

  // With the companion's desktop entry installed, the plug-in finds it installed and asks
  // nothing at start.
  const char* dataHome = std::getenv("XDG_DATA_HOME");
  ASSERT_NE(dataHome, nullptr);
  ASSERT_TRUE(companion::installDesktopEntry(dataHome, TROVADEX_CLI).ok());

  // The client listens before the host starts, so it hears the plug-in announce itself.
  bool pluginStarted = false;
  Value quitNames;
  ClientOptions options;
  options.clientName = "e2e-one-shot";
  options.context = context.get();
  options.problem = [](const std::string& text) { ADD_FAILURE() << text; };
  options.events.pluginStarted = [&] { pluginStarted = true; };
  options.events.pluginQuit = [&](const Value& names) { quitNames = names; };
  auto opened = Client::open(std::move(options));
  ASSERT_TRUE(opened.ok()) << opened.error().localizedDescription;
  Client& client = *opened.value();

  ChildProcess host(context.get(), {TROVADEX_MAILHOST, "run", "--library", library, "--bundle",
                                    TROVADEX_PLUGIN_BUNDLE, "--alert-response", "2"});
  ASSERT_TRUE(client.iterateUntil([&] { return pluginStarted; }, kStepTimeout)) << host.log();
  ASSERT_TRUE(host.waitForLogLine("Indexer: in step with the store", kStepTimeout)) << host.log();
  auto plugin = client.connect(kStepTimeout);
  ASSERT_TRUE(plugin.ok()) << plugin.error().localizedDescription;
  EXPECT_TRUE(plugin.value().isCompatible());
  EXPECT_FALSE(plugin.value().version.empty());

  // Every message, in several batches, each an existing .emlx file, each once.
  const Found all = search(client, "");
  EXPECT_EQ(all.summary.outcome, SearchOutcome::Completed);
  EXPECT_GE(all.summary.resultBatches, 2u);
  EXPECT_EQ(all.summary.messages, static_cast<std::uint64_t>(kSampleMessages));
  EXPECT_EQ(all.libraryIDs.size(), static_cast<std::size_t>(kSampleMessages));
  EXPECT_TRUE(std::all_of(all.paths.begin(), all.paths.end(), [](const std::string& path) {
    return path.ends_with(".emlx") && fs::is_regular_file(path);
  }));

  // A planted word: exactly the messages the manifest counted, from the library and the program.
  const std::string query = "kMDItemTextContent == \"" + word->word + "\"cd";
  const Found planted = search(client, query);
  EXPECT_EQ(planted.summary.outcome, SearchOutcome::Completed);
  EXPECT_EQ(planted.summary.messages, static_cast<std::uint64_t>(word->messages)) << word->word;

  const auto printed = runProgram(
      context.get(), {TROVADEX_CLI, "search", query, "--format", "paths", "--timeout", "60"});
  EXPECT_EQ(printed.status, 0) << printed.err;
  auto printedPaths = lines(printed.out);
  auto libraryPaths = planted.paths;
  std::sort(printedPaths.begin(), printedPaths.end());
  std::sort(libraryPaths.begin(), libraryPaths.end());
  EXPECT_EQ(printedPaths, libraryPaths);

  // --sort without --live orders the whole store before --limit cuts it: the five newest.
  auto newest = all.created;
  std::sort(newest.begin(), newest.end(), std::greater<>());
  ASSERT_GE(newest.size(), 5u);
  std::vector<std::int64_t> expectedNewest;
  for (std::size_t i = 0; i < 5; ++i) expectedNewest.push_back(newest[i].second);
  const auto sorted =
      runProgram(context.get(), {TROVADEX_CLI, "search", "", "--sort", "kMDItemContentCreationDate",
                                 "--limit", "5", "--format", "json", "--timeout", "60"});
  EXPECT_EQ(sorted.status, 0) << sorted.err;
  std::vector<std::int64_t> printedNewest;
  for (const std::string& line : lines(sorted.out)) {
    const auto at = line.rfind("\"libraryID\":");
    if (at != std::string::npos) printedNewest.push_back(std::stoll(line.substr(at + 12)));
  }
  EXPECT_EQ(printedNewest, expectedNewest);

  const auto nothing = runProgram(
      context.get(), {TROVADEX_CLI, "search", "kMDItemSubject == \"no-such-subject-zq\""});
  EXPECT_EQ(nothing.status, 1) << nothing.err;

  // A malformed query: the error keys of QueryDidComplete, exit status 4.
  // Its position counts in the client's own string.
  const Found broken = search(client, "kMDItemSubject == (");
  EXPECT_EQ(broken.summary.outcome, SearchOutcome::Failed);
  ASSERT_TRUE(broken.summary.failure.has_value());
  EXPECT_EQ(broken.summary.failure->message,
            "Invalid query at byte 18: expected a value after '==', found '('");
  EXPECT_EQ(broken.summary.failure->domain, "CSSearchQueryErrorDomain");
  EXPECT_EQ(broken.summary.failure->code, -2002);
  const auto failed = runProgram(context.get(), {TROVADEX_CLI, "search", "kMDItemSubject =="});
  EXPECT_EQ(failed.status, 4) << failed.err;
  EXPECT_NE(failed.err.find("query error: Invalid query at byte 17: expected a value after '==', "
                            "found the end of the query"),
            std::string::npos)
      << failed.err;

  const auto status = runProgram(context.get(), {TROVADEX_CLI, "status"});
  EXPECT_EQ(status.status, 0) << status.err;
  EXPECT_NE(status.out.find(plugin.value().version), std::string::npos) << status.out;

  // Each finished search was cancelled, so the plug-in runs none of this client's at its quit.
  host.sendSignal(SIGTERM);
  ASSERT_TRUE(client.iterateUntil([&] { return !quitNames.isNil(); }, kStepTimeout)) << host.log();
  ASSERT_TRUE(quitNames.isArray());
  for (const auto& name : *quitNames.asArray()) {
    EXPECT_FALSE(name.asString() && name.asString()->starts_with("e2e-one-shot-"))
        << name.description() << " still ran";
  }
  EXPECT_EQ(host.waitForExit(kStepTimeout), 0) << host.log();
}

}  // namespace
}  // namespace trovadex::e2e
