// End to end: a live search follows the store while it runs. A message imported by another
// process reaches it as an update batch whose path names the new .emlx file, and that file
// removed by hand reaches it as a removal batch naming the message's library ID.
#include <gtest/gtest.h>

#include <csignal>
#include <filesystem>
#include <fstream>
#include <iterator>
#include <set>

#include "companion/client.hpp"
#include "companion/desktop_entry.hpp"
#include "tests/e2e/e2e_support.hpp"

namespace trovadex::e2e {
namespace {

using companion::Client;
using companion::ClientOptions;
using companion::SearchEvents;
using companion::SearchOutcome;
namespace fs = std::filesystem;

constexpr int kSampleMessages = 100;
constexpr const char* kArrivalSubject = "Arrival zqvexmortl while the search runs";

std::string readWhole(const std::string& path) {
  std::ifstream in(path, std::ios::binary);
  return {std::istreambuf_iterator<char>(in), std::istreambuf_iterator<char>()};
}

TEST(CompanionEndToEnd, LiveSearchSeesAnImportAndARemoval) {
  linux_platform::GMainContextPtr context(g_main_context_new());
  GMainContext* const loop = context.get();
  const std::string root = testRoot();
  const std::string library = root + "/LiveChangesLibrary";

  const auto sample =
      runProgram(loop, {TROVADEX_MAILHOST, "sample", "--library", library, "--messages",
                        std::to_string(kSampleMessages), "--seed", "11"});
  ASSERT_EQ(sample.status, 0) << sample.err;
  const char* dataHome = std::getenv("XDG_DATA_HOME");
  ASSERT_NE(dataHome, nullptr);
  ASSERT_TRUE(companion::installDesktopEntry(dataHome, TROVADEX_CLI).ok());

  ChildProcess host(loop, {TROVADEX_MAILHOST, "run", "--library", library, "--bundle",
                           TROVADEX_PLUGIN_BUNDLE, "--alert-response", "2"});
  ASSERT_TRUE(host.waitForLogLine("Indexer: in step with the store", kStepTimeout)) << host.log();

  ClientOptions options;
  options.clientName = "e2e-live-changes";
  options.context = loop;
  options.problem = [](const std::string& text) { ADD_FAILURE() << text; };
  auto opened = Client::open(std::move(options));
  ASSERT_TRUE(opened.ok()) << opened.error().localizedDescription;
  Client& client = *opened.value();
  ASSERT_TRUE(client.connect(kStepTimeout).ok()) << host.log();

  // Batches read before the first gathering ended are results; later ones are updates.
  bool gathered = false;
  std::set<std::string> initialPaths;
  std::vector<companion::FoundMessage> updates;
  std::vector<companion::RemovalReport> removals;
  SearchEvents events;
  events.found = [&](const companion::BatchReport& batch) {
    for (const auto& message : batch.messages) {
      if (gathered) {
        updates.push_back(message);
      } else {
        initialPaths.insert(message.path.value_or(""));
      }
    }
  };
  events.gathered = [&] { gathered = true; };
  events.removed = [&](const companion::RemovalReport& removal) { removals.push_back(removal); };
  events.problem = [](const std::string& text) { ADD_FAILURE() << text; };

  auto search = client.startSearch({.queryString = "", .live = true}, std::move(events));
  ASSERT_TRUE(client.iterateUntil([&] { return gathered || search->ended(); }, kStepTimeout))
      << host.log();
  ASSERT_EQ(search->summary().outcome, SearchOutcome::Running);
  EXPECT_EQ(initialPaths.size(), static_cast<std::size_t>(kSampleMessages));
  EXPECT_TRUE(updates.empty());

  // Another process imports a message while the host runs.
  const std::string eml = root + "/arrival.eml";
  {
    std::ofstream out(eml, std::ios::binary);
    out << "From: Ada Arrival <ada@example.org>\r\n"
           "To: Bo Reader <bo@example.org>\r\n"
           "Subject: "
        << kArrivalSubject
        << "\r\n"
           "Date: Tue, 03 Mar 2026 10:00:00 +0000\r\n"
           "Message-ID: <arrival-zqvexmortl@example.org>\r\n"
           "MIME-Version: 1.0\r\n"
           "Content-Type: text/plain; charset=utf-8\r\n"
           "\r\n"
           "A message that arrives while a live search runs.\r\n";
  }
  const auto imported = runProgram(loop, {TROVADEX_MAILHOST, "import", "--library", library, eml});
  ASSERT_EQ(imported.status, 0) << imported.err;

  ASSERT_TRUE(
      client.iterateUntil([&] { return !updates.empty() || search->ended(); }, kStepTimeout))
      << host.log();
  ASSERT_EQ(search->summary().outcome, SearchOutcome::Running);
  ASSERT_EQ(updates.size(), 1u);
  const companion::FoundMessage arrival = updates.front();
  ASSERT_TRUE(arrival.path.has_value());
  const std::string arrivalPath = *arrival.path;
  EXPECT_TRUE(arrivalPath.ends_with(".emlx")) << arrivalPath;
  EXPECT_EQ(initialPaths.count(arrivalPath), 0u) << arrivalPath;
  ASSERT_TRUE(fs::exists(arrivalPath)) << arrivalPath;
  EXPECT_NE(readWhole(arrivalPath).find(kArrivalSubject), std::string::npos) << arrivalPath;
  const auto identifier = arrival.itemIdentifier();
  ASSERT_TRUE(identifier.has_value()) << arrival.record.description();
  EXPECT_TRUE(removals.empty());

  // The message's file removed by hand: the indexer deletes the item, the search hears of it.
  ASSERT_TRUE(fs::remove(arrivalPath)) << arrivalPath;
  ASSERT_TRUE(
      client.iterateUntil([&] { return !removals.empty() || search->ended(); }, kStepTimeout))
      << host.log();
  ASSERT_EQ(search->summary().outcome, SearchOutcome::Running);
  ASSERT_EQ(removals.size(), 1u);
  const auto& removal = removals.front();
  EXPECT_EQ(removal.identifiers, std::vector<std::string>{*identifier});
  ASSERT_EQ(removal.knownMessages.size(), 1u);
  EXPECT_EQ(removal.knownMessages.front().path, arrivalPath);
  EXPECT_EQ(updates.size(), 1u);
  EXPECT_EQ(search->summary().removedMessages, 1u);

  search->interrupt();
  EXPECT_EQ(search->summary().outcome, SearchOutcome::Interrupted);
  client.terminate();
  host.sendSignal(SIGTERM);
  EXPECT_EQ(host.waitForExit(kStepTimeout), 0) << host.log();
}

}  // namespace
}  // namespace trovadex::e2e
