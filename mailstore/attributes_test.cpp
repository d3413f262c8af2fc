#include "mailstore/attributes.hpp"

#include <gtest/gtest.h>

#include <set>

#include "mailstore/message_flags.hpp"
#include "mailstore/test_support.hpp"

namespace trovadex::mailstore {
namespace {

using foundation::Value;

// The attribute names a found message may carry back to the plug-in.
const std::set<std::string> kFetchedNames = {":MD:DeviceId",
                                             ":MD:kMDItemPath",
                                             "com_apple_mail_dateReceived",
                                             "com_apple_mail_flagged",
                                             "com_apple_mail_gmailLabels",
                                             "com_apple_mail_messageID",
                                             "com_apple_mail_priority",
                                             "com_apple_mail_read",
                                             "com_apple_mail_repliedTo",
                                             "com_apple_metadata_modtime",
                                             "kMDItemAdditionalRecipientPersons",
                                             "kMDItemAdditionalRecipients",
                                             "kMDItemAuthorAddresses",
                                             "kMDItemAuthorEmailAddresses",
                                             "kMDItemAuthorPersons",
                                             "kMDItemAuthors",
                                             "kMDItemContentCreationDate",
                                             "kMDItemContentModificationDate",
                                             "kMDItemContentType",
                                             "kMDItemContentTypeTree",
                                             "kMDItemDateAdded",
                                             "kMDItemDisplayName",
                                             "kMDItemDocumentIdentifier",
                                             "kMDItemEmailHeadersDictionary",
                                             "kMDItemFileIdentifier",
                                             "kMDItemFSContentChangeDate",
                                             "kMDItemFSCreationDate",
                                             "kMDItemFSCreatorCode",
                                             "kMDItemFSFinderFlags",
                                             "kMDItemFSHasCustomIcon",
                                             "kMDItemFSInvisible",
                                             "kMDItemFSIsExtensionHidden",
                                             "kMDItemFSIsStationery",
                                             "kMDItemFSLabel",
                                             "kMDItemFSName",
                                             "kMDItemFSOwnerGroupID",
                                             "kMDItemFSOwnerUserID",
                                             "kMDItemFSSize",
                                             "kMDItemFSTypeCode",
                                             "kMDItemHiddenAdditionalRecipientPersons",
                                             "kMDItemHiddenAdditionalRecipients",
                                             "kMDItemIdentifier",
                                             "kMDItemKind",
                                             "kMDItemLogicalSize",
                                             "kMDItemPath",
                                             "kMDItemPhysicalSize",
                                             "kMDItemPrimaryRecipientPersons",
                                             "kMDItemPrimaryRecipients",
                                             "kMDItemRecipientAddresses",
                                             "kMDItemRecipientEmailAddresses",
                                             "kMDItemRecipients",
                                             "kMDItemSubject",
                                             "kMDItemURL",
                                             "_kMDItemBundleID",
                                             "_kMDItemContentChangeDate",
                                             "_kMDItemCreationDate",
                                             "_kMDItemCreatorCode",
                                             "_kMDItemDisplayNameWithExtensions",
                                             "_kMDItemExternalID",
                                             "_kMDItemFileName",
                                             "_kMDItemFinderFlags",
                                             "_kMDItemFinderLabel",
                                             "_kMDItemFromImporter",
                                             "_kMDItemIsExtensionHidden",
                                             "_kMDItemIsFromImporter",
                                             "_kMDItemOwnerGroupID",
                                             "_kMDItemOwnerUserID",
                                             "_kMDItemTypeCode",
                                             "com_apple_mail_attachmentKinds",
                                             "com_apple_mail_attachmentNames",
                                             "com_apple_mail_attachmentTypes",
                                             "com_apple_mail_dateLastViewed",
                                             "com_apple_mail_flagColor",
                                             "kMDItemAccountHandles",
                                             "kMDItemAttachmentNames",
                                             "kMDItemAttachmentPaths",
                                             "kMDItemAttachmentTypes",
                                             "kMDItemLastUsedDate",
                                             "com_apple_mail_attachmentSpecificTypes",
                                             "kMDItemKeywords",
                                             "kMDItemInterestingDate",
                                             "kMDItemMailDateReceived",
                                             "kMDItemPrimaryRecipientEmailAddresses",
                                             "kMDItemRelatedUniqueIdentifier",
                                             "kMDItemWhereFroms",
                                             "kMDItemAccountIdentifier",
                                             "kMDItemAccountType",
                                             "kMDItemEmailAddresses",
                                             "kMDItemProjects",
                                             "kMDItemComment"};

// Attributes given beyond the fetched list, for searching.
const std::set<std::string> kSearchOnlyNames = {"kMDItemTextContent", "com_apple_mail_dateSent",
                                                "kMDItemEmailConversationID", "kMDItemMailboxes"};

Value strings(std::initializer_list<const char*> texts) {
  Value::Array array;
  for (const char* text : texts) array.emplace_back(text);
  return array;
}

class AttributesTest : public ::testing::Test {
 protected:
  void SetUp() override {
    store_ = Store::open(folder_.path()).value();
    inbox_ = store_->mailbox(mailboxForName("INBOX").value()).value();
  }

