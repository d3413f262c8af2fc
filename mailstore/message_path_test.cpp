#include "mailstore/message_path.hpp"

#include <gtest/gtest.h>

namespace trovadex::mailstore {
namespace {

TEST(MessagePath, FilesIdsInDigitFoldersLeastSignificantFirst) {
  const struct {
    std::int64_t libraryID;
    const char* folder;
  } cases[] = {
      {42, "Data/Messages"},
      {999, "Data/Messages"},
      {1000, "Data/1/Messages"},
      {3300, "Data/3/Messages"},
      {43017, "Data/3/4/Messages"},
      {114892, "Data/4/1/1/Messages"},
      {1000000, "Data/0/0/0/1/Messages"},
  };
  for (const auto& c : cases) {
    EXPECT_EQ(messagesFolderRelative(c.libraryID), c.folder) << c.libraryID;
  }
}

TEST(MessagePath, BuildsWholeAndPartialFileAndAttachmentPaths) {
  const std::filesystem::path store = "/lib/Mail/V10/Mailboxes/INBOX.mbox/UUID";
  EXPECT_EQ(messageFilePath(store, 114892, MessageDataKind::Partial),
            "/lib/Mail/V10/Mailboxes/INBOX.mbox/UUID/Data/4/1/1/Messages/114892.partial.emlx");
  EXPECT_EQ(messageFilePath(store, 999, MessageDataKind::Whole),
            "/lib/Mail/V10/Mailboxes/INBOX.mbox/UUID/Data/Messages/999.emlx");
  EXPECT_EQ(attachmentsFolder(store, 3300),
            "/lib/Mail/V10/Mailboxes/INBOX.mbox/UUID/Data/3/Attachments/3300");
}

TEST(MessagePath, ReadsOnlyMessageFileNames) {
  const auto whole = parseMessageFileName("3300.emlx");
  ASSERT_TRUE(whole);
  EXPECT_EQ(whole->libraryID, 3300);
  EXPECT_EQ(whole->kind, MessageDataKind::Whole);
  const auto partial = parseMessageFileName("114892.partial.emlx");
  ASSERT_TRUE(partial);
  EXPECT_EQ(partial->libraryID, 114892);
  EXPECT_EQ(partial->kind, MessageDataKind::Partial);
  for (const char* name :
       {".3300.emlx.writing", "abc.emlx", "0.emlx", "012.emlx", "12.eml", ".emlx", "-5.emlx",
        "99999999999999999999.emlx", "12.partial.emlx.tmp"}) {
    EXPECT_FALSE(parseMessageFileName(name)) << name;
  }
}

TEST(MessagePath, ReadsAMessagePathBackIntoItsLocation) {
  const std::filesystem::path v10 = "/lib/Mail/V10";
  const auto location = parseMessagePath(
      v10, "/lib/Mail/V10/Mailboxes/Archive.mbox/2019.mbox/AB-CD/Data/3/4/Messages/43017.emlx");
  ASSERT_TRUE(location);
  EXPECT_EQ(location->account, "Mailboxes");
  EXPECT_EQ(location->mailboxPath, "Archive/2019");
  EXPECT_EQ(location->storeUUID, "AB-CD");
  EXPECT_EQ(location->file.libraryID, 43017);
}

TEST(MessagePath, RefusesPathsWhoseFoldersDoNotMatchTheId) {
  const std::filesystem::path v10 = "/lib/Mail/V10";
  for (const char* path : {
           "/lib/Mail/V10/Mailboxes/INBOX.mbox/U/Data/Messages/43017.emlx",  // wrong digits
           "/lib/Mail/V10/Mailboxes/INBOX.mbox/U/Data/4/Messages/999.emlx",  // below 1000
           "/lib/Mail/V10/Mailboxes/INBOX.mbox/U/Data/Attachments/5.emlx",   // not Messages
           "/lib/Mail/V10/Mailboxes/U/Data/Messages/5.emlx",                 // no mailbox
           "/elsewhere/Mailboxes/INBOX.mbox/U/Data/Messages/5.emlx",         // outside V10
       }) {
    EXPECT_FALSE(parseMessagePath(v10, path)) << path;
  }
}

}  // namespace
}  // namespace trovadex::mailstore
