#include "mailstore/mime_message.hpp"

#include <glib.h>
#include <gtest/gtest.h>

#include <fstream>
#include <limits>

#include "mailstore/html_text.hpp"
#include "mailstore/message_identity.hpp"
#include "mailstore/test_support.hpp"

namespace trovadex::mailstore {
namespace {

TEST(MimeMessage, DecodesEncodedNamesSubjectsAndFileNames) {
  auto parsed = parseMessage(testing::messageWithAttachment("m1@example.org"));
  ASSERT_TRUE(parsed) << parsed.error().description();
  const ParsedMessage& m = parsed.value();
  EXPECT_EQ(m.subject, "Quartalsbericht f\xC3\xBCr Q3");
  ASSERT_EQ(m.from.size(), 1u);
  EXPECT_EQ(m.from[0], (MailAddress{"J\xC3\xBCrgen M\xC3\xBCller", "juergen@example.de"}));
  ASSERT_EQ(m.to.size(), 2u);
  EXPECT_EQ(m.to[0], (MailAddress{"Smith, Anna", "anna@example.org"}));
  EXPECT_EQ(m.to[1], (MailAddress{"", "carol@example.org"}));
  ASSERT_EQ(m.cc.size(), 1u);
  EXPECT_EQ(m.cc[0].name, "\xE5\xB1\xB1\xE7\x94\xB0\xE5\xA4\xAA\xE9\x83\x8E");  // 山田太郎
  EXPECT_EQ(m.messageID, "m1@example.org");
  EXPECT_EQ(m.dateSent, 1700031600);
  ASSERT_EQ(m.attachments.size(), 1u);
  EXPECT_EQ(m.attachments[0].name,
            "\xC3\x9C"
            "bersicht 7.pdf");
  EXPECT_EQ(m.attachments[0].mimeType, "application/pdf");
  EXPECT_EQ(m.attachments[0].partNumber, "2");
  EXPECT_FALSE(m.attachments[0].bodyStripped);
  EXPECT_EQ(m.bodyText, "Der Bericht liegt bei.");
}

TEST(MimeMessage, ReadsGroupsThreadingHeadersAndPriority) {
  const std::string bytes =
      "From: a@example.org\n"
      "To: Team: bob@example.org, \"Carol C\" <carol@example.org>;\n"
      "Subject: Re: plan\n"
      "In-Reply-To: <parent@example.org>\n"
      "References: <root@example.org> <parent@example.org>\n"
      "X-Priority: 1 (Highest)\n"
      "Date: not a date at all\n"
      "\n"
      "body\n";
  auto parsed = parseMessage(bytes);
  ASSERT_TRUE(parsed);
  const ParsedMessage& m = parsed.value();
  ASSERT_EQ(m.to.size(), 2u);
  EXPECT_EQ(m.to[1], (MailAddress{"Carol C", "carol@example.org"}));
  EXPECT_EQ(m.inReplyTo, "parent@example.org");
  EXPECT_EQ(m.references, (std::vector<std::string>{"root@example.org", "parent@example.org"}));
  EXPECT_EQ(m.priority, 1);
  EXPECT_FALSE(m.dateSent);
  EXPECT_EQ(conversationIDFor(m),
            messageIDHash("root@example.org") & std::numeric_limits<std::int64_t>::max());
  ASSERT_TRUE(headerValue(m, "x-priority"));
  EXPECT_EQ(*headerValue(m, "x-priority"), "1 (Highest)");
}

TEST(MimeMessage, PrefersThePlainTextAlternativeAndReducesHtmlOnlyMail) {
  const std::string alternative =
      "From: a@example.org\nSubject: s\nContent-Type: multipart/alternative; boundary=x\n\n"
      "--x\nContent-Type: text/plain\n\nplain words\n"
      "--x\nContent-Type: text/html\n\n<p>html words</p>\n--x--\n";
  EXPECT_EQ(parseMessage(alternative).value().bodyText, "plain words");
  const std::string html =
      "From: a@example.org\nSubject: s\nContent-Type: text/html; charset=iso-8859-1\n"
      "Content-Transfer-Encoding: quoted-printable\n\n"
      "<html><style>p{color:red}</style><p>Caf=E9 &amp; cr&egrave;me&#33;</p><br>next</html>\n";
  EXPECT_EQ(parseMessage(html).value().bodyText, "Caf\xC3\xA9 & cr\xC3\xA8me!\nnext");
}

TEST(MimeMessage, RefusesDataThatIsNoMessage) {
  for (const std::string bytes :
       {"", "\n\nbody only\n", "this is an invalid .emlx structure\n", ": no field name\n\n"}) {
    auto parsed = parseMessage(bytes);
    ASSERT_FALSE(parsed) << bytes;
    EXPECT_EQ(parsed.error().code, 3);
  }
}

TEST(MimeMessage, KeepsTextValidUtf8WhenHeadersCarryRawBytes) {
  auto parsed = parseMessage("From: \xFF\xFE <x@example.org>\nSubject: caf\xE9 \xFF\n\nbody\n");
  ASSERT_TRUE(parsed);
  EXPECT_TRUE(g_utf8_validate(parsed.value().subject.c_str(), -1, nullptr));
  EXPECT_TRUE(g_utf8_validate(parsed.value().from.at(0).name.c_str(), -1, nullptr));
}

TEST(MessageIdentity, SplitsReplyAndForwardPrefixesFromTheSubject) {
  EXPECT_EQ(splitSubjectPrefix("Re: Fwd: AW: Budget"),
            (std::pair<std::string, std::string>{"Re: Fwd: AW: ", "Budget"}));
  EXPECT_EQ(splitSubjectPrefix("RE[2]: x"), (std::pair<std::string, std::string>{"RE[2]: ", "x"}));
  EXPECT_EQ(splitSubjectPrefix("Rebate: 10%"),
            (std::pair<std::string, std::string>{"", "Rebate: 10%"}));
  EXPECT_EQ(messageIDHash("<a@b>"), messageIDHash("a@b"));
  EXPECT_EQ(messageIDHash(""), 0);
}

TEST(MimeCorpora, ParsesEveryCorpusMessageOrRefusesItCleanly) {
  const auto corpora = testing::corporaFolder();
  int parsedCount = 0;
  int seen = 0;
  for (const char* folder : {"enmime-testdata", "python-email-testdata"}) {
    if (!std::filesystem::is_directory(corpora / folder)) continue;
    for (const auto& entry : std::filesystem::recursive_directory_iterator(corpora / folder)) {
      if (!entry.is_regular_file() || entry.path().extension() == ".txt" ||
          entry.path().filename().string().starts_with("LICENSE")) {
        continue;
      }
      std::ifstream in(entry.path(), std::ios::binary);
      const std::string bytes((std::istreambuf_iterator<char>(in)), {});
      ++seen;
      auto parsed = parseMessage(bytes);
      if (parsed) {
        ++parsedCount;
        EXPECT_TRUE(g_utf8_validate(parsed.value().bodyText.c_str(),
                                    static_cast<gssize>(parsed.value().bodyText.size()), nullptr))
            << entry.path();
      } else {
        EXPECT_EQ(parsed.error().code, 3) << entry.path();
      }
    }
  }
  if (seen == 0) GTEST_SKIP() << "no mail corpora at " << corpora;
  EXPECT_GT(parsedCount, seen / 2);
}

TEST(HtmlText, DropsTagsScriptsAndCommentsAndDecodesReferences) {
  EXPECT_EQ(htmlToText("<b>bold</b> &lt;x&gt; &#x263A;<!-- hidden --><script>var a;</script>end"),
            "bold <x> \xE2\x98\xBA end");
  EXPECT_EQ(htmlToText("unterminated <tag"), "unterminated");
  EXPECT_EQ(htmlToText("&#0; &#99999999; &bogus; a&nbsp;b"), "&bogus; a b");
  EXPECT_EQ(htmlToText("<p>a</p>\n\n<p>  b  </p>\n"), "a\nb");
  EXPECT_EQ(htmlToText("<style>p { color: red }</style><td>one</td><td>two</td>"), "one two");
}

TEST(HtmlText, KeepsAWordWholeAcrossCommentsAndInlineMarkup) {
  EXPECT_EQ(htmlToText("<p>plan<!---->ted<b>wo</b>rd</p>"), "plantedword");
  EXPECT_EQ(htmlToText("al<span style=x>pha</span>bet"), "alphabet");
  EXPECT_EQ(htmlToText("one<br>two<div>three</div>four"), "one\ntwo\nthree\nfour");
}

// A closing tag without its opening one is no start of a style or script block.
TEST(HtmlText, AStrayClosingStyleOrScriptTagSwallowsNothing) {
  EXPECT_EQ(htmlToText("<p>alphaword</p>\n</style><p>bravoword</p>"), "alphaword\nbravoword");
  EXPECT_EQ(htmlToText("<p>alphaword</p></script><p>bravoword</p>"), "alphaword\nbravoword");
  EXPECT_EQ(htmlToText("<div>unclosed <i>it<b>al</i>ic</b><table><tr><td>c1<td>c2</table>tail"),
            "unclosed italic\nc1 c2\ntail");
}

TEST(HtmlText, ReadsTheTextAsUtf8WhateverTheDocumentDeclares) {
  EXPECT_EQ(htmlToText("<html><head><meta charset=\"iso-8859-1\"></head><body>Stra\xC3\x9F"
                       "e &euro;</body></html>"),
            "Stra\xC3\x9F"
            "e \xE2\x82\xAC");
  EXPECT_EQ(htmlToText(""), "");
  const std::string deep = std::string(100000, '<') + "div>" + std::string(20000, 'x');
  EXPECT_TRUE(g_utf8_validate(htmlToText(deep).c_str(), -1, nullptr));
}

}  // namespace
}  // namespace trovadex::mailstore
