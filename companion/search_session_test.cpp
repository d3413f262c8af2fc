#include "companion/search_session.hpp"

#include <gtest/gtest.h>

#include <memory>
#include <string>
#include <vector>

#include "companion/companion_test_support.hpp"

namespace trovadex::companion {
namespace {

using foundation::Value;
using testing::messageRecord;
using testing::RecordingPoster;
using testing::TemporaryFolder;
using testing::writeRemovalBatch;
using testing::writeResultsBatch;

constexpr const char* kName = "client-42-1";

// One search over a temporary pasteboard folder, with every event recorded.
class SessionTest : public ::testing::Test {
 protected:
  std::shared_ptr<SearchSession> start(SearchRequest request = {}) {
    SearchEvents events;
    events.started = [this] { log.push_back("started"); };
    events.found = [this](const BatchReport& batch) {
      std::string line = "batch " + std::to_string(batch.batchNumber) + ":";
      for (const auto& message : batch.messages) line += " " + std::to_string(*message.libraryID);
      log.push_back(line);
      if (onFound) onFound(batch);
    };
    events.removed = [this](const RemovalReport& removal) {
      std::string line = "removed:";
      for (const auto& identifier : removal.identifiers) line += " " + identifier;
      line += " known:";
      for (const auto& message : removal.knownMessages) line += " " + *message.path;
      log.push_back(line);
    };
    events.gathered = [this] { log.push_back("gathered"); };
    events.problem = [this](const std::string& text) { problems.push_back(text); };
    events.ended = [this] { log.push_back("ended"); };
    session = std::make_shared<SearchSession>(kName, "client", "1.0.0", std::move(request),
                                              pasteboards, poster.poster(), std::move(events));
    session->start();
    return session;
  }

  static Value update(std::uint64_t number, const std::string& batchName,
                      Value::Array pending = {}) {
    return Value::Dictionary{{"uniqueName", kName},
                             {"batchName", batchName},
                             {"batchNumber", Value::unsignedInteger(number)},
                             {"foundItemCount", Value::unsignedInteger(10 * number)},
                             {"pendingBatches", std::move(pending)}};
  }
  static Value pendingEntry(std::uint64_t number, const std::string& batchName) {
    return Value::Dictionary{{"batchNumber", Value::unsignedInteger(number)},
                             {"batchName", batchName}};
  }
  static Value removal(std::uint64_t number, const std::string& batchName) {
    return Value::Dictionary{{"uniqueName", kName},
                             {"batchName", batchName},
                             {"batchNumber", Value::unsignedInteger(number)}};
  }
  static Value completed(Value::Dictionary extra = {}) {
    extra.emplace("uniqueName", kName);
    extra.emplace("notification", "completed");
    return extra;
  }
  std::vector<std::string> clearedBatchNames() const {
    std::vector<std::string> names;
    for (const auto& userInfo : poster.userInfosOf(Command::Clear)) {
      names.push_back(*stringForKey(userInfo, "batchName"));
    }
    return names;
  }

