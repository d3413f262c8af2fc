#include "companion/message_text.hpp"

#include <gtest/gtest.h>

#include "companion/message_lookup.hpp"

namespace trovadex::companion {
namespace {

constexpr const char* kMessage =
    "From: =?UTF-8?Q?Zo=C3=AB_Quillfeather?= <zoe@example.org>\r\n"
    "To: Bob <bob@example.org>\r\n"
    "Subject: Budget\x1b[31m review\r\n"
    "Date: Sat, 21 Jun 2025 17:17:00 +0000\r\n"
    "MIME-Version: 1.0\r\n"
    "Content-Type: multipart/mixed; boundary=b\r\n"
    "\r\n"
    "--b\r\n"
    "Content-Type: text/plain; charset=utf-8\r\n"
    "\r\n"
    "Figures attached.\r\n"
    "--b\r\n"
    "Content-Type: application/pdf; name=figures.pdf\r\n"
    "Content-Disposition: attachment; filename=figures.pdf\r\n"
    "Content-Transfer-Encoding: base64\r\n"
    "\r\n"
    "JVBERi0xLjQK\r\n"
    "--b--\r\n";

TEST(MessageText, ShowsFieldsAttachmentsAndBodyWithoutControlCharacters) {
  auto message = mailstore::parseMessage(kMessage);
  ASSERT_TRUE(message.ok()) << message.error().localizedDescription;
  const std::string text = messageText(message.value());
  EXPECT_EQ(text.find('\x1b'), std::string::npos) << "an escape reached the terminal";
  const auto from = text.find("From: Zoë Quillfeather <zoe@example.org>\n");
  const auto to = text.find("To: Bob <bob@example.org>\n");
  const auto date = text.find("Date: Sat, 21 Jun 2025 17:17:00 +0000\n");
  const auto subject = text.find("Subject: Budget [31m review\n");
  const auto attachment = text.find("Attachments:\n  figures.pdf (application/pdf, ");
  const auto body = text.find("\n\nFigures attached.");
  for (auto position : {from, to, date, subject, attachment, body}) {
    EXPECT_NE(position, std::string::npos) << text;
  }
  EXPECT_TRUE(from < to && to < date && date < subject && subject < attachment && attachment < body)
      << text;
  EXPECT_EQ(text.back(), '\n');
  EXPECT_EQ(text.find("Cc:"), std::string::npos) << "a field the message lacks is left out";
}

TEST(MessageText, SizesReadForPeople) {
  EXPECT_EQ(sizeText(0), "0 B");
  EXPECT_EQ(sizeText(999), "999 B");
  EXPECT_EQ(sizeText(12345), "12.3 kB");
  EXPECT_EQ(sizeText(4000000), "4.0 MB");
  EXPECT_EQ(sizeText(-5), "0 B");
}

TEST(MessageLookup, DigitsNameALibraryIDAndAnythingElseAFile) {
  EXPECT_TRUE(isLibraryID("42"));
  EXPECT_TRUE(isLibraryID("999999999999999999"));
  EXPECT_FALSE(isLibraryID("9999999999999999999")) << "too long for a library ID";
  EXPECT_FALSE(isLibraryID(""));
  EXPECT_FALSE(isLibraryID("42.emlx"));
  EXPECT_FALSE(isLibraryID("-1"));
  EXPECT_EQ(libraryIDQuery("42"), "_kMDItemExternalID == 42");
}

TEST(MessageLookup, APathMustNameAFile) {
  auto missing = locateMessage(nullptr, "/nonexistent/42.emlx", std::chrono::milliseconds(10));
  ASSERT_FALSE(missing.ok());
  EXPECT_EQ(missing.error().code, kNoSuchMessage);
  auto folder = locateMessage(nullptr, "/", std::chrono::milliseconds(10));
  EXPECT_FALSE(folder.ok());
}

}  // namespace
}  // namespace trovadex::companion
