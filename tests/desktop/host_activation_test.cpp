// The mail host started on demand: with no host running, a client's Connect goes unanswered,
// the client asks the bus to start org.trovadex.MailHost, and the bus starts the build tree's
// host from its service file; that host, on a store it has never indexed, takes its name once
// the index is in step, so the search finds every message, and it exits once its last client has
// left for its idle time. A name without a service fails the connect with the bus's reason.
#include <gtest/gtest.h>

#include <algorithm>
#include <sstream>

#include "companion/client.hpp"
#include "linux/mail_host_bus_name.hpp"
#include "tests/desktop/desktop_test_support.hpp"
#include "tests/e2e/e2e_support.hpp"

namespace trovadex::desktop_testing {
namespace {

using namespace std::chrono_literals;

std::size_t lineCount(const std::string& text) {
  return static_cast<std::size_t>(std::count(text.begin(), text.end(), '\n'));
}

TEST(HostActivation, ASearchWithNoHostRunningStartsOneWhichLeavesWhenIdle) {
  linux_platform::GMainContextPtr context(g_main_context_new());
  const auto manifest = prepareDefaultLibrary(context.get(), 150, 5, /*indexFirst=*/false);
  ASSERT_TRUE(manifest);
  const auto word = std::find_if(
      manifest->words.begin(), manifest->words.end(),
      [](const auto& planted) { return planted.field == "body" && planted.messages > 0; });
  ASSERT_NE(word, manifest->words.end());

  NameWatch host(context.get(), std::string(linux_platform::kMailHostBusName));
  ASSERT_TRUE(host.waitForOwner(false, e2e::kStepTimeout)) << "a host runs before the search";

  const auto search = e2e::runProgram(
      context.get(), {TROVADEX_CLI, "search", "kMDItemTextContent == \"" + word->word + "\"cd",
                      "--format", "paths", "--timeout", "60"});
  ASSERT_EQ(search.status, 0) << search.err;
  EXPECT_EQ(lineCount(search.out), static_cast<std::size_t>(word->messages)) << search.out;
  EXPECT_TRUE(host.hasOwner()) << "the started host owns its name";

  // The search's client has left; the host started on demand follows after its idle time.
  EXPECT_TRUE(host.waitForOwner(false, e2e::kStepTimeout)) << "the host did not exit when idle";
}

TEST(HostActivation, ANameWithoutAServiceFailsTheConnectWithTheBussReason) {
  companion::ClientOptions options;
  options.activationName = "org.trovadex.NoSuchService";
  auto client = companion::Client::open(std::move(options));
  ASSERT_TRUE(client.ok()) << client.error().localizedDescription;
  auto connected = client.value()->connect(2s);
  ASSERT_FALSE(connected.ok());
  EXPECT_EQ(connected.error().code, companion::kNoPluginAnswered);
  EXPECT_NE(connected.error().localizedDescription.find("could not be started"), std::string::npos)
      << connected.error().localizedDescription;
  EXPECT_NE(connected.error().localizedDescription.find("org.trovadex.NoSuchService"),
            std::string::npos)
      << connected.error().localizedDescription;
}

}  // namespace
}  // namespace trovadex::desktop_testing
