#include "mailstore/store_mail_library.hpp"

#include <gtest/gtest.h>
#include <sqlite3.h>

#include <map>
#include <thread>

#include "mailstore/test_support.hpp"

namespace trovadex::mailstore {
namespace {

class StoreMailLibraryTest : public ::testing::Test {
 protected:
  void SetUp() override {
    store_ = Store::open(folder_.path()).value();
    inbox_ = store_->mailbox(mailboxForName("INBOX").value()).value();
    std::vector<NewMessage> messages;
    messages.push_back({.bytes = testing::simpleMessage("w@x", "Whole")});
    messages.push_back(
        {.bytes = testing::messageWithAttachment("p@x"), .kind = MessageDataKind::Partial});
    auto outcomes = store_->addMessages(inbox_, messages).value();
    wholeID_ = outcomes[0].libraryID;
    partialID_ = outcomes[1].libraryID;
    library_ = std::make_shared<StoreMailLibrary>(store_);
  }

  // What the plug-in does: one statement for a batch of IDs through a read block.
  std::map<std::int64_t, std::int64_t> mailboxesOf(const std::string& idList) {
    std::map<std::int64_t, std::int64_t> found;
    auto database = library_->libraryDatabase();
    EXPECT_TRUE(database->respondsToPerformReadBlock());
    const std::string sql = "SELECT rowid, mailbox FROM messages where rowid in (" + idList + ")";
    database->performReadBlock([&](platform::MailDatabaseConnection& connection) {
      sqlite3_stmt* statement = nullptr;
      if (sqlite3_prepare_v2(connection.sqlDB(), sql.c_str(), -1, &statement, nullptr) ==
          SQLITE_OK) {
        while (sqlite3_step(statement) == SQLITE_ROW) {
          found[sqlite3_column_int64(statement, 0)] = sqlite3_column_int64(statement, 1);
        }
      }
      sqlite3_finalize(statement);
      return true;
    });
    return found;
  }

  testing::TemporaryFolder folder_;
  std::shared_ptr<Store> store_;
  Mailbox inbox_;
  std::int64_t wholeID_ = 0;
  std::int64_t partialID_ = 0;
  std::shared_ptr<StoreMailLibrary> library_;
};

TEST_F(StoreMailLibraryTest, ResolvesBothDataKindsThroughTheRealDatabase) {
  const auto mailboxes =
      mailboxesOf(std::to_string(wholeID_) + "," + std::to_string(partialID_) + ",999999");
  ASSERT_EQ(mailboxes.size(), 2u);
  EXPECT_EQ(mailboxes.at(wholeID_), inbox_.mailboxID);
  EXPECT_EQ(mailboxes.at(partialID_), inbox_.mailboxID);

  ASSERT_TRUE(library_->respondsToDataPathForMessage());
  const auto whole = library_->dataPathForMessage(wholeID_, mailboxes.at(wholeID_), 0);
  ASSERT_TRUE(whole);
  EXPECT_TRUE(std::filesystem::is_regular_file(*whole));
  EXPECT_TRUE(whole->ends_with("/Data/Messages/" + std::to_string(wholeID_) + ".emlx"));

  // Kind 0 of a partial message names a file that does not exist; kind 1 names the one that does.
  const auto partialWhole = library_->dataPathForMessage(partialID_, mailboxes.at(partialID_), 0);
  const auto partial = library_->dataPathForMessage(partialID_, mailboxes.at(partialID_), 1);
  ASSERT_TRUE(partialWhole);
  ASSERT_TRUE(partial);
  EXPECT_FALSE(std::filesystem::exists(*partialWhole));
  EXPECT_TRUE(std::filesystem::is_regular_file(*partial));
  EXPECT_TRUE(partial->ends_with(std::to_string(partialID_) + ".partial.emlx"));
}

TEST_F(StoreMailLibraryTest, GivesMessagesWhosePathIsWhicheverFileExists) {
  auto whole = library_->messageWithLibraryID(wholeID_);
  auto partial = library_->messageWithLibraryID(partialID_);
  ASSERT_TRUE(whole);
  ASSERT_TRUE(partial);
  EXPECT_TRUE(whole->path()->ends_with(std::to_string(wholeID_) + ".emlx"));
  EXPECT_TRUE(partial->path()->ends_with(std::to_string(partialID_) + ".partial.emlx"));
  EXPECT_EQ(library_->messageWithLibraryID(999999), nullptr);

  std::filesystem::remove(*whole->path());
  auto gone = library_->messageWithLibraryID(wholeID_);
  ASSERT_TRUE(gone);
  EXPECT_FALSE(gone->path());
}

TEST_F(StoreMailLibraryTest, AnswersNothingForUnknownMailboxesAndKinds) {
  EXPECT_FALSE(library_->dataPathForMessage(wholeID_, 4242, 0));
  EXPECT_FALSE(library_->dataPathForMessage(wholeID_, inbox_.mailboxID, 2));
  EXPECT_FALSE(library_->dataPathForMessage(0, inbox_.mailboxID, 0));
}

TEST_F(StoreMailLibraryTest, IsTheDefaultLibraryOfItsClass) {
  StoreMailLibraryClass libraryClass(library_);
  EXPECT_EQ(libraryClass.defaultLibrary(), library_);
}

TEST_F(StoreMailLibraryTest, RunsReadBlocksOnSeveralThreadsAtOnceWhileTheStoreWrites) {
  std::vector<std::thread> readers;
  std::vector<std::size_t> found(4);
  for (std::size_t index = 0; index < found.size(); ++index) {
    readers.emplace_back([&, index] {
      for (int round = 0; round < 20; ++round) {
        found[index] = mailboxesOf(std::to_string(wholeID_)).size();
      }
    });
  }
  for (int round = 0; round < 10; ++round) {
    std::vector<NewMessage> more{
        {.bytes = testing::simpleMessage("t" + std::to_string(round) + "@x", "More")}};
    ASSERT_TRUE(store_->addMessages(inbox_, more));
  }
  for (auto& reader : readers) reader.join();
  for (const auto size : found) EXPECT_EQ(size, 1u);
}

}  // namespace
}  // namespace trovadex::mailstore
