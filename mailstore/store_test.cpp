#include "mailstore/store.hpp"

#include <gtest/gtest.h>

#include "mailstore/emlx.hpp"
#include "mailstore/file_io.hpp"
#include "mailstore/message_flags.hpp"
#include "mailstore/test_support.hpp"

namespace trovadex::mailstore {
namespace {

class StoreTest : public ::testing::Test {
 protected:
  void SetUp() override {
    auto opened = Store::open(folder_.path());
    ASSERT_TRUE(opened) << opened.error().description();
    store_ = opened.value();
    auto inbox = store_->mailbox(mailboxForName("INBOX").value());
    ASSERT_TRUE(inbox) << inbox.error().description();
    inbox_ = inbox.value();
  }

  std::vector<AddOutcome> add(std::vector<NewMessage> messages, const Mailbox* mailbox = nullptr) {
    auto outcomes = store_->addMessages(mailbox ? *mailbox : inbox_, messages);
    EXPECT_TRUE(outcomes) << outcomes.error().description();
    return outcomes ? outcomes.value() : std::vector<AddOutcome>{};
  }

  std::int64_t count(const std::string& sql) {
    std::int64_t value = -1;
    EXPECT_TRUE(store_->performRead([&](SqliteDatabase& connection) {
      auto statement = connection.prepare(sql);
      ASSERT_TRUE(statement) << statement.error().description();
      ASSERT_TRUE(statement.value().step().value());
      value = statement.value().int64Column(0);
    }));
    return value;
  }

  std::string text(const std::string& sql) {
    std::string value;
    EXPECT_TRUE(store_->performRead([&](SqliteDatabase& connection) {
      auto statement = connection.prepare(sql);
      ASSERT_TRUE(statement) << statement.error().description();
      ASSERT_TRUE(statement.value().step().value());
      value = statement.value().textColumn(0);
    }));
    return value;
  }

