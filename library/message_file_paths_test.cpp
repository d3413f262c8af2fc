#include <gtest/gtest.h>

#include <string>
#include <vector>

#include "platform/fake/fake_ports.hpp"
#include "plugin/td_mail_plugin.hpp"

namespace trovadex::plugin {
namespace {

using foundation::Value;
using platform::fake::DataPathRequest;
using platform::fake::FakePorts;
using platform::fake::MessageFiles;
using Statements = std::vector<std::string>;

MessageRecord withID(std::int64_t libraryID) {
  MessageRecord record;
  record.libraryID = libraryID;
  return record;
}

MessageRecord withPath(std::string path) {
  MessageRecord record;
  record.path = std::move(path);
  return record;
}

class MessageFilePaths : public ::testing::Test {
 protected:
  std::string wholeFile(std::int64_t id, std::int64_t mailbox) {
    return library().messageFilePath(id, mailbox, 0).string();
  }
  std::string partialFile(std::int64_t id, std::int64_t mailbox) {
    return library().messageFilePath(id, mailbox, 1).string();
  }
  platform::fake::FakeMailLibrary& library() { return *ports_.mailLibrary; }
  Statements statements() { return library().database().executedStatements(); }

  std::vector<MessageRecord*> load(std::vector<MessageRecord>& records) {
    return TDMailPlugin::loadFilePaths(context_, records, &foundItemIndex_);
  }
  static std::vector<std::optional<std::string>> pathsOf(
      const std::vector<MessageRecord*>& records) {
    std::vector<std::optional<std::string>> paths;
    paths.reserve(records.size());
    for (const MessageRecord* record : records) paths.push_back(record->path);
    return paths;
  }
  static std::vector<std::uint64_t> indexesOf(const std::vector<MessageRecord*>& records) {
    std::vector<std::uint64_t> indexes;
    indexes.reserve(records.size());
    for (const MessageRecord* record : records) indexes.push_back(record->index.value_or(999999));
    return indexes;
  }

