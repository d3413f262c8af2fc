#include "mailstore/importer.hpp"

#include <gtest/gtest.h>

#include <fstream>
#include <map>
#include <set>

#include "mailstore/attributes.hpp"
#include "mailstore/emlx.hpp"
#include "mailstore/message_flags.hpp"
#include "mailstore/test_support.hpp"

namespace trovadex::mailstore {
namespace {

using foundation::Value;

void writeFile(const std::filesystem::path& path, const std::string& bytes) {
  std::filesystem::create_directories(path.parent_path());
  std::ofstream(path, std::ios::binary) << bytes;
}

class ImporterTest : public ::testing::Test {
 protected:
  void SetUp() override { store_ = Store::open(folder_.path() / "library").value(); }

  ImportCounts import(std::vector<std::filesystem::path> paths,
                      std::optional<std::string> mailbox = std::nullopt) {
    ImportOptions options;
    options.mailbox = std::move(mailbox);
    options.batchSize = 2;  // several batches even in small tests
    options.problem = [&](const std::string& where, const foundation::Error& error) {
      problems_.push_back(where + ": " + error.localizedDescription);
    };
    auto counts = importMail(*store_, paths, options);
    EXPECT_TRUE(counts) << counts.error().description();
    return counts ? counts.value() : ImportCounts{};
  }

  // Every stored message's item, by subject.
  std::map<std::string, Value> itemsBySubject() {
    std::map<std::string, Value> items;
    EXPECT_TRUE(store_->forEachMessage([&](const StoredMessage& message) {
      auto item = searchableItemForMessage(messageSourceFor(*store_, message).value());
      EXPECT_TRUE(item) << item.error().description();
      Value attributes(item.value().attributeSet.attributes);
      const std::string subject = attributes["kMDItemSubject"].asString()
                                      ? *attributes["kMDItemSubject"].asString()
                                      : std::string();
      items[subject] = Value(Value::Dictionary{{"attributes", attributes},
                                               {"mailbox", item.value().domainIdentifier}});
      return true;
    }));
    return items;
  }

