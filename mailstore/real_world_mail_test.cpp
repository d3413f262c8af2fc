// Shapes of real-world mail that hand-written fixtures long missed, each with its minimal message.
#include <glib.h>
#include <gtest/gtest.h>

#include "mailstore/header_text.hpp"
#include "mailstore/mime_message.hpp"

namespace trovadex::mailstore {
namespace {

ParsedMessage parsed(const std::string& bytes) {
  auto message = parseMessage(bytes);
  EXPECT_TRUE(message) << message.error().description();
  return message ? std::move(message).value() : ParsedMessage{};
}

TEST(HeaderText, JoinsARunOfAdjacentEncodedWordsInOneCharsetIntoOne) {
  EXPECT_EQ(joinAdjacentEncodedWords("=?UTF-8?B?U3RyYcOfZQ==?=\n =?utf-8?Q?_plantedword?= tail"),
            "=?UTF-8?B?U3RyYcOfZSBwbGFudGVkd29yZA==?= tail");
  // A character split between two words comes out whole.
  EXPECT_EQ(joinAdjacentEncodedWords("=?UTF-8?B?4oI=?= =?UTF-8?B?rCBvaw==?="),
            "=?UTF-8?B?4oKsIG9r?=");
  // Words of different charsets, a lone word, words with text between them and broken words
  // are GMime's to read as they are.
  for (const std::string unchanged :
       {"=?UTF-8?B?U3RyYcOfZQ==?= =?ISO-8859-1?Q?caf=E9?=", "=?UTF-8?B?U3RyYcOfZQ==?=",
        "=?UTF-8?B?U3RyYcOfZQ==?= and =?UTF-8?B?U3RyYcOfZQ==?=",
        "=?UTF-8?B?U3R!?= =?UTF-8?B?YQ==?=", "=?UTF-8?X?abc?= =?UTF-8?X?abc?=", "a =? b ?= c", "=?",
        "=?UTF-8?B?"}) {
    EXPECT_EQ(joinAdjacentEncodedWords(unchanged), unchanged);
  }
  EXPECT_EQ(collapsedWhiteSpace(" CNET Shopper Sound \t\n Graphics  "),
            "CNET Shopper Sound Graphics");
}

TEST(RealWorldMail, ReadsEveryWordOfAdjacentBase64EncodedWords) {
  const ParsedMessage m = parsed(
      "Subject: =?UTF-8?B?U3RyYcOfZQ==?=\n =?UTF-8?B?IHBsYW50ZWR3b3Jk?=\n"
      "From: =?UTF-8?B?WsO2w6s=?= =?UTF-8?B?IFF1aWxsZmVhdGhlcg==?= <zoe@example.org>\n"
      "To: =?ISO-2022-JP?B?GyRCRnxLXDhsJE4bKEI=?=\n =?ISO-2022-JP?B?GyRCN29MPiRHJDkbKEI=?= "
      "<taro@example.jp>\n"
      "MIME-Version: 1.0\nContent-Type: multipart/mixed; boundary=b\n\n"
      "--b\nContent-Type: text/plain\n\nbody\n"
      "--b\nContent-Type: application/pdf; name=\"=?UTF-8?B?VMO8YmluZ2VuIA==?= "
      "=?UTF-8?B?QmVyaWNodC5wZGY=?=\"\n"
      "Content-Disposition: attachment;\n filename=\"=?UTF-8?B?VMO8YmluZ2VuIA==?=\n "
      "=?UTF-8?B?QmVyaWNodC5wZGY=?=\"\n\nJVBERg==\n--b--\n");
  EXPECT_EQ(m.subject,
            "Stra\xC3\x9F"
            "e plantedword");
  ASSERT_EQ(m.from.size(), 1u);
  EXPECT_EQ(m.from[0], (MailAddress{"Z\xC3\xB6\xC3\xAB Quillfeather", "zoe@example.org"}));
  ASSERT_EQ(m.to.size(), 1u);
  EXPECT_EQ(m.to[0].name,
            "\xE6\x97\xA5\xE6\x9C\xAC\xE8\xAA\x9E\xE3\x81\xAE"
            "\xE4\xBB\xB6\xE5\x90\x8D\xE3\x81\xA7\xE3\x81\x99");  // 日本語の件名です
  ASSERT_EQ(m.attachments.size(), 1u);
  EXPECT_EQ(m.attachments[0].name,
            "T\xC3\xBC"
            "bingen Bericht.pdf");
  ASSERT_NE(headerValue(m, "Subject"), nullptr);
  EXPECT_EQ(*headerValue(m, "Subject"), m.subject);
}

TEST(RealWorldMail, DisplayNamesHaveOneSpaceBetweenWords) {
  const ParsedMessage m = parsed(
      "From: CNET Shopper Sound  Graphics <x@example.com>\n"
      "To: \"Anna\n  Smith\" <anna@example.org>, =?UTF-8?Q?J=C3=BCrgen?=   Meier "
      "<jm@example.de>\n\n"
      "body\n");
  ASSERT_EQ(m.from.size(), 1u);
  EXPECT_EQ(m.from[0].name, "CNET Shopper Sound Graphics");
  ASSERT_EQ(m.to.size(), 2u);
  EXPECT_EQ(m.to[0].name, "Anna Smith");
  EXPECT_EQ(m.to[1].name, "J\xC3\xBCrgen Meier");
}

TEST(RealWorldMail, AMessageWithoutAUsableDateTakesTheNewestReceivedFieldsDate) {
  const ParsedMessage m = parsed(
      "Received: from relay.example.net by mx.example.org; Tue, 4 Jun 2002 12:00:00 +0200\n"
      "Received: from sender.example.com by relay.example.net;\n Tue, 4 Jun 2002 11:58:00 +0200\n"
      "From: spam@example.com\nDate: Tue, 04 Jun 0102 10:00:00 +0000\nSubject: old\n\nbody\n");
  EXPECT_FALSE(m.dateSent);
  EXPECT_EQ(m.dateLastReceived, 1023184800);  // 2002-06-04 10:00:00 UTC
  EXPECT_FALSE(parsed("Received: from a by b; no date here\nFrom: a@b\n\nx\n").dateLastReceived);
}

TEST(RealWorldMail, AttachmentsInsideAttachedMessagesAreAttachmentsToo) {
  const ParsedMessage m = parsed(
      "From: a@example.org\nSubject: fwd\nMIME-Version: 1.0\n"
      "Content-Type: multipart/mixed; boundary=outer\n\n"
      "--outer\nContent-Type: text/plain\n\nsee below\n"
      "--outer\nContent-Type: message/rfc822\n\n"
      "From: b@example.org\nSubject: inner\nMIME-Version: 1.0\n"
      "Content-Type: multipart/mixed; boundary=inner\n\n"
      "--inner\nContent-Type: text/plain\n\ninner text\n"
      "--inner\nContent-Type: application/pdf\nContent-Disposition: attachment; "
      "filename=inner.pdf\n\nJVBERg==\n--inner--\n"
      "--outer\nContent-Type: message/rfc822\nContent-Disposition: attachment\n\n"
      "From: c@example.org\nSubject: =?UTF-8?B?U3RyYcOfZQ==?= =?UTF-8?B?IG5vdGU=?=\n"
      "Content-Type: image/png; name=dot.png\nContent-Transfer-Encoding: base64\n\niVBORw==\n"
      "--outer--\n");
  ASSERT_EQ(m.attachments.size(), 3u);
  EXPECT_EQ(m.attachments[0].name, "inner.pdf");
  EXPECT_EQ(m.attachments[0].partNumber, "2.2");
  EXPECT_EQ(m.attachments[1].name,
            "Stra\xC3\x9F"
            "e note.eml");
  EXPECT_EQ(m.attachments[1].partNumber, "3");
  EXPECT_EQ(m.attachments[2].name, "dot.png");
  EXPECT_EQ(m.attachments[2].partNumber, "3.1");
  EXPECT_EQ(m.bodyText, "see below");
}

TEST(RealWorldMail, UndeclaredEightBitHeadersTryTheCharsetTheTextDeclares) {
  // KOI8-R "Привет мир" in the subject and a name; the body says koi8-r.
  const std::string koi8 = "\xF0\xD2\xC9\xD7\xC5\xD4 \xCD\xC9\xD2";
  const std::string russian =
      "\xD0\x9F\xD1\x80\xD0\xB8\xD0\xB2\xD0\xB5\xD1\x82 \xD0\xBC\xD0\xB8\xD1\x80";
  ParsedMessage m = parsed("From: " + koi8 + " <ivan@example.ru>\nSubject: " + koi8 +
                           "\nContent-Type: text/plain; charset=koi8-r\n\nbody\n");
  EXPECT_EQ(m.subject, russian);
  EXPECT_EQ(m.from.at(0).name, russian);
  EXPECT_EQ(*headerValue(m, "subject"), russian);
  // Valid UTF-8 stays UTF-8 whatever the body declares.
  m = parsed("Subject: caf\xC3\xA9\nContent-Type: text/plain; charset=windows-1252\n\nbody\n");
  EXPECT_EQ(m.subject, "caf\xC3\xA9");
  // Bytes that are no text in the declared charset are read as ISO 8859-1.
  m = parsed("Subject: caf\xE9\nContent-Type: text/plain; charset=shift_jis\n\nbody\n");
  EXPECT_EQ(m.subject, "caf\xC3\xA9");
  m = parsed("Subject: caf\xE9\n\nbody\n");
  EXPECT_EQ(m.subject, "caf\xC3\xA9");
}

}  // namespace
}  // namespace trovadex::mailstore