  TemporaryFolder folder;
  linux_platform::PasteboardFolder pasteboards{folder.path()};
  RecordingPoster poster;
  std::shared_ptr<SearchSession> session;
  std::vector<std::string> log;
  std::vector<std::string> problems;
  std::function<void(const BatchReport&)> onFound;
};

TEST_F(SessionTest, SendsSearchWithTheRequestedQueryAndSorting) {
  start({.queryString = "kMDItemSubject == \"a*\"",
         .sortingAttribute = "kMDItemFSCreationDate",
         .sortAscending = true,
         .lineageName = "main"});
  ASSERT_EQ(poster.commands.size(), 1u);
  EXPECT_EQ(poster.commands[0].command, Command::Search);
  EXPECT_EQ(poster.commands[0].userInfo,
            Value(Value::Dictionary{{"uniqueName", kName},
                                    {"clientName", "client"},
                                    {"version", "1.0.0"},
                                    {"lineageName", "main"},
                                    {"queryString", "kMDItemSubject == \"a*\""},
                                    {"sortingAttribute", "kMDItemFSCreationDate"},
                                    {"sortAscending", Value::boolean(true)}}));
}

TEST_F(SessionTest, LeavesOutTheSortingAttributeAndLineageWhenNoneIsAsked) {
  start({.queryString = ""});
  const Value& userInfo = poster.commands.at(0).userInfo;
  EXPECT_TRUE(userInfo["sortingAttribute"].isNil());
  EXPECT_TRUE(userInfo["lineageName"].isNil());
  EXPECT_EQ(userInfo["sortAscending"], Value::boolean(false));
  EXPECT_EQ(userInfo["queryString"], Value(""));
}

TEST_F(SessionTest, ReadsABatchReportsItsMessagesAndClearsIt) {
  start();
  writeResultsBatch(pasteboards, "pb-1", kName, 1, {messageRecord(7, "a"), messageRecord(9, "b")});
  session->receive(Answer::QueryDidStart, Value::Dictionary{{"uniqueName", kName}});
  session->receive(Answer::QueryHasUpdates, update(1, "pb-1"));

  EXPECT_EQ(log, (std::vector<std::string>{"started", "batch 1: 7 9"}));
  const auto clears = poster.userInfosOf(Command::Clear);
  ASSERT_EQ(clears.size(), 1u);
  EXPECT_EQ(clears[0],
            Value(Value::Dictionary{
                {"uniqueName", kName}, {"clientName", "client"}, {"batchName", "pb-1"}}));
  EXPECT_EQ(session->summary().messages, 2u);
  EXPECT_EQ(session->summary().foundItemCount, 10u);
  EXPECT_FALSE(session->ended());
}

TEST_F(SessionTest, ReadsPendingBatchesItMissedFirstInNumberOrder) {
  start();
  writeResultsBatch(pasteboards, "pb-a", kName, 1, {messageRecord(1, "a")});
  writeResultsBatch(pasteboards, "pb-b", kName, 2, {messageRecord(2, "b")});
  writeResultsBatch(pasteboards, "pb-c", kName, 3, {messageRecord(3, "c")});
  session->receive(Answer::QueryHasUpdates,
                   update(3, "pb-c", {pendingEntry(2, "pb-b"), pendingEntry(1, "pb-a")}));

  EXPECT_EQ(log, (std::vector<std::string>{"batch 1: 1", "batch 2: 2", "batch 3: 3"}));
  EXPECT_EQ(clearedBatchNames(), (std::vector<std::string>{"pb-a", "pb-b", "pb-c"}));
}

TEST_F(SessionTest, ReadsABatchOnceWhenItIsStillListedAsPendingAfterItsClear) {
  start();
  writeResultsBatch(pasteboards, "pb-a", kName, 1, {messageRecord(1, "a")});
  session->receive(Answer::QueryHasUpdates, update(1, "pb-a"));
  // The plug-in posted batch 2 before it handled our Clear of batch 1.
  writeResultsBatch(pasteboards, "pb-b", kName, 2, {messageRecord(2, "b")});
  session->receive(Answer::QueryHasUpdates, update(2, "pb-b", {pendingEntry(1, "pb-a")}));
  session->receive(Answer::QueryHasUpdates, update(2, "pb-b"));

  EXPECT_EQ(log, (std::vector<std::string>{"batch 1: 1", "batch 2: 2"}));
  EXPECT_EQ(clearedBatchNames(), (std::vector<std::string>{"pb-a", "pb-b"}));
  EXPECT_EQ(session->summary().messages, 2u);
}

TEST_F(SessionTest, IgnoresAnswersAboutOtherSearches) {
  start();
  writeResultsBatch(pasteboards, "pb-1", "someone-else", 1, {messageRecord(1, "a")});
  Value other = Value::Dictionary{{"uniqueName", "someone-else"},
                                  {"batchName", "pb-1"},
                                  {"batchNumber", Value::unsignedInteger(1)}};
  session->receive(Answer::QueryHasUpdates, other);
  session->receive(Answer::QueryDidComplete, Value::Dictionary{{"uniqueName", "someone-else"}});
  session->receive(Answer::QueryDidComplete, Value::Dictionary{{"notification", "completed"}});

  EXPECT_TRUE(log.empty());
  EXPECT_EQ(poster.commands.size(), 1u);  // the Search alone
  EXPECT_EQ(session->summary().answers, 0u);
}

TEST_F(SessionTest, NeitherReportsNorClearsABatchThatNamesAnotherSearch) {
  start();
  writeResultsBatch(pasteboards, "pb-1", "someone-else", 1, {messageRecord(1, "a")});
  session->receive(Answer::QueryHasUpdates, update(1, "pb-1"));
  EXPECT_TRUE(log.empty());
  EXPECT_TRUE(clearedBatchNames().empty());
  ASSERT_EQ(problems.size(), 1u);
  EXPECT_NE(problems[0].find("someone-else"), std::string::npos);
}

TEST_F(SessionTest, ReportsAnUnreadableBatchClearsItAndGoesOn) {
  start();
  session->receive(Answer::QueryHasUpdates, update(1, "pb-missing"));
  ASSERT_TRUE(pasteboards
                  .writePropertyList("pb-junk", pasteboardTypeName(BatchKind::Results),
                                     Value("not a dictionary"))
                  .ok());
  session->receive(Answer::QueryHasUpdates, update(2, "pb-junk"));
  writeResultsBatch(pasteboards, "pb-3", kName, 3, {messageRecord(3, "c")});
  session->receive(Answer::QueryHasUpdates, update(3, "pb-3"));

  EXPECT_EQ(problems.size(), 2u);
  EXPECT_EQ(log, (std::vector<std::string>{"batch 3: 3"}));
  EXPECT_EQ(clearedBatchNames(), (std::vector<std::string>{"pb-missing", "pb-junk", "pb-3"}));
}

TEST_F(SessionTest, IgnoresAnUpdateWithoutBatchNameOrNumber) {
  start();
  session->receive(Answer::QueryHasUpdates, Value::Dictionary{{"uniqueName", kName}});
  session->receive(Answer::QueryHasUpdates,
                   Value::Dictionary{{"uniqueName", kName}, {"batchName", "pb-1"}});
  EXPECT_EQ(problems.size(), 2u);
  EXPECT_EQ(poster.commands.size(), 1u);
  EXPECT_FALSE(session->ended());
}

TEST_F(SessionTest, ReadsRemovalBatchesWithoutClearingThem) {
  start({.live = true});
  writeResultsBatch(pasteboards, "pb-1", kName, 1, {messageRecord(5, "a"), messageRecord(6, "b")});
  session->receive(Answer::QueryHasUpdates, update(1, "pb-1"));
  writeRemovalBatch(pasteboards, "pb-2", kName, 1, {"6", Value::integer(8), "77"});
  session->receive(Answer::QueryHasRemovals, removal(1, "pb-2"));
  session->receive(Answer::QueryHasRemovals, removal(1, "pb-2"));

  EXPECT_EQ(log,
            (std::vector<std::string>{"batch 1: 5 6", "removed: 6 77 known: /mail/V10/6.emlx"}));
  EXPECT_EQ(clearedBatchNames(), (std::vector<std::string>{"pb-1"}));
  EXPECT_EQ(session->summary().removalBatches, 1u);
  EXPECT_EQ(session->summary().removedMessages, 2u);
}

TEST_F(SessionTest, CompletesWithoutErrorAndCancelsTheQueryItLeavesBehind) {
  start();
  session->receive(Answer::QueryDidComplete, completed());
  EXPECT_EQ(session->summary().outcome, SearchOutcome::Completed);
  EXPECT_FALSE(session->summary().failure);
  EXPECT_EQ(log, (std::vector<std::string>{"ended"}));
  const auto cancels = poster.userInfosOf(Command::Cancel);
  ASSERT_EQ(cancels.size(), 1u);
  EXPECT_EQ(cancels[0], Value(Value::Dictionary{{"uniqueName", kName}, {"clientName", "client"}}));
}

TEST_F(SessionTest, FailsWithTheErrorKeysOfCompletion) {
  start();
  session->receive(Answer::QueryDidComplete,
                   completed({{"errorCode", Value::integer(-2002)},
                              {"errorDomain", "CSSearchQueryErrorDomain"},
                              {"errorMessage", "Unbalanced parenthesis"}}));
  ASSERT_EQ(session->summary().outcome, SearchOutcome::Failed);
  ASSERT_TRUE(session->summary().failure);
  EXPECT_EQ(session->summary().failure->code, -2002);
  EXPECT_EQ(session->summary().failure->domain, "CSSearchQueryErrorDomain");
  EXPECT_EQ(session->summary().failure->message, "Unbalanced parenthesis");
  // The plug-in tears a failed query down itself.
  EXPECT_TRUE(poster.userInfosOf(Command::Cancel).empty());
}

TEST_F(SessionTest, FailsOnAnyOneErrorKey) {
  start();
  session->receive(Answer::QueryDidComplete, completed({{"errorDomain", "SomeDomain"}}));
  ASSERT_EQ(session->summary().outcome, SearchOutcome::Failed);
  EXPECT_EQ(session->summary().failure->domain, "SomeDomain");
  EXPECT_EQ(session->summary().failure->code, 0);
}

TEST_F(SessionTest, LiveSearchGoesOnAfterItsFirstGatheringUntilInterrupted) {
  start({.live = true});
  session->receive(Answer::QueryDidComplete, completed());
  EXPECT_TRUE(session->summary().gathered);
  EXPECT_FALSE(session->ended());
  EXPECT_FALSE(session->awaitingAnswers());
  writeResultsBatch(pasteboards, "pb-9", kName, 1, {messageRecord(12, "new")});
  session->receive(Answer::QueryHasUpdates, update(1, "pb-9"));
  EXPECT_TRUE(poster.userInfosOf(Command::Cancel).empty());

  session->interrupt();
  session->interrupt();
  EXPECT_EQ(session->summary().outcome, SearchOutcome::Interrupted);
  EXPECT_EQ(poster.userInfosOf(Command::Cancel).size(), 1u);
  EXPECT_EQ(log, (std::vector<std::string>{"gathered", "batch 1: 12", "ended"}));
}

TEST_F(SessionTest, StopsAtItsLimitCancelsAndIgnoresLaterBatches) {
  start({.limit = 3});
  writeResultsBatch(pasteboards, "pb-1", kName, 1, {messageRecord(1, "a"), messageRecord(2, "b")});
  writeResultsBatch(pasteboards, "pb-2", kName, 2, {messageRecord(3, "c"), messageRecord(4, "d")});
  writeResultsBatch(pasteboards, "pb-3", kName, 3, {messageRecord(5, "e")});
  session->receive(Answer::QueryHasUpdates, update(1, "pb-1"));
  session->receive(Answer::QueryHasUpdates, update(2, "pb-2"));
  session->receive(Answer::QueryHasUpdates, update(3, "pb-3"));

  EXPECT_EQ(log, (std::vector<std::string>{"batch 1: 1 2", "batch 2: 3", "ended"}));
  EXPECT_EQ(session->summary().outcome, SearchOutcome::LimitReached);
  EXPECT_EQ(session->summary().messages, 3u);
  EXPECT_EQ(clearedBatchNames(), (std::vector<std::string>{"pb-1", "pb-2"}));
  EXPECT_EQ(poster.userInfosOf(Command::Cancel).size(), 1u);
}

TEST_F(SessionTest, StopsReadingPendingBatchesWhenAnEventInterruptsIt) {
  start();
  writeResultsBatch(pasteboards, "pb-a", kName, 1, {messageRecord(1, "a")});
  writeResultsBatch(pasteboards, "pb-b", kName, 2, {messageRecord(2, "b")});
  onFound = [this](const BatchReport&) { session->interrupt(); };
  session->receive(Answer::QueryHasUpdates, update(2, "pb-b", {pendingEntry(1, "pb-a")}));
  EXPECT_EQ(log, (std::vector<std::string>{"batch 1: 1", "ended"}));
  EXPECT_EQ(clearedBatchNames(), (std::vector<std::string>{"pb-a"}));
}

TEST_F(SessionTest, GivingUpCancelsAndEndsWithoutAnswer) {
  start();
  session->giveUp();
  EXPECT_EQ(session->summary().outcome, SearchOutcome::NoAnswer);
  EXPECT_EQ(poster.userInfosOf(Command::Cancel).size(), 1u);
  session->receive(Answer::QueryDidComplete, completed());
  EXPECT_EQ(session->summary().outcome, SearchOutcome::NoAnswer);
}

}  // namespace
}  // namespace trovadex::companion
