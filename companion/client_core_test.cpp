#include "companion/client_core.hpp"

#include <gtest/gtest.h>

#include <string>
#include <vector>

#include "companion/companion_test_support.hpp"

namespace trovadex::companion {
namespace {

using foundation::Value;
using testing::messageRecord;
using testing::RecordingPoster;
using testing::TemporaryFolder;
using testing::writeResultsBatch;

std::string answerName(const char* suffix) {
  return std::string("org.trovadex.MailPlugin.") + suffix;
}

class ClientCoreTest : public ::testing::Test {
 protected:
  ClientCoreTest() {
    ClientEvents events;
    events.connected = [this](const PluginInfo& info) {
      log.push_back("connected " + info.version);
    };
    events.pluginStarted = [this] { log.push_back("plug-in started"); };
    events.pluginQuit = [this](const Value& names) {
      log.push_back("plug-in quit " + std::to_string(names.count()));
    };
    core = std::make_unique<ClientCore>("cli", 4242, "1.0.0",
                                        linux_platform::PasteboardFolder(folder.path()),
                                        poster.poster(), std::move(events));
  }

  TemporaryFolder folder;
  RecordingPoster poster;
  std::vector<std::string> log;
  std::unique_ptr<ClientCore> core;
};

TEST_F(ClientCoreTest, ConnectsWithItsNameVersionAndProtocolVersion) {
  core->connect(true);
  ASSERT_EQ(poster.commands.size(), 1u);
  EXPECT_EQ(poster.commands[0].command, Command::Connect);
  EXPECT_EQ(poster.commands[0].userInfo,
            Value(Value::Dictionary{{"clientName", "cli"},
                                    {"version", "1.0.0"},
                                    {"compatibilityVersion", Value::integer(1)},
                                    {"checkVersion", Value::boolean(true)}}));
}

TEST_F(ClientCoreTest, TakesOnlyThePluginReadyThatEchoesItsClientName) {
  core->connect(true);
  core->receive(answerName("PluginReady"),
                Value::Dictionary{{"clientName", "other"}, {"version", "9"}});
  EXPECT_FALSE(core->plugin());
  core->receive(
      answerName("PluginReady"),
      Value::Dictionary{
          {"clientName", "cli"}, {"version", "2.3"}, {"compatibilityVersion", Value::integer(1)}});
  ASSERT_TRUE(core->plugin());
  EXPECT_EQ(core->plugin()->version, "2.3");
  EXPECT_TRUE(core->plugin()->isCompatible());
  EXPECT_EQ(core->connectAnswers(), 1u);
  EXPECT_EQ(log, (std::vector<std::string>{"connected 2.3"}));
}

TEST_F(ClientCoreTest, TellsAnIncompatiblePlugin) {
  core->receive(answerName("PluginReady"),
                Value::Dictionary{{"clientName", "cli"}, {"compatibilityVersion", "1"}});
  ASSERT_TRUE(core->plugin());
  EXPECT_FALSE(core->plugin()->isCompatible());
  core->receive(answerName("PluginReady"), Value::Dictionary{{"clientName", "cli"}});
  EXPECT_FALSE(core->plugin()->isCompatible());
}

TEST_F(ClientCoreTest, NamesSearchesAfterClientPidAndCounter) {
  auto first = core->startSearch({}, {});
  auto second = core->startSearch({}, {});
  EXPECT_EQ(first->uniqueName(), "cli-4242-1");
  EXPECT_EQ(second->uniqueName(), "cli-4242-2");
  EXPECT_EQ(core->activeNames(), (std::vector<std::string>{"cli-4242-1", "cli-4242-2"}));
}

TEST_F(ClientCoreTest, RoutesEachAnswerToTheSearchItNames) {
  std::vector<std::string> found;
  auto first = core->startSearch({}, {.found = [&](const BatchReport&) { found.push_back("1"); }});
  auto second = core->startSearch({}, {.found = [&](const BatchReport&) { found.push_back("2"); }});
  writeResultsBatch(core->pasteboards(), "pb-x", "cli-4242-2", 1, {messageRecord(1, "a")});
  core->receive(answerName("QueryHasUpdates"),
                Value::Dictionary{{"uniqueName", "cli-4242-2"},
                                  {"batchName", "pb-x"},
                                  {"batchNumber", Value::unsignedInteger(1)}});
  core->receive(answerName("QueryDidComplete"), Value::Dictionary{{"uniqueName", "cli-4242-1"}});
  EXPECT_EQ(found, (std::vector<std::string>{"2"}));
  EXPECT_EQ(first->summary().outcome, SearchOutcome::Completed);
  EXPECT_FALSE(second->ended());
  EXPECT_EQ(core->activeNames(), (std::vector<std::string>{"cli-4242-2"}));
}

TEST_F(ClientCoreTest, ANewSearchReplacesTheRunningOnesOfItsLineage) {
  auto main = core->startSearch({.lineageName = "main", .live = true}, {});
  auto side = core->startSearch({.lineageName = "side"}, {});
  auto plain = core->startSearch({}, {});
  const std::size_t postedBefore = poster.commands.size();
  auto next = core->startSearch({.lineageName = "main"}, {});
  EXPECT_EQ(main->summary().outcome, SearchOutcome::Replaced);
  EXPECT_FALSE(side->ended());
  EXPECT_FALSE(plain->ended());
  // The plug-in cancels the replaced query itself: only the new Search goes out.
  ASSERT_EQ(poster.commands.size(), postedBefore + 1);
  EXPECT_EQ(poster.commands.back().command, Command::Search);
  EXPECT_EQ(core->activeNames(),
            (std::vector<std::string>{"cli-4242-2", "cli-4242-3", "cli-4242-4"}));
}

TEST_F(ClientCoreTest, IgnoresItsOwnCommandsAndForeignSignals) {
  auto search = core->startSearch({}, {});
  core->receive("org.trovadex.MailPlugin.Search", poster.commands.back().userInfo);
  core->receive("org.trovadex.MailPlugin.Cancel", Value::Dictionary{{"uniqueName", "cli-4242-1"}});
  core->receive("org.other.Thing.QueryDidComplete",
                Value::Dictionary{{"uniqueName", "cli-4242-1"}});
  EXPECT_FALSE(search->ended());
  EXPECT_EQ(search->summary().answers, 0u);
}

TEST_F(ClientCoreTest, EndsRunningSearchesWhenThePluginQuits) {
  auto search = core->startSearch({.live = true}, {});
  core->receive(answerName("PluginReady"), Value::Dictionary{{"clientName", "cli"}});
  core->receive(answerName("PluginQuit"),
                Value::Dictionary{{"activeNames", Value::Array{"cli-4242-1"}}});
  EXPECT_EQ(search->summary().outcome, SearchOutcome::PluginQuit);
  EXPECT_FALSE(core->plugin());
  EXPECT_TRUE(core->activeNames().empty());
  EXPECT_EQ(log.back(), "plug-in quit 1");
}

TEST_F(ClientCoreTest, EndsRunningSearchesWhenAPluginAnnouncesItsStart) {
  auto search = core->startSearch({.live = true}, {});
  core->receive(answerName("PluginReady"),
                Value::Dictionary{{"version", "2"}, {"compatibilityVersion", Value::integer(1)}});
  EXPECT_EQ(search->summary().outcome, SearchOutcome::PluginQuit);
  EXPECT_EQ(log, (std::vector<std::string>{"plug-in started"}));
}

TEST_F(ClientCoreTest, InterruptCancelsEachRunningSearchThenTerminatesNamingThem) {
  auto finished = core->startSearch({}, {});
  auto first = core->startSearch({.live = true}, {});
  auto second = core->startSearch({}, {});
  core->receive(answerName("QueryDidComplete"), Value::Dictionary{{"uniqueName", "cli-4242-1"}});
  poster.commands.clear();

  core->interrupt();
  ASSERT_EQ(poster.commands.size(), 3u);
  EXPECT_EQ(poster.commands[0].command, Command::Cancel);
  EXPECT_EQ(poster.commands[0].userInfo["uniqueName"], Value("cli-4242-2"));
  EXPECT_EQ(poster.commands[1].command, Command::Cancel);
  EXPECT_EQ(poster.commands[1].userInfo["uniqueName"], Value("cli-4242-3"));
  EXPECT_EQ(poster.commands[2].command, Command::Terminate);
  EXPECT_EQ(poster.commands[2].userInfo,
            Value(Value::Dictionary{{"clientName", "cli"},
                                    {"activeNames", Value::Array{"cli-4242-2", "cli-4242-3"}}}));
  EXPECT_EQ(first->summary().outcome, SearchOutcome::Interrupted);
  EXPECT_EQ(second->summary().outcome, SearchOutcome::Interrupted);
  EXPECT_EQ(finished->summary().outcome, SearchOutcome::Completed);
}

TEST_F(ClientCoreTest, TerminateAloneSendsNoCancel) {
  auto search = core->startSearch({.live = true}, {});
  poster.commands.clear();
  core->terminate();
  ASSERT_EQ(poster.commands.size(), 1u);
  EXPECT_EQ(poster.commands[0].command, Command::Terminate);
  EXPECT_EQ(poster.commands[0].userInfo["activeNames"], Value(Value::Array{"cli-4242-1"}));
  EXPECT_TRUE(search->ended());

  core->terminate();
  EXPECT_EQ(poster.commands[1].userInfo["activeNames"], Value(Value::Array{}));
}

}  // namespace
}  // namespace trovadex::companion
