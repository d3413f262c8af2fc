// End to end: a companion of another protocol version is warned of once per run of the host.
// Two Connects asking for the version check with a compatibility version the plug-in does not
// speak are both answered; the alert is presented (and logged, since the host answers it without
// a terminal) once only.
#include <gtest/gtest.h>

#include <csignal>

#include "companion/client.hpp"
#include "companion/desktop_entry.hpp"
#include "tests/e2e/e2e_support.hpp"

namespace trovadex::e2e {
namespace {

using companion::Client;
using companion::ClientOptions;
using companion::Command;
using foundation::Value;
namespace key = companion::key;

constexpr std::string_view kAlertLine =
    "Alert (Critical): The Trovadex Mail plug-in needs an update";

std::size_t occurrences(const std::string& text, std::string_view part) {
  std::size_t count = 0;
  for (auto at = text.find(part); at != std::string::npos; at = text.find(part, at + part.size())) {
    ++count;
  }
  return count;
}

TEST(CompanionEndToEnd, VersionAlertOncePerRun) {
  linux_platform::GMainContextPtr context(g_main_context_new());
  GMainContext* const loop = context.get();
  const std::string library = testRoot() + "/VersionLibrary";

  const auto sample = runProgram(
      loop, {TROVADEX_MAILHOST, "sample", "--library", library, "--messages", "20", "--seed", "7"});
  ASSERT_EQ(sample.status, 0) << sample.err;
  const char* dataHome = std::getenv("XDG_DATA_HOME");
  ASSERT_NE(dataHome, nullptr);
  ASSERT_TRUE(companion::installDesktopEntry(dataHome, TROVADEX_CLI).ok());

  std::vector<Value> answered;  // the compatibilityVersion of each PluginReady addressed to us
  ClientOptions options;
  options.clientName = "e2e-version";
  options.context = loop;
  options.problem = [](const std::string& text) { ADD_FAILURE() << text; };
  options.events.connected = [&](const companion::PluginInfo& plugin) {
    answered.push_back(plugin.compatibilityVersion);
  };
  auto opened = Client::open(std::move(options));
  ASSERT_TRUE(opened.ok()) << opened.error().localizedDescription;
  Client& client = *opened.value();

  ChildProcess host(loop, {TROVADEX_MAILHOST, "run", "--library", library, "--bundle",
                           TROVADEX_PLUGIN_BUNDLE, "--alert-response", "2"});
  ASSERT_TRUE(host.waitForLogLine("Indexer: in step with the store", kStepTimeout)) << host.log();

  const auto connect = [&](bool checkVersion, std::int64_t compatibilityVersion) {
    client.post(Command::Connect,
                Value::Dictionary{
                    {std::string(key::kClientName), client.clientName()},
                    {std::string(key::kVersion), "9.9"},
                    {std::string(key::kCompatibilityVersion), Value::integer(compatibilityVersion)},
                    {std::string(key::kCheckVersion), Value::boolean(checkVersion)}});
  };

  connect(true, 2);
  ASSERT_TRUE(client.iterateUntil([&] { return answered.size() == 1; }, kStepTimeout))
      << host.log();
  connect(true, 2);
  ASSERT_TRUE(client.iterateUntil([&] { return answered.size() == 2; }, kStepTimeout))
      << host.log();
  // Each answer gives the plug-in's own protocol version, which is not the one asked about.
  for (const Value& version : answered) {
    EXPECT_TRUE(version.isEqual(Value::integer(companion::kCompatibilityVersion)))
        << version.description();
  }

  // The one alert is answered with its only button.
  ASSERT_TRUE(host.waitForLogLine("Alert answered: 1 (OK)", kStepTimeout)) << host.log();
  // A third Connect, without the check, is handled after anything the second one queued; once
  // it is answered a second alert would be in the log already.
  connect(false, 2);
  ASSERT_TRUE(client.iterateUntil([&] { return answered.size() == 3; }, kStepTimeout))
      << host.log();
  EXPECT_EQ(occurrences(host.log(), kAlertLine), 1u) << host.log();
  EXPECT_EQ(occurrences(host.log(), "Alert answered:"), 1u) << host.log();

  host.sendSignal(SIGTERM);
  EXPECT_EQ(host.waitForExit(kStepTimeout), 0) << host.log();
}

}  // namespace
}  // namespace trovadex::e2e
