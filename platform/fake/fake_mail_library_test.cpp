#include "platform/fake/fake_mail_library.hpp"

#include <gtest/gtest.h>
#include <sqlite3.h>

#include <filesystem>
#include <fstream>
#include <map>
#include <sstream>
#include <string>

namespace trovadex::platform::fake {
namespace {

namespace fs = std::filesystem;

// Runs sql in a read block and returns rowid -> mailbox for every row.
std::map<std::int64_t, std::int64_t> readMailboxes(MailDatabase& database, const std::string& sql) {
  std::map<std::int64_t, std::int64_t> rows;
  database.performReadBlock([&](MailDatabaseConnection& connection) {
    sqlite3_stmt* statement = nullptr;
    if (sqlite3_prepare_v2(connection.sqlDB(), sql.c_str(), -1, &statement, nullptr) == SQLITE_OK) {
      while (sqlite3_step(statement) == SQLITE_ROW) {
        rows[sqlite3_column_int64(statement, 0)] = sqlite3_column_int64(statement, 1);
      }
    }
    sqlite3_finalize(statement);
    return true;
  });
  return rows;
}

TEST(FakeMailLibrary, DataPathsFollowTheStoreLayoutWhetherOrNotTheFileExists) {
  FakeMailLibrary library;
  ASSERT_TRUE(library.addMessage(5, 3, MessageFiles::Partial).ok());

  const auto whole = library.dataPathForMessage(5, 3, 0);
  const auto partial = library.dataPathForMessage(5, 3, 1);
  ASSERT_TRUE(whole && partial);
  EXPECT_EQ(*whole, (library.root() / "3" / "Messages" / "5.emlx").string());
  EXPECT_EQ(*partial, (library.root() / "3" / "Messages" / "5.partial.emlx").string());
  EXPECT_FALSE(fs::exists(*whole));
  EXPECT_TRUE(fs::exists(*partial));
  EXPECT_FALSE(library.dataPathForMessage(5, 3, 2).has_value());
  EXPECT_EQ(library.dataPathRequests(),
            (std::vector<DataPathRequest>{{5, 3, 0}, {5, 3, 1}, {5, 3, 2}}));
}

TEST(FakeMailLibrary, WritesMessageFilesThatStartWithTheirMessageLength) {
  FakeMailLibrary library;
  ASSERT_TRUE(library.addMessage(9, 1, MessageFiles::WholeAndPartial).ok());
  ASSERT_TRUE(library.addMessage(10, 1, MessageFiles::None).ok());

  std::ifstream file(library.messageFilePath(9, 1, 0), std::ios::binary);
  std::stringstream contents;
  contents << file.rdbuf();
  const std::string text = contents.str();
  const std::size_t length = std::stoul(text);
  const std::size_t start = text.find('\n') + 1;
  EXPECT_EQ(text.substr(start + length, 5), "<?xml");
  EXPECT_TRUE(fs::exists(library.messageFilePath(9, 1, 1)));
  EXPECT_FALSE(fs::exists(library.messageFilePath(10, 1, 0)));
  EXPECT_FALSE(fs::exists(library.messageFilePath(10, 1, 1)));
  EXPECT_FALSE(library.addMessage(9, 2).ok());  // the row exists
}

TEST(FakeMailLibrary, ReadBlocksRunSynchronouslyAndRecordTheExactSql) {
  FakeMailLibrary library;
  ASSERT_TRUE(library.addMessage(5, 30).ok());
  ASSERT_TRUE(library.addMessage(7, 70).ok());
  ASSERT_TRUE(library.addMessage(9, 30).ok());
  auto database = library.libraryDatabase();
  ASSERT_NE(database, nullptr);
  ASSERT_TRUE(database->respondsToPerformReadBlock());

  const std::string batch = "SELECT rowid, mailbox FROM messages where rowid in (5,7,9)";
  EXPECT_EQ(readMailboxes(*database, batch),
            (std::map<std::int64_t, std::int64_t>{{5, 30}, {7, 70}, {9, 30}}));
  EXPECT_EQ(readMailboxes(*database, "SELECT rowid, mailbox FROM messages where rowid = 7"),
            (std::map<std::int64_t, std::int64_t>{{7, 70}}));

  EXPECT_EQ(
      library.database().executedStatements(),
      (std::vector<std::string>{batch, "SELECT rowid, mailbox FROM messages where rowid = 7"}));
  EXPECT_EQ(library.database().readBlockCount(), 2u);
  library.database().clearExecutedStatements();
  EXPECT_TRUE(library.database().executedStatements().empty());
}

TEST(FakeMailLibrary, ReadBlocksMayNestAndSeeLaterWrites) {
  FakeMailLibrary library;
  ASSERT_TRUE(library.addMessage(1, 10).ok());
  auto database = library.libraryDatabase();
  std::map<std::int64_t, std::int64_t> inner;
  database->performReadBlock([&](MailDatabaseConnection& outer) {
    inner = readMailboxes(*database, "SELECT rowid, mailbox FROM messages");
    EXPECT_NE(outer.sqlDB(), nullptr);
    return true;
  });
  EXPECT_EQ(inner, (std::map<std::int64_t, std::int64_t>{{1, 10}}));

  ASSERT_TRUE(library.addMessage(2, 20).ok());
  EXPECT_EQ(readMailboxes(*database, "SELECT rowid, mailbox FROM messages").size(), 2u);
}

TEST(FakeMailLibrary, BrokenSchemaMakesPreparationFailWithoutRecordingAStatement) {
  FakeMailLibrary library;
  ASSERT_TRUE(library.executeSql("DROP TABLE messages").ok());
  EXPECT_FALSE(library.executeSql("NOT SQL").ok());

  EXPECT_TRUE(
      readMailboxes(*library.libraryDatabase(), "SELECT rowid, mailbox FROM messages").empty());
  EXPECT_TRUE(library.database().executedStatements().empty());
}

TEST(FakeMailLibrary, FacilitiesCanBeTakenAway) {
  FakeMailLibrary library;
  ASSERT_TRUE(library.addMessage(5, 3).ok());
  auto database = library.libraryDatabase();

  library.database().setRespondsToPerformReadBlock(false);
  EXPECT_FALSE(database->respondsToPerformReadBlock());
  bool ran = false;
  database->performReadBlock([&](MailDatabaseConnection&) { return ran = true; });
  EXPECT_FALSE(ran);
  EXPECT_EQ(library.database().unsupportedCallCount(), 1u);

  library.setRespondsToLibraryDatabase(false);
  EXPECT_FALSE(library.respondsToLibraryDatabase());
  EXPECT_EQ(library.libraryDatabase(), nullptr);

  library.setRespondsToDataPathForMessage(false);
  EXPECT_FALSE(library.respondsToDataPathForMessage());
  EXPECT_FALSE(library.dataPathForMessage(5, 3, 0).has_value());
  EXPECT_EQ(library.unsupportedCallCount(), 2u);
}

TEST(FakeMailLibrary, MessagesByLibraryIdAnswerOnlyWhatTheTestConfigured) {
  FakeMailLibrary library;
  ASSERT_TRUE(library.addMessage(5, 3).ok());
  EXPECT_EQ(library.messageWithLibraryID(5), nullptr);

  library.setMessagePath(5, "/mail/5.emlx");
  library.setMessagePath(6, std::nullopt);
  auto withPath = library.messageWithLibraryID(5);
  auto withoutPath = library.messageWithLibraryID(6);
  ASSERT_NE(withPath, nullptr);
  ASSERT_NE(withoutPath, nullptr);
  EXPECT_EQ(withPath->path(), "/mail/5.emlx");
  EXPECT_FALSE(withoutPath->path().has_value());
  EXPECT_EQ(library.messageRequests(), (std::vector<std::int64_t>{5, 5, 6}));
}

}  // namespace
}  // namespace trovadex::platform::fake