  testing::TemporaryFolder folder_;
  std::shared_ptr<Store> store_;
  Mailbox inbox_;
};

TEST_F(StoreTest, WritesEachMessageAsAnEmlxFileNamedByItsRowInTheDigitFolders) {
  const auto outcomes = add({{.bytes = testing::simpleMessage("a@x", "First"),
                              .flags = kFlagRead,
                              .dateReceived = 1700000100}});
  ASSERT_EQ(outcomes.size(), 1u);
  ASSERT_EQ(outcomes[0].result, AddResult::Added);
  const std::int64_t id = outcomes[0].libraryID;

  const auto path = inbox_.storeFolder / "Data/Messages" / (std::to_string(id) + ".emlx");
  EXPECT_EQ(inbox_.storeFolder.parent_path(), folder_.path() / "Mail/V10/Mailboxes/INBOX.mbox");
  auto file = readEmlxFile(path);
  ASSERT_TRUE(file) << file.error().description();
  EXPECT_FALSE(file.value().framingProblem);
  EXPECT_EQ(file.value().message, testing::simpleMessage("a@x", "First"));
  EXPECT_EQ(file.value().flags(), kFlagRead | (kNormalPriority << kPriorityShift));
  EXPECT_EQ(file.value().properties["date-received"].integerValue(), 1700000100);

  EXPECT_EQ(count("SELECT count(*) FROM messages WHERE mailbox = " +
                  std::to_string(inbox_.mailboxID) + " AND date_sent = 1700000000"),
            1);
  EXPECT_EQ(count("SELECT count(*) FROM subjects WHERE subject = 'First'"), 1);
  EXPECT_EQ(count("SELECT count(*) FROM recipients r JOIN addresses a ON a.ROWID = r.address "
                  "WHERE a.address = 'bob@example.org' AND a.comment = 'Bob Example'"),
            1);
  EXPECT_EQ(
      count("SELECT total_count FROM mailboxes WHERE ROWID = " + std::to_string(inbox_.mailboxID)),
      1);
  EXPECT_EQ(text("PRAGMA journal_mode"), "wal");
}

TEST_F(StoreTest, StoresLineFeedsForCrlfInputAndKeepsOneCopyOfTheSameBytes) {
  std::string crlf;
  for (const char c : testing::simpleMessage("dup@x", "Twice")) {
    if (c == '\n') crlf += '\r';
    crlf += c;
  }
  const auto first = add({{.bytes = crlf}, {.bytes = testing::simpleMessage("dup@x", "Twice")}});
  ASSERT_EQ(first.size(), 2u);
  EXPECT_EQ(first[0].result, AddResult::Added);
  EXPECT_EQ(first[1].result, AddResult::Duplicate);
  EXPECT_EQ(first[1].libraryID, first[0].libraryID);

  const auto again = add({{.bytes = crlf}});
  EXPECT_EQ(again[0].result, AddResult::Duplicate);
  // Same Message-ID but other bytes is another message.
  const auto changed = add({{.bytes = testing::simpleMessage("dup@x", "Twice", "Edited.\n")}});
  EXPECT_EQ(changed[0].result, AddResult::Added);
  EXPECT_EQ(count("SELECT count(*) FROM messages"), 2);
}

TEST_F(StoreTest, ReportsAnUnparseableMessageAndStoresTheRestOfTheBatch) {
  const auto outcomes = add({{.bytes = "this is not a message\n"},
                             {.bytes = testing::simpleMessage("ok@x", "Fine")},
                             {.bytes = ""}});
  ASSERT_EQ(outcomes.size(), 3u);
  EXPECT_EQ(outcomes[0].result, AddResult::Failed);
  ASSERT_TRUE(outcomes[0].error);
  EXPECT_EQ(outcomes[0].error->code, 3);
  EXPECT_EQ(outcomes[1].result, AddResult::Added);
  EXPECT_EQ(outcomes[2].result, AddResult::Failed);
  EXPECT_EQ(count("SELECT count(*) FROM messages"), 1);
}

TEST_F(StoreTest, KeepsAPartialMessageWithItsAttachmentBodiesBesideIt) {
  const auto outcomes =
      add({{.bytes = testing::messageWithAttachment("att@x"), .kind = MessageDataKind::Partial}});
  ASSERT_EQ(outcomes[0].result, AddResult::Added);
  const std::int64_t id = outcomes[0].libraryID;
  auto stored = store_->message(id);
  ASSERT_TRUE(stored);
  ASSERT_TRUE(stored.value().path);
  EXPECT_EQ(stored.value().kind, MessageDataKind::Partial);
  EXPECT_EQ(stored.value().path->filename(), std::to_string(id) + ".partial.emlx");

  auto file = readEmlxFile(*stored.value().path);
  ASSERT_TRUE(file);
  EXPECT_NE(file.value().message.find("X-Apple-Content-Length: 72"), std::string::npos);
  EXPECT_EQ(file.value().message.find("JVBERi0x"), std::string::npos);
  EXPECT_EQ(attachmentCountOf(file.value().flags()), 1);
  auto body = readWholeFile(attachmentsFolder(inbox_.storeFolder, id) / "2" /
                            "\xC3\x9C"
                            "bersicht 7.pdf");
  ASSERT_TRUE(body) << body.error().description();
  EXPECT_EQ(body.value().substr(0, 8), "%PDF-1.4");
  EXPECT_EQ(count("SELECT count(*) FROM attachments WHERE attachment_id = '2'"), 1);
}

TEST_F(StoreTest, APartialMessageKeepsTheAttachmentsOfAnAttachedMessageBesideItToo) {
  const std::string forwarded =
      "From: a@example.org\nSubject: fwd\nMIME-Version: 1.0\n"
      "Content-Type: multipart/mixed; boundary=outer\n\n"
      "--outer\nContent-Type: text/plain\n\nsee below\n"
      "--outer\nContent-Type: message/rfc822\n\n"
      "From: b@example.org\nSubject: inner\nMIME-Version: 1.0\n"
      "Content-Type: multipart/mixed; boundary=inner\n\n"
      "--inner\nContent-Type: text/plain\n\ninner text\n"
      "--inner\nContent-Type: application/pdf\nContent-Disposition: attachment; "
      "filename=inner.pdf\nContent-Transfer-Encoding: base64\n\nJVBERi0xLjQK\n--inner--\n"
      "--outer--\n";
  const auto outcomes = add({{.bytes = forwarded, .kind = MessageDataKind::Partial}});
  ASSERT_EQ(outcomes[0].result, AddResult::Added);
  const std::int64_t id = outcomes[0].libraryID;
  auto file = readEmlxFile(*store_->message(id).value().path);
  ASSERT_TRUE(file);
  EXPECT_EQ(file.value().message.find("JVBERi0x"), std::string::npos);
  EXPECT_NE(file.value().message.find("inner text"), std::string::npos);
  EXPECT_EQ(attachmentCountOf(file.value().flags()), 1);
  auto body = readWholeFile(attachmentsFolder(inbox_.storeFolder, id) / "2.2" / "inner.pdf");
  ASSERT_TRUE(body) << body.error().description();
  EXPECT_EQ(body.value(), "%PDF-1.4\n");
}

TEST_F(StoreTest, EnumeratesMessagesWithTheirFileStateForAnIndexer) {
  auto archive = store_->mailbox(mailboxForName("Archive/2019").value());
  ASSERT_TRUE(archive);
  add({{.bytes = testing::simpleMessage("1@x", "One")}});
  add({{.bytes = testing::simpleMessage("2@x", "Two"), .flags = kFlagFlagged}}, &archive.value());
  std::vector<StoredMessage> seen;
  ASSERT_TRUE(store_->forEachMessage([&](const StoredMessage& message) {
    seen.push_back(message);
    return true;
  }));
  ASSERT_EQ(seen.size(), 2u);
  EXPECT_LT(seen[0].libraryID, seen[1].libraryID);
  EXPECT_EQ(seen[1].mailboxID, archive.value().mailboxID);
  EXPECT_TRUE(hasFlag(seen[1].flags, kFlagFlagged));
  for (const auto& message : seen) {
    ASSERT_TRUE(message.path);
    EXPECT_EQ(message.fileSize,
              static_cast<std::int64_t>(std::filesystem::file_size(*message.path)));
    EXPECT_GT(message.fileModificationNanoseconds, 0);
  }
  EXPECT_NE(seen[1].path->string().find("Archive.mbox/2019.mbox/"), std::string::npos);
}

TEST_F(StoreTest, RewritesFlagsInFileAndRowAndKeepsUnreadCountsInStep) {
  const auto id = add({{.bytes = testing::simpleMessage("f@x", "Flags")}})[0].libraryID;
  const std::string unread =
      "SELECT unread_count FROM mailboxes WHERE ROWID = " + std::to_string(inbox_.mailboxID);
  EXPECT_EQ(count(unread), 1);
  ASSERT_TRUE(store_->setFlags(id, kFlagRead | kFlagFlagged | (1LL << 33)));
  auto stored = store_->message(id);
  ASSERT_TRUE(stored);
  EXPECT_EQ(stored.value().flags, kFlagRead | kFlagFlagged | (1LL << 33));
  auto file = readEmlxFile(*stored.value().path);
  ASSERT_TRUE(file);
  EXPECT_EQ(file.value().flags(), kFlagRead | kFlagFlagged | (1LL << 33));
  EXPECT_EQ(file.value().message, testing::simpleMessage("f@x", "Flags"));
  EXPECT_EQ(count(unread), 0);
  EXPECT_EQ(count("SELECT flagged FROM messages WHERE ROWID = " + std::to_string(id)), 1);
}

TEST_F(StoreTest, DeletesRowAndFilesAndNeverReusesTheId) {
  const auto first =
      add({{.bytes = testing::messageWithAttachment("d@x"), .kind = MessageDataKind::Partial}})[0]
          .libraryID;
  const auto path = store_->message(first).value().path;
  ASSERT_TRUE(path);
  ASSERT_TRUE(store_->deleteMessage(first));
  EXPECT_FALSE(std::filesystem::exists(*path));
  EXPECT_FALSE(std::filesystem::exists(attachmentsFolder(inbox_.storeFolder, first)));
  EXPECT_FALSE(store_->message(first));
  EXPECT_EQ(count("SELECT count(*) FROM attachments"), 0);
  EXPECT_EQ(store_->deleteMessage(first).error().code, 4);

  const auto second = add({{.bytes = testing::simpleMessage("e@x", "After")}})[0].libraryID;
  EXPECT_GT(second, first);
}

TEST_F(StoreTest, ReopensWithEverythingInPlace) {
  const auto id = add({{.bytes = testing::simpleMessage("r@x", "Kept")}})[0].libraryID;
  store_.reset();
  auto reopened = Store::open(folder_.path());
  ASSERT_TRUE(reopened);
  auto stored = reopened.value()->message(id);
  ASSERT_TRUE(stored);
  EXPECT_EQ(stored.value().mailboxID, inbox_.mailboxID);
  auto mailbox = reopened.value()->mailboxWithID(inbox_.mailboxID);
  ASSERT_TRUE(mailbox);
  EXPECT_EQ(mailbox.value().storeFolder, inbox_.storeFolder);
}

}  // namespace
}  // namespace trovadex::mailstore