  FakePorts ports_;
  PluginContext context_{ports_.ports()};
  std::uint64_t foundItemIndex_ = 0;
};

// ---- The batch form: which records are looked up, numbered or dropped ---------------------------

TEST_F(MessageFilePaths, RecordsThatAlreadyHavePathsRunNoSqlAndAreOnlyNumbered) {
  std::vector<MessageRecord> records = {withPath("/a.emlx"), withPath("/b.emlx"), withPath("/c")};
  records[1].libraryID = 5;
  records[2].attributes = {{"kMDItemDisplayName", Value("Shown")}};

  const auto delivered = load(records);

  EXPECT_EQ(pathsOf(delivered),
            (std::vector<std::optional<std::string>>{"/a.emlx", "/b.emlx", "/c"}));
  EXPECT_EQ(indexesOf(delivered), (std::vector<std::uint64_t>{0, 1, 2}));
  EXPECT_TRUE(delivered[0]->attributes.empty());
  EXPECT_EQ(delivered[2]->attributes.at("kMDItemDisplayName"), Value("Shown"));
  EXPECT_TRUE(statements().empty());
  EXPECT_EQ(library().database().readBlockCount(), 0u);
  EXPECT_TRUE(library().dataPathRequests().empty());
  EXPECT_EQ(foundItemIndex_, 3u);
}

TEST_F(MessageFilePaths, RecordsWithNeitherPathNorIDAreDroppedWithoutANumber) {
  ASSERT_TRUE(library().addMessage(5, 3).ok());
  std::vector<MessageRecord> records = {MessageRecord{}, withPath("/a.emlx"), MessageRecord{},
                                        withID(5), MessageRecord{}};
  const auto delivered = load(records);
  EXPECT_EQ(pathsOf(delivered),
            (std::vector<std::optional<std::string>>{"/a.emlx", wholeFile(5, 3)}));
  EXPECT_EQ(indexesOf(delivered), (std::vector<std::uint64_t>{0, 1}));
  EXPECT_EQ(foundItemIndex_, 2u);
  EXPECT_FALSE(records[0].index.has_value());
}

TEST_F(MessageFilePaths, NumberingContinuesFromTheCounterAcrossBatches) {
  for (std::int64_t id = 1; id <= 10; ++id) ASSERT_TRUE(library().addMessage(id, 2).ok());
  std::vector<MessageRecord> records;
  for (std::int64_t id = 1; id <= 10; ++id) records.push_back(withID(id));
  foundItemIndex_ = 750;

  const auto delivered = load(records);

  ASSERT_EQ(delivered.size(), 10u);
  for (std::size_t i = 0; i < delivered.size(); ++i) EXPECT_EQ(delivered[i]->index, 750 + i);
  EXPECT_EQ(foundItemIndex_, 760u);
}

TEST_F(MessageFilePaths, ChangesTheCallersRecordsInPlace) {
  ASSERT_TRUE(library().addMessage(5, 3).ok());
  std::vector<MessageRecord> records = {withID(5)};
  load(records);
  EXPECT_EQ(records[0].path, wholeFile(5, 3));
  EXPECT_EQ(records[0].index, 0u);
  EXPECT_EQ(records[0].attributes.at("kMDItemDisplayName"), Value("5.emlx"));
}

// ---- The batch form: the database route
// ----------------------------------------------------------

TEST_F(MessageFilePaths, RunsOneStatementListingTheIDsInRecordOrder) {
  for (std::int64_t id : {5, 7, 9}) ASSERT_TRUE(library().addMessage(id, 4).ok());
  std::vector<MessageRecord> records = {withID(5), withPath("/x"), withID(7), withID(9)};

  const auto delivered = load(records);

  EXPECT_EQ(statements(),
            (Statements{"SELECT rowid, mailbox FROM messages where rowid in (5,7,9)"}));
  EXPECT_EQ(pathsOf(delivered), (std::vector<std::optional<std::string>>{
                                    wholeFile(5, 4), "/x", wholeFile(7, 4), wholeFile(9, 4)}));
  EXPECT_TRUE(library().messageRequests().empty());
}

TEST_F(MessageFilePaths, KeepsDuplicateAndNegativeIDsInTheStatement) {
  ASSERT_TRUE(library().addMessage(5, 4).ok());
  std::vector<MessageRecord> records = {withID(5), withID(-2), withID(5)};
  const auto delivered = load(records);
  EXPECT_EQ(statements(),
            (Statements{"SELECT rowid, mailbox FROM messages where rowid in (5,-2,5)"}));
  EXPECT_EQ(pathsOf(delivered),
            (std::vector<std::optional<std::string>>{wholeFile(5, 4), wholeFile(5, 4)}));
  EXPECT_EQ(library().messageRequests(), (std::vector<std::int64_t>{-2}));
}

TEST_F(MessageFilePaths, DeliversThePartialFileWhenTheWholeOneIsMissing) {
  ASSERT_TRUE(library().addMessage(5, 3, MessageFiles::Partial).ok());
  ASSERT_TRUE(library().addMessage(6, 3, MessageFiles::WholeAndPartial).ok());
  std::vector<MessageRecord> records = {withID(5), withID(6)};

  const auto delivered = load(records);

  EXPECT_EQ(pathsOf(delivered),
            (std::vector<std::optional<std::string>>{partialFile(5, 3), wholeFile(6, 3)}));
  EXPECT_EQ(library().dataPathRequests(),
            (std::vector<DataPathRequest>{{5, 3, 0}, {5, 3, 1}, {6, 3, 0}}));
}

TEST_F(MessageFilePaths, UsesAMailboxOfZeroAsItStands) {
  ASSERT_TRUE(library().addMessage(5, 0).ok());
  std::vector<MessageRecord> records = {withID(5)};
  EXPECT_EQ(pathsOf(load(records)), (std::vector<std::optional<std::string>>{wholeFile(5, 0)}));
}

TEST_F(MessageFilePaths, SetsAMissingDisplayNameOnlyOnRecordsResolvedHere) {
  ASSERT_TRUE(library().addMessage(5, 3).ok());
  ASSERT_TRUE(library().addMessage(6, 3).ok());
  std::vector<MessageRecord> records = {withID(5), withID(6), withPath("/kept/p.emlx")};
  records[1].attributes = {{"kMDItemDisplayName", Value("Quarterly report")},
                           {"kMDItemSubject", Value("Q3")}};

  const auto delivered = load(records);

  EXPECT_EQ(delivered[0]->attributes, (Value::Dictionary{{"kMDItemDisplayName", Value("5.emlx")}}));
  EXPECT_EQ(delivered[1]->attributes.at("kMDItemDisplayName"), Value("Quarterly report"));
  EXPECT_EQ(delivered[1]->attributes.size(), 2u);
  EXPECT_FALSE(delivered[2]->attributes.contains("kMDItemDisplayName"));
}

// ---- The batch form: the object route
// -------------------------------------------------------------

TEST_F(MessageFilePaths, TakesTheMessageObjectsPathWhenTheDatabaseIsUnavailable) {
  library().setRespondsToLibraryDatabase(false);
  library().setMessagePath(5, "/object/5.emlx");
  library().setMessagePath(7, std::nullopt);  // a message without a file
  std::vector<MessageRecord> records = {withID(5), withID(6), withID(7)};

  const auto delivered = load(records);

  EXPECT_EQ(pathsOf(delivered), (std::vector<std::optional<std::string>>{"/object/5.emlx"}));
  EXPECT_EQ(indexesOf(delivered), (std::vector<std::uint64_t>{0}));
  EXPECT_EQ(delivered[0]->attributes.at("kMDItemDisplayName"), Value("5.emlx"));
  EXPECT_EQ(library().messageRequests(), (std::vector<std::int64_t>{5, 6, 7}));
  EXPECT_TRUE(statements().empty());
  EXPECT_EQ(foundItemIndex_, 1u);
}

TEST_F(MessageFilePaths, TakesTheObjectRouteWithoutReadBlocks) {
  library().database().setRespondsToPerformReadBlock(false);
  ASSERT_TRUE(library().addMessage(5, 3).ok());
  library().setMessagePath(5, "/object/5.emlx");
  std::vector<MessageRecord> records = {withID(5)};
  EXPECT_EQ(pathsOf(load(records)), (std::vector<std::optional<std::string>>{"/object/5.emlx"}));
  EXPECT_EQ(library().database().readBlockCount(), 0u);
  EXPECT_TRUE(library().dataPathRequests().empty());
}

TEST_F(MessageFilePaths, TakesTheObjectRouteWhenTheLibraryHasNoDataPaths) {
  library().setRespondsToDataPathForMessage(false);
  ASSERT_TRUE(library().addMessage(5, 3).ok());
  library().setMessagePath(5, "/object/5.emlx");
  std::vector<MessageRecord> records = {withID(5)};
  EXPECT_EQ(pathsOf(load(records)), (std::vector<std::optional<std::string>>{"/object/5.emlx"}));
  EXPECT_EQ(statements().size(), 1u);
  EXPECT_EQ(library().unsupportedCallCount(), 0u);
}

TEST_F(MessageFilePaths, TakesTheObjectRouteForEachIDTheDatabaseLeavesUnresolved) {
  ASSERT_TRUE(library().addMessage(5, 3).ok());
  ASSERT_TRUE(library().addMessage(6, 3, MessageFiles::None).ok());  // row, but no file
  library().setMessagePath(6, "/object/6.emlx");
  library().setMessagePath(8, "/object/8.emlx");  // no row at all
  std::vector<MessageRecord> records = {withID(5), withID(6), withID(8)};

  const auto delivered = load(records);

  EXPECT_EQ(pathsOf(delivered), (std::vector<std::optional<std::string>>{
                                    wholeFile(5, 3), "/object/6.emlx", "/object/8.emlx"}));
  EXPECT_EQ(library().messageRequests(), (std::vector<std::int64_t>{6, 8}));
}

TEST_F(MessageFilePaths, TakesTheObjectRouteWhenTheStatementCannotBePrepared) {
  ASSERT_TRUE(library().addMessage(5, 3).ok());
  ASSERT_TRUE(library().executeSql("DROP TABLE messages").ok());
  library().setMessagePath(5, "/object/5.emlx");
  std::vector<MessageRecord> records = {withID(5)};
  EXPECT_EQ(pathsOf(load(records)), (std::vector<std::optional<std::string>>{"/object/5.emlx"}));
  EXPECT_EQ(library().database().readBlockCount(), 1u);
}

TEST_F(MessageFilePaths, KeepsOnlyRecordsWithPathsWhenTheHostHasNoLibrary) {
  ports_.hostClasses->setMailLibraryClassPresent(false);
  std::vector<MessageRecord> records = {withID(5), withPath("/a.emlx"), withID(6)};
  const auto delivered = load(records);
  EXPECT_EQ(pathsOf(delivered), (std::vector<std::optional<std::string>>{"/a.emlx"}));
  EXPECT_EQ(indexesOf(delivered), (std::vector<std::uint64_t>{0}));
  EXPECT_TRUE(library().messageRequests().empty());
}

// ---- The single-message form -------------------------------------------------------------------

TEST_F(MessageFilePaths, SingleFormReadsTheFirstRowAndChecksTheFiles) {
  ASSERT_TRUE(library().addMessage(5, 3, MessageFiles::Partial).ok());
  EXPECT_EQ(TDMailPlugin::emlxPathForMessageWithLibraryID(context_, 5), partialFile(5, 3));
  EXPECT_EQ(statements(), (Statements{"SELECT rowid, mailbox FROM messages where rowid = 5"}));
  EXPECT_EQ(library().dataPathRequests(), (std::vector<DataPathRequest>{{5, 3, 0}, {5, 3, 1}}));
  EXPECT_TRUE(library().messageRequests().empty());
}

TEST_F(MessageFilePaths, SingleFormWithIDZeroGoesStraightToTheMessageObject) {
  library().setMessagePath(0, "/object/0.emlx");
  EXPECT_EQ(TDMailPlugin::emlxPathForMessageWithLibraryID(context_, 0), "/object/0.emlx");
  EXPECT_EQ(library().database().readBlockCount(), 0u);
  EXPECT_TRUE(statements().empty());
}

TEST_F(MessageFilePaths, SingleFormTakesAMailboxOfZeroAsNotFound) {
  ASSERT_TRUE(library().addMessage(5, 0).ok());  // the batch form would deliver wholeFile(5, 0)
  library().setMessagePath(5, "/object/5.emlx");
  EXPECT_EQ(TDMailPlugin::emlxPathForMessageWithLibraryID(context_, 5), "/object/5.emlx");
  EXPECT_TRUE(library().dataPathRequests().empty());
}

TEST_F(MessageFilePaths, SingleFormFallsToTheMessageObjectOrNothing) {
  ASSERT_TRUE(library().addMessage(5, 3, MessageFiles::None).ok());
  library().setMessagePath(5, "/object/5.emlx");
  EXPECT_EQ(TDMailPlugin::emlxPathForMessageWithLibraryID(context_, 5), "/object/5.emlx");
  EXPECT_EQ(TDMailPlugin::emlxPathForMessageWithLibraryID(context_, 6), std::nullopt);
  library().setRespondsToLibraryDatabase(false);
  ASSERT_TRUE(library().addMessage(7, 3).ok());
  EXPECT_EQ(TDMailPlugin::emlxPathForMessageWithLibraryID(context_, 7), std::nullopt);
  ports_.hostClasses->setMailLibraryClassPresent(false);
  PluginContext withoutLibrary(ports_.ports());
  EXPECT_EQ(TDMailPlugin::emlxPathForMessageWithLibraryID(withoutLibrary, 5), std::nullopt);
}

// ---- The library and its database
// ----------------------------------------------------------------

TEST_F(MessageFilePaths, LooksTheLibraryUpUntilFoundAndThenKeepsIt) {
  auto& libraryClass = ports_.hostClasses->mailLibrary();
  libraryClass.setDefaultLibrary(nullptr);
  EXPECT_EQ(TDMailPlugin::library(context_), nullptr);
  EXPECT_EQ(TDMailPlugin::library(context_), nullptr);
  EXPECT_EQ(libraryClass.defaultLibraryCount(), 2u);

  libraryClass.setDefaultLibrary(ports_.mailLibrary);
  EXPECT_EQ(TDMailPlugin::library(context_), ports_.mailLibrary);
  libraryClass.setDefaultLibrary(nullptr);
  EXPECT_EQ(TDMailPlugin::library(context_), ports_.mailLibrary);
  EXPECT_EQ(libraryClass.defaultLibraryCount(), 3u);
}

TEST_F(MessageFilePaths, HandsTheBlockTheConnectionsHandleOnlyWhenTheDatabaseAllows) {
  int calls = 0;
  sqlite3* handle = nullptr;
  const auto block = [&](sqlite3* database) {
    ++calls;
    handle = database;
  };
  EXPECT_TRUE(TDMailPlugin::scPerformSynchronousSqliteBlock(context_, block));
  EXPECT_EQ(calls, 1);
  EXPECT_NE(handle, nullptr);

  library().database().setRespondsToPerformReadBlock(false);
  EXPECT_FALSE(TDMailPlugin::scPerformSynchronousSqliteBlock(context_, block));
  library().database().setRespondsToPerformReadBlock(true);
  library().setRespondsToLibraryDatabase(false);
  EXPECT_FALSE(TDMailPlugin::scPerformSynchronousSqliteBlock(context_, block));
  EXPECT_EQ(calls, 1);
  EXPECT_EQ(library().unsupportedCallCount() + library().database().unsupportedCallCount(), 0u);
}

// ---- The record on the wire
// ------------------------------------------------------------------------

TEST(MessageRecordValue, LeavesAbsentFieldsOutAndKeepsNumberKinds) {
  MessageRecord record;
  EXPECT_EQ(record.toValue(), Value(Value::Dictionary{{"attributes", Value(Value::Dictionary{})}}));

  record.attributes = {{"kMDItemSubject", Value("Hi")}};
  record.path = "/m/5.emlx";
  record.libraryID = -5;
  record.index = 7;
  const Value value = record.toValue();
  EXPECT_EQ(value["kMDItemPath"], Value("/m/5.emlx"));
  EXPECT_EQ(value["attributes"]["kMDItemSubject"], Value("Hi"));
  EXPECT_EQ(value["libraryID"].kind(), Value::Kind::Integer);
  EXPECT_EQ(value["libraryID"].integerValue(), -5);
  EXPECT_EQ(value["index"].kind(), Value::Kind::Unsigned);
  EXPECT_EQ(value["index"].unsignedLongLongValue(), 7u);
  EXPECT_EQ(value.count(), 4u);
}

}  // namespace
}  // namespace trovadex::plugin
