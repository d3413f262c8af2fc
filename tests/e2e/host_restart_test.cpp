// End to end: the host quits while a live search runs and starts again on the same library. The
// search ends with the plug-in's quit, the client hears the new plug-in announce itself, connects
// again and searches as before; the restarted host finds its index in step with the store
// without reading a message again.
#include <gtest/gtest.h>

#include <algorithm>
#include <csignal>

#include "companion/client.hpp"
#include "companion/desktop_entry.hpp"
#include "mailstore/sample_manifest.hpp"
#include "tests/e2e/e2e_support.hpp"

namespace trovadex::e2e {
namespace {

using companion::Client;
using companion::ClientOptions;
using companion::SearchOutcome;
using foundation::Value;

constexpr int kSampleMessages = 200;

TEST(CompanionEndToEnd, ClientReconnectsToARestartedHost) {
  linux_platform::GMainContextPtr context(g_main_context_new());
  GMainContext* const loop = context.get();
  const std::string library = testRoot() + "/RestartLibrary";

  const auto sample =
      runProgram(loop, {TROVADEX_MAILHOST, "sample", "--library", library, "--messages",
                        std::to_string(kSampleMessages), "--seed", "7"});
  ASSERT_EQ(sample.status, 0) << sample.err;
  auto manifest = mailstore::readSampleManifest(mailstore::sampleManifestPath(library));
  ASSERT_TRUE(manifest.ok()) << manifest.error().localizedDescription;
  const auto word = std::find_if(
      manifest.value().words.begin(), manifest.value().words.end(),
      [](const auto& planted) { return planted.field == "body" && planted.messages > 0; });
  ASSERT_NE(word, manifest.value().words.end());
  const std::string wordQuery = "kMDItemTextContent == \"" + word->word + "\"cd";

  const char* dataHome = std::getenv("XDG_DATA_HOME");
  ASSERT_NE(dataHome, nullptr);
  ASSERT_TRUE(companion::installDesktopEntry(dataHome, TROVADEX_CLI).ok());

  int pluginStarts = 0;
  int pluginQuits = 0;
  ClientOptions options;
  options.clientName = "e2e-restart";
  options.context = loop;
  options.problem = [](const std::string& text) { ADD_FAILURE() << text; };
  options.events.pluginStarted = [&] { ++pluginStarts; };
  options.events.pluginQuit = [&](const Value&) { ++pluginQuits; };
  auto opened = Client::open(std::move(options));
  ASSERT_TRUE(opened.ok()) << opened.error().localizedDescription;
  Client& client = *opened.value();

  const std::vector<std::string> run = {
      TROVADEX_MAILHOST,  "run", "--library", library, "--bundle", TROVADEX_PLUGIN_BUNDLE,
      "--alert-response", "2"};
  {
    ChildProcess host(loop, run);
    ASSERT_TRUE(client.iterateUntil([&] { return pluginStarts == 1; }, kStepTimeout)) << host.log();
    ASSERT_TRUE(host.waitForLogLine("Indexer: in step with the store", kStepTimeout)) << host.log();
    ASSERT_TRUE(client.connect(kStepTimeout).ok()) << host.log();

    auto live = client.startSearch({.queryString = wordQuery, .live = true}, {});
    ASSERT_TRUE(client.iterateUntil([&] { return live->summary().gathered || live->ended(); },
                                    kStepTimeout))
        << host.log();
    EXPECT_EQ(live->summary().messages, static_cast<std::uint64_t>(word->messages));

    host.sendSignal(SIGTERM);
    ASSERT_TRUE(client.iterateUntil([&] { return live->ended(); }, kStepTimeout)) << host.log();
    EXPECT_EQ(live->summary().outcome, SearchOutcome::PluginQuit);
    EXPECT_EQ(pluginQuits, 1);
    EXPECT_EQ(host.waitForExit(kStepTimeout), 0) << host.log();
  }

  ChildProcess restarted(loop, run);
  ASSERT_TRUE(client.iterateUntil([&] { return pluginStarts == 2; }, kStepTimeout))
      << restarted.log();
  ASSERT_TRUE(restarted.waitForLogLine("Indexer: in step with the store", kStepTimeout))
      << restarted.log();
  // The index kept from the first run already holds every message.
  EXPECT_TRUE(restarted.waitForLogLine(
      "0 added, 0 updated, 0 removed, " + std::to_string(kSampleMessages) + " unchanged",
      std::chrono::milliseconds(0)))
      << restarted.log();
  auto plugin = client.connect(kStepTimeout);
  ASSERT_TRUE(plugin.ok()) << restarted.log();

  std::uint64_t found = 0;
  companion::SearchEvents events;
  events.found = [&](const companion::BatchReport& batch) { found += batch.messages.size(); };
  const auto summary = client.runSearch({.queryString = wordQuery}, events, kStepTimeout);
  EXPECT_EQ(summary.outcome, SearchOutcome::Completed);
  EXPECT_EQ(found, static_cast<std::uint64_t>(word->messages));

  restarted.sendSignal(SIGTERM);
  EXPECT_EQ(restarted.waitForExit(kStepTimeout), 0) << restarted.log();
}

}  // namespace
}  // namespace trovadex::e2e