  platform::SearchableItem itemFor(NewMessage message) {
    std::vector<NewMessage> batch{std::move(message)};
    const auto id = store_->addMessages(inbox_, batch).value().at(0).libraryID;
    auto source = messageSourceFor(*store_, store_->message(id).value());
    EXPECT_TRUE(source) << source.error().description();
    auto item = searchableItemForMessage(source.value());
    EXPECT_TRUE(item) << item.error().description();
    return item.value();
  }

  testing::TemporaryFolder folder_;
  std::shared_ptr<Store> store_;
  Mailbox inbox_;
};

TEST_F(AttributesTest, DescribesPeopleSubjectDatesAndIdentityOfAMessage) {
  const auto item = itemFor({.bytes = testing::messageWithAttachment("id1@example.org"),
                             .flags = kFlagRead | kFlagAnswered,
                             .dateReceived = 1700040000,
                             .dateLastViewed = 1700050000});
  const auto& a = item.attributeSet.attributes;
  const Value attributes(a);
  EXPECT_EQ(item.uniqueIdentifier, attributes["_kMDItemExternalID"].description());
  EXPECT_EQ(item.domainIdentifier, "local://Mailboxes/INBOX");
  EXPECT_FALSE(item.filePath);

  EXPECT_EQ(attributes["kMDItemContentType"], Value("public.email-message"));
  EXPECT_EQ(attributes["kMDItemContentTypeTree"].at(1), Value("public.message"));
  EXPECT_EQ(attributes["kMDItemKind"], Value("Mail Message"));
  EXPECT_EQ(attributes["kMDItemSubject"], Value("Quartalsbericht f\xC3\xBCr Q3"));
  EXPECT_EQ(attributes["kMDItemDisplayName"], attributes["kMDItemSubject"]);
  EXPECT_EQ(attributes["kMDItemIdentifier"], Value("<id1@example.org>"));
  EXPECT_EQ(attributes["kMDItemAuthors"], strings({"J\xC3\xBCrgen M\xC3\xBCller"}));
  EXPECT_EQ(attributes["kMDItemAuthorEmailAddresses"], strings({"juergen@example.de"}));
  EXPECT_EQ(attributes["kMDItemAuthorPersons"],
            strings({"J\xC3\xBCrgen M\xC3\xBCller <juergen@example.de>"}));
  EXPECT_EQ(attributes["kMDItemPrimaryRecipients"], strings({"Smith, Anna", "carol@example.org"}));
  EXPECT_EQ(attributes["kMDItemPrimaryRecipientEmailAddresses"],
            strings({"anna@example.org", "carol@example.org"}));
  EXPECT_EQ(attributes["kMDItemAdditionalRecipients"],
            strings({"\xE5\xB1\xB1\xE7\x94\xB0\xE5\xA4\xAA\xE9\x83\x8E"}));
  EXPECT_EQ(attributes["kMDItemRecipientEmailAddresses"],
            strings({"anna@example.org", "carol@example.org", "yamada@example.jp"}));
  EXPECT_EQ(attributes["kMDItemEmailAddresses"].count(), 4u);
  EXPECT_FALSE(attributes["kMDItemHiddenAdditionalRecipients"]);

  EXPECT_EQ(attributes["kMDItemContentCreationDate"],
            Value(foundation::Date::withUnixTime(1700031600)));
  EXPECT_EQ(attributes["com_apple_mail_dateReceived"],
            Value(foundation::Date::withUnixTime(1700040000)));
  EXPECT_EQ(attributes["com_apple_mail_dateLastViewed"],
            Value(foundation::Date::withUnixTime(1700050000)));
  EXPECT_EQ(attributes["com_apple_mail_read"], Value::integer(1));
  EXPECT_EQ(attributes["com_apple_mail_repliedTo"], Value::integer(1));
  EXPECT_EQ(attributes["com_apple_mail_flagged"], Value::integer(0));
  EXPECT_FALSE(attributes["com_apple_mail_flagColor"]);
  EXPECT_EQ(attributes["com_apple_mail_priority"], Value::integer(3));
  EXPECT_EQ(attributes["kMDItemTextContent"], Value("Der Bericht liegt bei."));
  EXPECT_EQ(attributes["kMDItemEmailHeadersDictionary"]["message-id"].at(0),
            Value("<id1@example.org>"));
  EXPECT_EQ(attributes["kMDItemAccountIdentifier"], Value("Mailboxes"));
  EXPECT_EQ(attributes["kMDItemAccountType"], Value("Local"));
}

TEST_F(AttributesTest, NamesAttachmentsWithTypesKindsAndForPartialMessagesTheirFiles) {
  const auto whole =
      Value(itemFor({.bytes = testing::messageWithAttachment("w@x")}).attributeSet.attributes);
  EXPECT_EQ(whole["kMDItemAttachmentNames"], strings({"\xC3\x9C"
                                                      "bersicht 7.pdf"}));
  EXPECT_EQ(whole["com_apple_mail_attachmentNames"], whole["kMDItemAttachmentNames"]);
  EXPECT_EQ(whole["kMDItemAttachmentTypes"], strings({"com.adobe.pdf"}));
  EXPECT_EQ(whole["com_apple_mail_attachmentKinds"], strings({"PDF document"}));
  EXPECT_EQ(whole["com_apple_mail_attachmentSpecificTypes"], strings({"application/pdf"}));
  EXPECT_FALSE(whole["kMDItemAttachmentPaths"]);

  const auto partial = Value(
      itemFor({.bytes = testing::messageWithAttachment("p@x"), .kind = MessageDataKind::Partial})
          .attributeSet.attributes);
  EXPECT_EQ(partial["kMDItemAttachmentNames"], whole["kMDItemAttachmentNames"]);
  ASSERT_EQ(partial["kMDItemAttachmentPaths"].count(), 1u);
  const std::string path = *partial["kMDItemAttachmentPaths"].at(0).asString();
  EXPECT_TRUE(std::filesystem::is_regular_file(path)) << path;
  EXPECT_TRUE(partial["kMDItemFSName"].asString()->ends_with(".partial.emlx"));
}

TEST_F(AttributesTest, GivesOnlyFetchableOrSearchableNamesAndLeavesThePathOut) {
  const std::string fullest =
      "Bcc: Hidden <hidden@example.org>\n"
      "Keywords: budget, q3\n"
      "Comments: reviewed\n"
      "X-Gmail-Labels: Important,Work\n" +
      testing::messageWithAttachment("n@x");
  const auto item = itemFor({.bytes = fullest,
                             .flags = kFlagFlagged,
                             .dateLastViewed = 1700050000,
                             .kind = MessageDataKind::Partial});
  const Value attributes(item.attributeSet.attributes);
  EXPECT_EQ(attributes["kMDItemKeywords"], strings({"budget", "q3"}));
  EXPECT_EQ(attributes["com_apple_mail_gmailLabels"], strings({"Important", "Work"}));
  EXPECT_EQ(attributes["kMDItemHiddenAdditionalRecipientPersons"],
            strings({"Hidden <hidden@example.org>"}));
  EXPECT_EQ(attributes["kMDItemComment"], Value("reviewed"));
  std::size_t fetched = 0;
  for (const auto& [name, value] : item.attributeSet.attributes) {
    EXPECT_TRUE(kFetchedNames.contains(name) || kSearchOnlyNames.contains(name)) << name;
    if (kFetchedNames.contains(name)) ++fetched;
    EXPECT_FALSE(value.isNil()) << name;
  }

  for (const char* absent : {"kMDItemPath", ":MD:kMDItemPath"}) {
    EXPECT_FALSE(item.attributeSet.attributes.contains(absent)) << absent;
  }
  EXPECT_EQ(attributes["com_apple_mail_flagColor"], Value::integer(0));
  // Every fetched attribute a stored message can give (ATTRIBUTES.md lists the nine it cannot,
  // besides the path) is given for this message.
  EXPECT_EQ(fetched, 81u);
}

TEST_F(AttributesTest, ReportsFileFactsFromTheFileSystem) {
  const auto item = itemFor({.bytes = testing::simpleMessage("f@x", "File")});
  const Value a(item.attributeSet.attributes);
  const auto path = store_->message(a["_kMDItemExternalID"].integerValue()).value().path.value();
  EXPECT_EQ(a["kMDItemFSName"], Value(path.filename().string()));
  EXPECT_EQ(a["kMDItemFSSize"].integerValue(),
            static_cast<std::int64_t>(std::filesystem::file_size(path)));
  EXPECT_GT(a["kMDItemPhysicalSize"].integerValue(), 0);
  EXPECT_TRUE(a["kMDItemFSContentChangeDate"].isDate());
  EXPECT_EQ(a["kMDItemFSInvisible"], Value::boolean(false));
}

TEST_F(AttributesTest, FindsTheMessageBehindAFileEventPath) {
  const auto item = itemFor({.bytes = testing::simpleMessage("e@x", "Event")});
  const std::int64_t id = std::stoll(item.uniqueIdentifier);
  const auto path = store_->message(id).value().path.value();
  auto source = messageSourceForPath(*store_, path);
  ASSERT_TRUE(source) << source.error().description();
  EXPECT_EQ(source.value().libraryID, id);
  EXPECT_EQ(source.value().mailbox.url(), inbox_.url);
  EXPECT_FALSE(messageSourceForPath(*store_, folder_.path() / "elsewhere/1.emlx"));
  EXPECT_FALSE(messageSourceForPath(
      *store_, store_->v10Folder() / "Mailboxes/Unknown.mbox/X/Data/Messages/1.emlx"));
}

}  // namespace
}  // namespace trovadex::mailstore
