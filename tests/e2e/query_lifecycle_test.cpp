// End to end: how queries end in the plug-in as their clients ask. One host serves the whole
// scenario: a search replaced by a newer one of its lineage, a cancelled live search, a client
// that terminates, two clients searching at once, Clear of a name the plug-in never gave out and
// of a removal batch, and at last the host's SIGTERM, whose PluginQuit must name exactly the
// queries still running.
#include <gtest/gtest.h>

#include <algorithm>
#include <csignal>
#include <filesystem>
#include <set>

#include "companion/client.hpp"
#include "companion/desktop_entry.hpp"
#include "mailstore/sample_manifest.hpp"
#include "tests/e2e/e2e_support.hpp"

namespace trovadex::e2e {
namespace {

using companion::Client;
using companion::ClientOptions;
using companion::Command;
using companion::SearchEvents;
using companion::SearchOutcome;
using companion::SearchSession;
using foundation::Value;
namespace fs = std::filesystem;
namespace key = companion::key;

// Small, so that the host is up quickly under the sanitizers; one batch holds every message.
constexpr int kSampleMessages = 300;

struct Observed {
  bool pluginStarted = false;
  Value quitNames;
};

std::unique_ptr<Client> openClient(GMainContext* context, const std::string& name,
                                   Observed* observed) {
  ClientOptions options;
  options.clientName = name;
  options.context = context;
  options.problem = [name](const std::string& text) { ADD_FAILURE() << name << ": " << text; };
  if (observed != nullptr) {
    options.events.pluginStarted = [observed] { observed->pluginStarted = true; };
    options.events.pluginQuit = [observed](const Value& names) { observed->quitNames = names; };
  }
  auto opened = Client::open(std::move(options));
  EXPECT_TRUE(opened.ok()) << opened.error().localizedDescription;
  return opened.ok() ? std::move(opened.value()) : nullptr;
}

// The events of a search that collect the paths it reports and the removal batches it reads.
struct Collected {
  std::vector<std::string> paths;
  std::vector<companion::RemovalReport> removals;
};

SearchEvents collecting(Collected& collected) {
  SearchEvents events;
  events.found = [&collected](const companion::BatchReport& batch) {
    for (const auto& message : batch.messages) collected.paths.push_back(message.path.value_or(""));
  };
  events.removed = [&collected](const companion::RemovalReport& removal) {
    collected.removals.push_back(removal);
  };
  events.problem = [](const std::string& text) { ADD_FAILURE() << text; };
  return events;
}

std::set<std::string> names(const Value& array) {
  std::set<std::string> result;
  if (const auto* elements = array.asArray()) {
    for (const auto& element : *elements) {
      if (const auto* text = element.asString()) result.insert(*text);
    }
  }
  return result;
}

TEST(CompanionEndToEnd, QueriesEndAsTheirClientsAsk) {
  linux_platform::GMainContextPtr context(g_main_context_new());
  GMainContext* const loop = context.get();
  const std::string library = testRoot() + "/LifecycleLibrary";

  const auto sample =
      runProgram(loop, {TROVADEX_MAILHOST, "sample", "--library", library, "--messages",
                        std::to_string(kSampleMessages), "--seed", "5"});
  ASSERT_EQ(sample.status, 0) << sample.err;
  auto manifest = mailstore::readSampleManifest(mailstore::sampleManifestPath(library));
  ASSERT_TRUE(manifest.ok()) << manifest.error().localizedDescription;
  const auto word = std::find_if(
      manifest.value().words.begin(), manifest.value().words.end(),
      [](const auto& planted) { return planted.field == "body" && planted.messages >= 2; });
  ASSERT_NE(word, manifest.value().words.end());
  const std::uint64_t wordCount = static_cast<std::uint64_t>(word->messages);
  const std::string wordQuery = "kMDItemTextContent == \"" + word->word + "\"cd";

  const char* dataHome = std::getenv("XDG_DATA_HOME");
  ASSERT_NE(dataHome, nullptr);
  ASSERT_TRUE(companion::installDesktopEntry(dataHome, TROVADEX_CLI).ok());

  Observed observed;
  auto first = openClient(loop, "e2e-first", &observed);
  auto second = openClient(loop, "e2e-second", nullptr);
  ASSERT_TRUE(first && second);

  ChildProcess host(loop, {TROVADEX_MAILHOST, "run", "--library", library, "--bundle",
                           TROVADEX_PLUGIN_BUNDLE, "--alert-response", "2"});
  ASSERT_TRUE(first->iterateUntil([&] { return observed.pluginStarted; }, kStepTimeout))
      << host.log();
  ASSERT_TRUE(host.waitForLogLine("Indexer: in step with the store", kStepTimeout)) << host.log();
  ASSERT_TRUE(first->connect(kStepTimeout).ok()) << host.log();
  ASSERT_TRUE(second->connect(kStepTimeout).ok()) << host.log();

  const auto gathered = [&](const std::shared_ptr<SearchSession>& search) {
    return first->iterateUntil([&] { return search->summary().gathered || search->ended(); },
                               kStepTimeout);
  };

  // Lineage: a newer live search of the same lineage replaces the running one, in the client at
  // once and in the plug-in, which cancels the older query itself.
  Collected replacedFound;
  auto replaced = first->startSearch({.queryString = "", .lineageName = "e2e-typing", .live = true},
                                     collecting(replacedFound));
  Collected keptFound;
  auto kept = first->startSearch(
      {.queryString = wordQuery, .lineageName = "e2e-typing", .live = true}, collecting(keptFound));
  EXPECT_EQ(replaced->summary().outcome, SearchOutcome::Replaced);
  ASSERT_TRUE(gathered(kept)) << host.log();
  EXPECT_EQ(kept->summary().outcome, SearchOutcome::Running);
  EXPECT_EQ(kept->summary().messages, wordCount) << word->word;

  // Cancel: a live search of the second client, cancelled after its first gathering.
  auto cancelled = second->startSearch({.queryString = "", .live = true}, {});
  ASSERT_TRUE(gathered(cancelled)) << host.log();
  cancelled->interrupt();
  EXPECT_EQ(cancelled->summary().outcome, SearchOutcome::Interrupted);

  // Terminate: a third client's live search ends with the client's Terminate alone.
  auto third = openClient(loop, "e2e-third", nullptr);
  ASSERT_TRUE(third);
  ASSERT_TRUE(third->connect(kStepTimeout).ok()) << host.log();
  auto terminated = third->startSearch({.queryString = wordQuery, .live = true}, {});
  ASSERT_TRUE(gathered(terminated)) << host.log();
  const std::string terminatedName = terminated->uniqueName();
  third->terminate();
  EXPECT_EQ(terminated->summary().outcome, SearchOutcome::Interrupted);
  third.reset();

  // Two clients at once: both one-shot searches run side by side and each gets exactly its own.
  Collected firstFound;
  Collected secondFound;
  auto firstSearch = first->startSearch({.queryString = wordQuery}, collecting(firstFound));
  auto secondSearch = second->startSearch({.queryString = ""}, collecting(secondFound));
  ASSERT_TRUE(first->iterateUntil([&] { return firstSearch->ended() && secondSearch->ended(); },
                                  kStepTimeout))
      << host.log();
  EXPECT_EQ(firstSearch->summary().outcome, SearchOutcome::Completed);
  EXPECT_EQ(secondSearch->summary().outcome, SearchOutcome::Completed);
  EXPECT_EQ(firstFound.paths.size(), wordCount);
  EXPECT_EQ(secondFound.paths.size(), static_cast<std::size_t>(kSampleMessages));
  std::vector<std::string> firstPaths = firstFound.paths;
  std::vector<std::string> keptPaths = keptFound.paths;
  std::sort(firstPaths.begin(), firstPaths.end());
  std::sort(keptPaths.begin(), keptPaths.end());
  EXPECT_EQ(firstPaths, keptPaths);

  // Clear of a name the plug-in never gave out: refused in the log, and the plug-in serves on.
  first->post(Command::Clear,
              Value::Dictionary{{std::string(key::kUniqueName), kept->uniqueName()},
                                {std::string(key::kClientName), first->clientName()},
                                {std::string(key::kBatchName), "e2e-no-such-batch"}});
  EXPECT_TRUE(host.waitForLogLine("PASTEBOARD USE ERROR. Pasteboard client mismatch", kStepTimeout))
      << host.log();

  // A message of the kept live search goes away: its removal batch arrives, and a Clear of it is
  // refused, since a removal batch is never pending.
  ASSERT_FALSE(keptFound.paths.empty());
  const std::string doomed = keptFound.paths.front();
  ASSERT_TRUE(fs::remove(doomed)) << doomed;
  ASSERT_TRUE(first->iterateUntil([&] { return !keptFound.removals.empty() || kept->ended(); },
                                  kStepTimeout))
      << host.log();
  ASSERT_EQ(keptFound.removals.size(), 1u);
  const auto& removal = keptFound.removals.front();
  ASSERT_EQ(removal.knownMessages.size(), 1u);
  EXPECT_EQ(removal.knownMessages.front().path, doomed);
  first->post(Command::Clear,
              Value::Dictionary{{std::string(key::kUniqueName), kept->uniqueName()},
                                {std::string(key::kClientName), first->clientName()},
                                {std::string(key::kBatchName), removal.batchName}});
  EXPECT_TRUE(host.waitForLogLine("PASTEBOARD USE ERROR. Pasteboard mismatch: " + removal.batchName,
                                  kStepTimeout))
      << host.log();
  EXPECT_EQ(kept->summary().outcome, SearchOutcome::Running);

  // SIGTERM: PluginQuit names the queries still running, which is the kept live search alone of
  // this scenario's; the replaced, cancelled, terminated and finished ones are gone.
  host.sendSignal(SIGTERM);
  ASSERT_TRUE(first->iterateUntil([&] { return !observed.quitNames.isNil(); }, kStepTimeout))
      << host.log();
  ASSERT_TRUE(observed.quitNames.isArray()) << observed.quitNames.description();
  const std::set<std::string> running = names(observed.quitNames);
  EXPECT_EQ(running.count(kept->uniqueName()), 1u) << observed.quitNames.description();
  for (const std::string& gone : {replaced->uniqueName(), cancelled->uniqueName(), terminatedName,
                                  firstSearch->uniqueName(), secondSearch->uniqueName()}) {
    EXPECT_EQ(running.count(gone), 0u)
        << gone << " still ran: " << observed.quitNames.description();
  }
  EXPECT_EQ(kept->summary().outcome, SearchOutcome::PluginQuit);
  EXPECT_EQ(host.waitForExit(kStepTimeout), 0) << host.log();
}

}  // namespace
}  // namespace trovadex::e2e
