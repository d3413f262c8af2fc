// End to end: a client killed while its live search runs never sends Terminate. When the last
// owner of the companion's bus name goes away, the plug-in tears the client's queries down by
// itself, so they are not among the names its quit reports.
#include <gtest/gtest.h>

#include <csignal>

#include "companion/client.hpp"
#include "companion/desktop_entry.hpp"
#include "tests/e2e/e2e_support.hpp"

namespace trovadex::e2e {
namespace {

using companion::Client;
using companion::ClientOptions;
using foundation::Value;

TEST(CompanionEndToEnd, QueriesOfAKilledClientAreTornDown) {
  linux_platform::GMainContextPtr context(g_main_context_new());
  GMainContext* const loop = context.get();
  const std::string library = testRoot() + "/DeathLibrary";

  const auto sample = runProgram(loop, {TROVADEX_MAILHOST, "sample", "--library", library,
                                        "--messages", "100", "--seed", "3"});
  ASSERT_EQ(sample.status, 0) << sample.err;
  const char* dataHome = std::getenv("XDG_DATA_HOME");
  ASSERT_NE(dataHome, nullptr);
  ASSERT_TRUE(companion::installDesktopEntry(dataHome, TROVADEX_CLI).ok());

  ChildProcess host(loop, {TROVADEX_MAILHOST, "run", "--library", library, "--bundle",
                           TROVADEX_PLUGIN_BUNDLE, "--alert-response", "2"});
  ASSERT_TRUE(host.waitForLogLine("Indexer: in step with the store", kStepTimeout)) << host.log();

  {
    ChildProcess doomed(loop, {TROVADEX_CLI, "search", "", "--live", "--client", "e2e-doomed",
                               "--timeout", "60", "--format", "paths"});
    // Its live query has delivered its first batch, which the client read and handed back.
    ASSERT_TRUE(
        host.waitForLogLine("received org.trovadex.MailPlugin.Clear / e2e-doomed", kStepTimeout))
        << host.log();
    doomed.sendSignal(SIGKILL);
    EXPECT_EQ(doomed.waitForExit(kStepTimeout), std::nullopt);  // killed, not exited
  }
  EXPECT_TRUE(host.waitForLogLine("TDMailPlugin terminate client e2e-doomed", kStepTimeout))
      << host.log();

  Value quitNames;
  ClientOptions options;
  options.clientName = "e2e-witness";
  options.context = loop;
  options.problem = [](const std::string& text) { ADD_FAILURE() << text; };
  options.events.pluginQuit = [&](const Value& names) { quitNames = names; };
  auto opened = Client::open(std::move(options));
  ASSERT_TRUE(opened.ok()) << opened.error().localizedDescription;
  Client& witness = *opened.value();
  ASSERT_TRUE(witness.connect(kStepTimeout).ok()) << host.log();

  host.sendSignal(SIGTERM);
  ASSERT_TRUE(witness.iterateUntil([&] { return !quitNames.isNil(); }, kStepTimeout)) << host.log();
  ASSERT_TRUE(quitNames.isArray()) << quitNames.description();
  for (const auto& name : *quitNames.asArray()) {
    EXPECT_FALSE(name.asString() && name.asString()->starts_with("e2e-doomed-"))
        << name.description() << " still ran";
  }
  EXPECT_EQ(host.waitForExit(kStepTimeout), 0) << host.log();
}

}  // namespace
}  // namespace trovadex::e2e
