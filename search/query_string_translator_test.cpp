#include "search/query_string_translator.hpp"

#include <gtest/gtest.h>

#include <string>

#include "plugin/td_mail_plugin.hpp"

namespace trovadex::plugin {
namespace {

using foundation::Value;

// The whole query for one prepared value and threshold suffix, written out term by term.
std::string expectedQuery(const std::string& value, const std::string& fuzzySuffix) {
  return "(kMDItemContentType == \"public.email-message\") && ("
         "com_apple_mail_attachmentKinds = \"" +
         value +
         "\"cdwt || "
         "com_apple_mail_attachmentSpecificTypes = \"" +
         value +
         "\"cdwt || "
         "com_apple_mail_attachmentTypes = \"" +
         value +
         "\"cdwt || "
         "kMDItemAuthorEmailAddresses = \"" +
         value + "\"cdwt" + fuzzySuffix +
         " || "
         "kMDItemAuthors = \"" +
         value + "\"cdwt" + fuzzySuffix +
         " || "
         "kMDItemRecipientEmailAddresses = \"" +
         value + "\"cdwt" + fuzzySuffix +
         " || "
         "kMDItemRecipients = \"" +
         value + "\"cdwt" + fuzzySuffix +
         " || "
         "kMDItemSubject = \"" +
         value + "\"cdwt" + fuzzySuffix + ")";
}

TEST(SearchStringTranslator, TranslatesAPlainWordIntoEightPrefixTermsWithTheDefaultThreshold) {
  EXPECT_EQ(translateSearchString("invoice", std::nullopt),
            "(kMDItemContentType == \"public.email-message\") && ("
            "com_apple_mail_attachmentKinds = \"invoice*\"cdwt || "
            "com_apple_mail_attachmentSpecificTypes = \"invoice*\"cdwt || "
            "com_apple_mail_attachmentTypes = \"invoice*\"cdwt || "
            "kMDItemAuthorEmailAddresses = \"invoice*\"cdwtf056 || "
            "kMDItemAuthors = \"invoice*\"cdwtf056 || "
            "kMDItemRecipientEmailAddresses = \"invoice*\"cdwtf056 || "
            "kMDItemRecipients = \"invoice*\"cdwtf056 || "
            "kMDItemSubject = \"invoice*\"cdwtf056)");
}

TEST(SearchStringTranslator, GivesNothingForTextThatIsEmptyAfterTrimmingBlanksAndTabs) {
  EXPECT_EQ(translateSearchString("", std::nullopt), std::nullopt);
  EXPECT_EQ(translateSearchString("   ", std::nullopt), std::nullopt);
  EXPECT_EQ(translateSearchString("\t", std::nullopt), std::nullopt);
  // No-break space, ideographic space and thin space are space separators too.
  EXPECT_EQ(translateSearchString("\u00A0\u3000 \u2009\t", std::nullopt), std::nullopt);
}

TEST(SearchStringTranslator, TrimsSpaceSeparatorsButKeepsLineBreaks) {
  EXPECT_EQ(translateSearchString(" \t\u00A0invoice\u3000 ", std::nullopt),
            expectedQuery("invoice*", "f056"));
  EXPECT_EQ(translateSearchString("invoice\n", std::nullopt), expectedQuery("invoice\n*", "f056"));
  EXPECT_EQ(translateSearchString("\r\n", std::nullopt), expectedQuery("\r\n*", "f056"));
}

TEST(SearchStringTranslator, LeavesIllFormedUtf8InPlace) {
  EXPECT_EQ(translateSearchString("\xC3 ", std::nullopt), expectedQuery("\xC3*", "f056"));
  EXPECT_EQ(translateSearchString(" \xFF\xFE", std::nullopt), expectedQuery("\xFF\xFE*", "f056"));
}

TEST(SearchStringTranslator, KeepsSeveralWordsAsOneValue) {
  EXPECT_EQ(translateSearchString("  john smith ", std::nullopt),
            expectedQuery("john smith*", "f056"));
}

TEST(SearchStringTranslator, AppendsNoWildcardWhenTheTextHoldsOneAnywhere) {
  EXPECT_EQ(translateSearchString("inv*", std::nullopt), expectedQuery("inv*", "f056"));
  EXPECT_EQ(translateSearchString("*oice", std::nullopt), expectedQuery("*oice", "f056"));
  EXPECT_EQ(translateSearchString("in*ce", std::nullopt), expectedQuery("in*ce", "f056"));
}

TEST(SearchStringTranslator, ReplacesEveryDoubleQuoteByABackslashAndTouchesNothingElse) {
  EXPECT_EQ(translateSearchString("\"quoted\"", std::nullopt),
            expectedQuery("\\quoted\\*", "f056"));
  EXPECT_EQ(translateSearchString("say \"hi\"", std::nullopt),
            expectedQuery("say \\hi\\*", "f056"));
  EXPECT_EQ(translateSearchString("a\\b'(c)", std::nullopt), expectedQuery("a\\b'(c)*", "f056"));
}

TEST(SearchStringTranslator, ClampsTheThresholdToZeroThroughOneHundred) {
  const struct {
    std::int64_t threshold;
    const char* suffix;
  } cases[] = {{-3, "f000"}, {0, "f000"},   {7, "f007"},   {56, "f056"},
               {99, "f099"}, {100, "f100"}, {101, "f100"}, {5000, "f100"}};
  for (const auto& c : cases) {
    EXPECT_EQ(translateSearchString("x", c.threshold), expectedQuery("x*", c.suffix))
        << "threshold " << c.threshold;
  }
}

TEST(SearchStringTranslator, CopiesPercentSignsAndJoinersInTheTextAsTheyStand) {
  EXPECT_EQ(translateSearchString("50% %@ %d", std::nullopt), expectedQuery("50% %@ %d*", "f056"));
  const std::string query = *translateSearchString("a || b", std::nullopt);
  EXPECT_EQ(query, expectedQuery("a || b*", "f056"));
}

TEST(TDMailPluginQueryString, ReadsTheThresholdObjectWithIntegerValueAndNilAsTheDefault) {
  EXPECT_EQ(TDMailPlugin::queryStringWithSearchString(Value("x"), Value()),
            expectedQuery("x*", "f056"));
  EXPECT_EQ(TDMailPlugin::queryStringWithSearchString(Value("x"), Value::integer(0)),
            expectedQuery("x*", "f000"));
  EXPECT_EQ(TDMailPlugin::queryStringWithSearchString(Value("x"), Value::real(99.9)),
            expectedQuery("x*", "f099"));
  EXPECT_EQ(TDMailPlugin::queryStringWithSearchString(Value("x"), Value("250")),
            expectedQuery("x*", "f100"));
}

TEST(TDMailPluginQueryString, TreatsAMissingTextAsEmpty) {
  EXPECT_EQ(TDMailPlugin::queryStringWithSearchString(Value(), Value()), std::nullopt);
  EXPECT_EQ(TDMailPlugin::queryStringWithSearchString(Value::integer(5), Value()), std::nullopt);
}

}  // namespace
}  // namespace trovadex::plugin