  testing::TemporaryFolder folder_;
  std::shared_ptr<Store> store_;
  std::vector<std::string> problems_;
};

const std::string kMbox =
    "From alice@example.org Tue Nov 14 22:13:20 2023\n" +
    testing::simpleMessage("mbox1@x", "First", "Text\n>From the start\n") +
    "Status: RO\n"  // lands in the body; Status is read from the header block only
    "\n"
    "From bob@example.org Wed Nov 15 10:00:00 2023\n"
    "no header here at all\n"
    "\n"
    "From carol@example.org Thu Nov 16 09:00:00 2023\n"
    "Status: RO\n"
    "X-Status: AF\n" +
    testing::messageWithAttachment("mbox3@x");

TEST_F(ImporterTest, ImportsAnMboxIntoAMailboxNamedAfterItAndReportsTheBadMessageByNumber) {
  writeFile(folder_.path() / "Sent.mbox", kMbox);
  const auto counts = import({folder_.path() / "Sent.mbox"});
  EXPECT_EQ(counts.added, 2u);
  EXPECT_EQ(counts.failed, 1u);
  ASSERT_EQ(problems_.size(), 1u);
  EXPECT_TRUE(problems_[0].starts_with((folder_.path() / "Sent.mbox").string() + " message 2: "))
      << problems_[0];

  auto items = itemsBySubject();
  ASSERT_EQ(items.size(), 2u);
  const Value first = items["First"]["attributes"];
  EXPECT_EQ(items["First"]["mailbox"], Value("local://Mailboxes/Sent"));
  EXPECT_EQ(first["kMDItemTextContent"], Value("Text\nFrom the start\nStatus: RO\n"));
  EXPECT_EQ(first["com_apple_mail_read"], Value::integer(0));
  EXPECT_EQ(first["com_apple_mail_dateReceived"],
            Value(foundation::Date::withUnixTime(1700000000)));

  const Value third = items["Quartalsbericht f\xC3\xBCr Q3"]["attributes"];
  EXPECT_EQ(third["kMDItemAuthors"].at(0), Value("J\xC3\xBCrgen M\xC3\xBCller"));
  EXPECT_EQ(third["kMDItemAttachmentNames"].at(0), Value("\xC3\x9C"
                                                         "bersicht 7.pdf"));
  EXPECT_EQ(third["com_apple_mail_read"], Value::integer(1));
  EXPECT_EQ(third["com_apple_mail_repliedTo"], Value::integer(1));
  EXPECT_EQ(third["com_apple_mail_flagged"], Value::integer(1));
}

TEST_F(ImporterTest, ImportsMaildirFlagsAndMaildirPlusPlusSubfolders) {
  const auto maildir = folder_.path() / "Maildir";
  writeFile(maildir / "cur/1700000001.M1P1.host:2,RS", testing::simpleMessage("m1@x", "Read"));
  writeFile(maildir / "cur/1700000002.M2P2.host:2,F", testing::simpleMessage("m2@x", "Flag"));
  writeFile(maildir / "new/1700000003.M3P3.host", testing::simpleMessage("m3@x", "New"));
  writeFile(maildir / "tmp/1700000004.M4P4.host", testing::simpleMessage("m4@x", "Tmp"));
  writeFile(maildir / ".Archive.2019/cur/1500000000.M5P5.host:2,S",
            testing::simpleMessage("m5@x", "Old"));
  std::filesystem::create_directories(maildir / ".Archive.2019/new");

  const auto counts = import({maildir});
  EXPECT_EQ(counts.added, 4u);
  EXPECT_TRUE(problems_.empty());
  auto items = itemsBySubject();
  ASSERT_EQ(items.size(), 4u);
  EXPECT_FALSE(items.contains("Tmp"));
  const Value read = items["Read"]["attributes"];
  EXPECT_EQ(read["com_apple_mail_read"], Value::integer(1));
  EXPECT_EQ(read["com_apple_mail_repliedTo"], Value::integer(1));
  EXPECT_EQ(read["com_apple_mail_dateReceived"], Value(foundation::Date::withUnixTime(1700000001)));
  EXPECT_EQ(items["Flag"]["attributes"]["com_apple_mail_flagged"], Value::integer(1));
  EXPECT_EQ(items["Flag"]["attributes"]["com_apple_mail_read"], Value::integer(0));
  EXPECT_EQ(items["New"]["attributes"]["com_apple_mail_read"], Value::integer(0));
  EXPECT_EQ(items["Read"]["mailbox"], Value("local://Mailboxes/INBOX"));
  EXPECT_EQ(items["Old"]["mailbox"], Value("local://Mailboxes/Archive/2019"));

  // With a mailbox named, sub-folders go below it.
  {
    auto other = Store::open(folder_.path() / "other").value();
    ImportOptions options;
    options.mailbox = "Imported";
    ASSERT_TRUE(importMail(*other, std::vector<std::filesystem::path>{maildir}, options));
    std::set<std::string> urls;
    const auto mailboxes = other->mailboxes();
    for (const auto& mailbox : mailboxes.value()) urls.insert(mailbox.url);
    EXPECT_EQ(urls, (std::set<std::string>{"local://Mailboxes/Imported",
                                           "local://Mailboxes/Imported/Archive/2019"}));
  }
}

TEST_F(ImporterTest, ImportsEmlAndEmlxFilesKeepingTheStoreProperties) {
  writeFile(folder_.path() / "in/report.eml", testing::messageWithAttachment("eml@x"));
  const std::string message = testing::simpleMessage("emlx@x", "From emlx");
  const auto emlx =
      encodeEmlx(message, Value::Dictionary{{"flags", Value::integer(kFlagRead | kFlagFlagged)},
                                            {"date-received", Value::integer(1600000000)},
                                            {"remote-id", "50758"}});
  writeFile(folder_.path() / "in/4242.emlx", emlx.value());
  writeFile(folder_.path() / "in/.hidden.eml", testing::simpleMessage("h@x", "Hidden"));
  writeFile(folder_.path() / "in/Info.plist", "<plist/>");

  const auto counts = import({folder_.path() / "in"});
  EXPECT_EQ(counts.added, 2u);
  EXPECT_TRUE(problems_.empty()) << problems_.front();
  auto items = itemsBySubject();
  const Value fromEmlx = items["From emlx"]["attributes"];
  EXPECT_EQ(fromEmlx["com_apple_mail_flagged"], Value::integer(1));
  EXPECT_EQ(fromEmlx["com_apple_mail_dateReceived"],
            Value(foundation::Date::withUnixTime(1600000000)));
  EXPECT_NE(fromEmlx["_kMDItemExternalID"], Value::integer(4242));  // a new library ID
  const Value fromEml = items["Quartalsbericht f\xC3\xBCr Q3"]["attributes"];
  EXPECT_EQ(fromEml["kMDItemAdditionalRecipients"].at(0),
            Value("\xE5\xB1\xB1\xE7\x94\xB0\xE5\xA4\xAA\xE9\x83\x8E"));
  EXPECT_EQ(fromEml["com_apple_mail_attachmentKinds"].at(0), Value("PDF document"));
}

TEST_F(ImporterTest, AMessageWithoutAUsableDateIsReceivedWhenItsNewestTraceFieldSays) {
  writeFile(
      folder_.path() / "old.eml",
      "Received: from relay by mx; Tue, 4 Jun 2002 12:00:00 +0200\n"
      "Received: from sender by relay; Tue, 4 Jun 2002 11:00:00 +0200\n"
      "From: spam@example.com\nDate: Tue, 04 Jun 0102 10:00:00 +0000\nSubject: Old spam\n\nx\n");
  EXPECT_EQ(import({folder_.path() / "old.eml"}).added, 1u);
  const Value item = itemsBySubject()["Old spam"]["attributes"];
  EXPECT_EQ(item["kMDItemMailDateReceived"], Value(foundation::Date::withUnixTime(1023184800)));
  EXPECT_FALSE(item["kMDItemContentCreationDate"]);
}

TEST_F(ImporterTest, AFolderOfSingleMessageFromLineFilesIsOneMailbox) {
  for (int index = 1; index <= 3; ++index) {
    const std::string number = std::to_string(index);
    writeFile(folder_.path() / "export" / ("msg" + number),
              "From sender@example.org Tue Nov 14 22:13:20 2023\n" +
                  testing::simpleMessage("single" + number + "@x", "Single " + number));
  }
  writeFile(folder_.path() / "export/two.mbox", kMbox);
  const auto counts = import({folder_.path() / "export"});
  EXPECT_EQ(counts.added, 5u);
  auto items = itemsBySubject();
  for (const char* subject : {"Single 1", "Single 2", "Single 3"}) {
    EXPECT_EQ(items[subject]["mailbox"], Value("local://Mailboxes/INBOX")) << subject;
    EXPECT_EQ(items[subject]["attributes"]["com_apple_mail_dateReceived"],
              Value(foundation::Date::withUnixTime(1700000000)));
  }
  EXPECT_EQ(items["First"]["mailbox"], Value("local://Mailboxes/two"));
  // Named on its own, a one-message mbox file is still a mailbox.
  writeFile(folder_.path() / "Lonely.mbox",
            "From a@b Tue Nov 14 22:13:20 2023\n" + testing::simpleMessage("lone@x", "Lone"));
  import({folder_.path() / "Lonely.mbox"});
  EXPECT_EQ(itemsBySubject()["Lone"]["mailbox"], Value("local://Mailboxes/Lonely"));
}

TEST_F(ImporterTest, ImportingTheSameMailAgainStoresNothingNew) {
  writeFile(folder_.path() / "a.mbox/mbox", kMbox);
  const auto first = import({folder_.path() / "a.mbox"});
  const auto second = import({folder_.path() / "a.mbox"}, "Elsewhere");
  EXPECT_EQ(first.added, 2u);
  EXPECT_EQ(second.added, 0u);
  EXPECT_EQ(second.duplicates, 2u);
  std::size_t stored = 0;
  ASSERT_TRUE(store_->forEachMessage([&](const StoredMessage&) { return ++stored, true; }));
  EXPECT_EQ(stored, 2u);
  EXPECT_EQ(itemsBySubject()["First"]["mailbox"], Value("local://Mailboxes/a"));
}

TEST_F(ImporterTest, ReportsMissingAndUnreadableSourcesAndRefusesABadMailboxName) {
  writeFile(folder_.path() / "junk.eml", "\x01\x02 not mail");
  const auto counts = import({folder_.path() / "missing.mbox", folder_.path() / "junk.eml"});
  EXPECT_EQ(counts.failed, 2u);
  ASSERT_EQ(problems_.size(), 2u);
  EXPECT_NE(problems_[0].find("missing.mbox"), std::string::npos);
  EXPECT_NE(problems_[1].find("junk.eml"), std::string::npos);

  ImportOptions options;
  options.mailbox = "a//b";
  auto refused = importMail(*store_, std::vector<std::filesystem::path>{}, options);
  ASSERT_FALSE(refused);
  EXPECT_EQ(refused.error().code, 5);
}

TEST_F(ImporterTest, ImportsTheSampleCorporaInPlaceWithoutCrashing) {
  const auto corpora = testing::corporaFolder();
  if (!std::filesystem::is_directory(corpora / "emlx-samples")) GTEST_SKIP() << "no corpora";
  const auto counts = import({corpora / "emlx-samples", corpora / "enmime-testdata"}, "Corpus");
  EXPECT_GT(counts.added, 40u);
  EXPECT_EQ(counts.failed, problems_.size());
  std::size_t stored = 0;
  ASSERT_TRUE(store_->forEachMessage([&](const StoredMessage& message) {
    EXPECT_TRUE(message.path);
    return ++stored, true;
  }));
  EXPECT_EQ(stored, counts.added);
}

}  // namespace
}  // namespace trovadex::mailstore
