// Evaluator tests, grouped by the language's semantics: whole values, modifiers, words, arrays
// and absence, numbers and dates, full text, any-attribute forms, constants and unknown names.
#include "spotlight/evaluator.hpp"

#include <gtest/gtest.h>

#include <string>
#include <vector>

#include "spotlight/query_parser.hpp"

namespace trovadex::spotlight {
namespace {

using foundation::Date;
using foundation::Value;

constexpr double kNow = 794331000;    // Wednesday 2026-03-04 15:30:00 UTC
constexpr double kToday = 794275200;  // 2026-03-04 00:00 UTC

bool matches(const std::string& query, const Value::Dictionary& item) {
  ParseResult parsed = parseQuery(query);
  EXPECT_TRUE(parsed.ok()) << query << ": "
                           << (parsed.ok() ? "" : describeParseError(parsed.error()));
  if (!parsed.ok()) return false;
  const Predicate compiled = compileQuery(parsed.tree(), QueryTime{kNow, "UTC", 2, "en_GB"});
  return matchesQuery(compiled, item);
}

struct Row {
  std::string query;
  std::string value;  // the item's title
  bool expected;
};

void expectTitleRows(const std::vector<Row>& rows) {
  for (const Row& row : rows) {
    EXPECT_EQ(matches(row.query, {{"title", row.value}}), row.expected)
        << row.query << " against \"" << row.value << "\"";
  }
}

TEST(EvaluatorStrings, ComparesWholeValuesExactlyWithStarsAnywhere) {
  expectTitleRows({
      {R"(title == "Paris")", "Paris", true},
      {R"(title == "Paris")", "paris", false},
      {R"(title == "Paris")", "I love Paris", false},
      {R"(title == 'paris')", "paris", true},
      {R"(title == "paris*")", "paris-france.jpg", true},
      {R"(title == "paris*")", "comparison", false},
      {R"(title == "*paris")", "I love paris", true},
      {R"(title == "*paris")", "paris 2", false},
      {R"(title == "*paris*")", "comparison", true},
      {R"(title == "a*e")", "apple pie", true},
      {R"(title == "a*e")", "apple pies", false},
      {R"(title == "a*b*a")", "aba", true},
      {R"(title == "a*b*a")", "ab", false},
      {R"(title == "")", "", true},
      {R"(title == "")", "x", false},
      {R"(title == Paris)", "Paris", true},
      {R"(title == pa*)", "paris", true},
      {R"(title == *)", "anything", true},
      {R"(title == "*")", "", true},
  });
}

TEST(EvaluatorStrings, TreatsEscapedStarsQuestionMarksAndQuotesAsLiteralCharacters) {
  // Each clause of the escape battery finds exactly its own name.
  const std::vector<std::string> names = {"x+x", "x*x", "x=x",  "x'x", "x?x",
                                          "x x", "x(x", "x\"x", "x\\x"};
  const std::vector<std::string> clauses = {
      R"(kMDItemFSName=="x+x")", R"(kMDItemFSName=="x\*x")", R"(kMDItemFSName=="x=x")",
      R"(kMDItemFSName=="x'x")", R"(kMDItemFSName=="x?x")",  R"(kMDItemFSName=="x x")",
      R"(kMDItemFSName=="x(x")", R"(kMDItemFSName=="x\"x")", R"(kMDItemFSName=="x\\x")"};
  for (std::size_t i = 0; i < clauses.size(); ++i) {
    for (std::size_t j = 0; j < names.size(); ++j) {
      EXPECT_EQ(matches(clauses[i], {{"kMDItemFSName", names[j]}}), i == j)
          << clauses[i] << " against " << names[j];
    }
  }
  EXPECT_FALSE(matches(R"(t == "x?x")", {{"t", "xyx"}}));
  EXPECT_TRUE(
      matches(R"(t == "\"phrase632-alpha beta\"*"cd)", {{"t", "\"Phrase632-alpha beta\" notes"}}));
  EXPECT_FALSE(
      matches(R"(t == "\"phrase632-alpha beta\"*"cd)", {{"t", "phrase632-alpha beta notes"}}));
  // A key name inside a value is just text.
  EXPECT_TRUE(matches(R"(kMDItemDisplayName=="*kMDItemFSName*"cd)",
                      {{"kMDItemDisplayName", "about kmditemfsname"}}));
}

TEST(EvaluatorModifiers, FoldsCaseAndDiacriticsOnlyWhenAsked) {
  const std::string decomposed = "Fre\xCC\x81\x64\xC3\xA9ric";  // "Frédéric", first é as NFD
  expectTitleRows({
      {R"(title == "Paris"c)", "PARIS", true},
      {R"(title == "Paris"c)", "Pâris", false},
      {R"(title == "Paris"d)", "Pâris", true},
      {R"(title == "Paris"d)", "paris", false},
      {R"(title == "Frédéric")", "Frédéric", true},
      {R"(title == "Frédéric")", "Frederic", false},
      {R"(title == "Frédéric"cd)", "FREDERIC", true},
      {R"(title == "Frédéric")", decomposed, true},
      {R"(title == "strasse"c)", "Straße", true},
      {R"(title == 'Quarterly*'c)", "quarterly report", true},
      {R"(title ==[cd] "frederic")", "Frédéric", true},
      {R"(title[c] == "paris")", "PaRiS", true},
  });
  EXPECT_TRUE(matches(R"(authorNames == "Frédéric"cd)",
                      {{"kMDItemAuthors", Value::Array{"Frederic Chopin", "Frédéric"}}}));
}

TEST(EvaluatorWords, MatchesWordsAndCamelCasePartsButNotInnerUppercaseRuns) {
  expectTitleRows({
      {R"(title == "Paris"wc)", "Paris", true},
      {R"(title == "Paris"wc)", "I love Paris", true},
      {R"(title == "Paris"wc)", "paris-france.jpg", true},
      {R"(title == "Paris"wc)", "Comparison", false},
      {R"(title == "Window"w)", "MyWindowClass", true},
      {R"(title == "Window"w)", "Broken Window", true},
      {R"(title == "Window"w)", "NSWindow", false},
      {R"(title == "NSWindow"w)", "NSWindow", true},
      {R"(title == "mywindowclass"cw)", "MyWindowClass", true},
      {R"(title == "WindowClass"w)", "MyWindowClass", true},
      {R"(title == "file"w)", "my_file", true},
      {R"(title == "file"w)", "file2name", false},
      {R"(title == "jpg"w)", "paris-france.jpg", true},
      {R"(title == "example"w)", "bob@example.com", true},
      {R"(title == "alpha beta"w)", "the alpha beta test", true},
      {R"(title == "alpha beta"w)", "beta alpha", false},
      {R"(title == "alpha bet*"w)", "alpha betamax", true},
      {R"(title == "foo*"cdw)", "A FOOBAR story", true},
      {R"(title == "*bar"w)", "foobar", true},
      {R"(title == "*oba*"w)", "foobar", true},
      {R"(title == "f*r"w)", "a foobar", true},
      {R"(title == "f*r"w)", "a foo bar", false},
      {R"(title == "com.microsoft.*"cdw)", "com.microsoft.word.doc", true},
      {R"(title == "Ulysses Sheet*"cdwt)", "ulysses sheets", true},
      {R"(title == "東京"w)", "東京都に行く", true},
      {R"(title == "-"w)", "-", false},
  });
}

TEST(EvaluatorArrays, MatchesAnyElementAndTreatsNotEqualAsNegationIncludingAbsence) {
  const Value::Dictionary withAuthors{{"kMDItemAuthors", Value::Array{"Tim Cook", "Steve"}}};
  const Value::Dictionary withoutAuthors{{"title", "x"}};
  EXPECT_TRUE(matches(R"(kMDItemAuthors == "Steve")", withAuthors));
  EXPECT_TRUE(matches(R"(kMDItemAuthors ==[c] "steve")", withAuthors));
  EXPECT_TRUE(matches(R"(kMDItemAuthors == "tim"wc)", withAuthors));
  EXPECT_FALSE(matches(R"(kMDItemAuthors != "Steve")", withAuthors));
  EXPECT_TRUE(matches(R"(kMDItemAuthors != "Jony")", withAuthors));
  EXPECT_TRUE(matches(R"(kMDItemAuthors != "Steve")", withoutAuthors));
  EXPECT_FALSE(matches(R"(kMDItemAuthors < "Z")", withoutAuthors));
  // Existence and absence.
  EXPECT_TRUE(matches(R"(completionDate == "*")", {{"completionDate", Date()}}));
  EXPECT_FALSE(matches(R"(completionDate == "*")", withoutAuthors));
  EXPECT_TRUE(matches(R"(completionDate != "*")", withoutAuthors));
  EXPECT_FALSE(matches(R"(completionDate != '*')", {{"completionDate", Date()}}));
  EXPECT_TRUE(matches("kMDItemLastUsedDate != NULL", {{"kMDItemLastUsedDate", Date()}}));
  EXPECT_TRUE(matches("kMDItemLastUsedDate == NULL", withoutAuthors));
  // The header's own example: no "Re:" subject, including messages without a subject.
  const std::string header = R"(contentType == "public.email-message" && subject != "Re:*")";
  EXPECT_TRUE(matches(
      header, {{"kMDItemContentType", "public.email-message"}, {"kMDItemSubject", "Lunch"}}));
  EXPECT_FALSE(matches(
      header, {{"kMDItemContentType", "public.email-message"}, {"kMDItemSubject", "Re: Lunch"}}));
  EXPECT_TRUE(matches(header, {{"kMDItemContentType", "public.email-message"}}));
}

TEST(EvaluatorNumbersAndDates, ComparesNumbersDatesAndPeriodsByTheValuesKind) {
  const Value::Dictionary item{
      {"kMDItemFSSize", Value::integer(2048)},
      {"kMDItemIsScreenCapture", Value::boolean(true)},
      {"kMDItemFSCreationDate", Date::withTimeIntervalSinceReferenceDate(1.25)},
      {"kMDItemDateAdded", Date::withTimeIntervalSinceReferenceDate(kToday + 3600)},
      {"_kMDItemGroupId", "8"},
  };
  const std::vector<std::pair<std::string, bool>> rows = {
      {"kMDItemFSSize > 1000", true},
      {"kMDItemFSSize > 2048", false},
      {"kMDItemFSSize >= 2048", true},
      {"kMDItemFSSize == 2048.0", true},
      {R"(kMDItemFSSize>"1")", true},
      {R"(kMDItemFSSize == "2*")", false},  // wildcards apply to text only
      {R"(kMDItemFSSize == "big")", false},
      {"kMDItemIsScreenCapture == 1", true},
      {"InRange(kMDItemFSSize,1,2)", false},
      {"InRange(kMDItemFSSize,2048,4096)", true},
      {R"(kMDItemFSCreationDate=="1")", true},
      {"InRange(kMDItemFSCreationDate,1,2)", true},
      {"kMDItemFSCreationDate < 1.2", false},
      {"kMDItemDateAdded == $time.today", true},
      {"kMDItemDateAdded == $time.yesterday", false},
      {"kMDItemDateAdded != $time.yesterday", true},
      {"kMDItemDateAdded >= $time.today", true},
      {"kMDItemDateAdded >= $time.today(-7)", true},
      {"kMDItemDateAdded < $time.this_month", false},
      {"kMDItemDateAdded == $time.this_week", true},
      {"kMDItemDateAdded == $time.this_week(-1)", false},
      {"kMDItemDateAdded > $time.now(-6000)", false},
      {"kMDItemDateAdded <= $time.now", true},
      {"InRange(kMDItemDateAdded,$time.today,$time.today(+1))", true},
      {"InRange(kMDItemDateAdded,$time.today(-30d),$time.today)", false},
      {R"(kMDItemDateAdded > "2026-03-01")", true},
      {"_kMDItemGroupId = 8", true},
      {"_kMDItemGroupId > 7", false},
  };
  for (const auto& [query, expected] : rows) EXPECT_EQ(matches(query, item), expected) << query;
  // An instant matches dates in its whole second.
  const Value::Dictionary changed{
      {"kMDItemFSContentChangeDate", Date::withTimeIntervalSinceReferenceDate(560080800.4)}};
  EXPECT_TRUE(matches("kMDItemFSContentChangeDate==$time.iso(2018-10-01T10:00:00Z)", changed));
  EXPECT_FALSE(matches("kMDItemFSContentChangeDate<$time.iso(2018-10-01T10:00:00Z)", changed));
}

TEST(EvaluatorFullText, AlwaysMatchesTextContentWordByWord) {
  const Value::Dictionary item{
      {"kMDItemTextContent", "We sell fruits and vegetables. Ask Frédéric about Tango."}};
  const std::vector<std::pair<std::string, bool>> rows = {
      {R"(kMDItemTextContent == "fruits and vegetables")", true},
      {R"(kMDItemTextContent == "vegetables and fruits")", false},
      {R"(kMDItemTextContent == "sell")", true},
      {R"(kMDItemTextContent == "Sell")", false},
      {R"(kMDItemTextContent == "Tango*"c)", true},
      {R"(textContent == "*ruit*")", true},
      {R"(kMDItemTextContent ==[d] "Frederic")", true},
      {R"(kMDItemTextContent == "samba")", false},
  };
  for (const auto& [query, expected] : rows) EXPECT_EQ(matches(query, item), expected) << query;
}

TEST(EvaluatorAnyAttribute, SearchesStringAttributesWithStarAndTextContentTooWithTwoStars) {
  const Value::Dictionary item{
      {"kMDItemSubject", "Samba release"},
      {"kMDItemAuthors", Value::Array{"Tango Team"}},
      {"kMDItemTextContent", "the body mentions rumba"},
      {"kMDItemFSSize", Value::integer(5)},
  };
  const std::vector<std::pair<std::string, bool>> rows = {
      {R"(*=="Samba release")", true},
      {R"(*=="samba")", false},
      {R"(*=="samba*"cd)", true},
      {R"(*=="tango"cdw)", true},
      {R"(*=="rumba"cdw)", false},
      {R"(**=="rumba"cdw)", true},
      {R"(*!="nothing")", true},
      {R"(*!="Samba release")", false},
      {"* == 5", false},
      {R"((* = search* cdw || kMDItemTextContent = rumba* cdw))", true},
  };
  for (const auto& [query, expected] : rows) EXPECT_EQ(matches(query, item), expected) << query;
}

TEST(EvaluatorLogic, FollowsPrecedenceConstantsAndUnknownAttributes) {
  const Value::Dictionary a{{"a", "1"}};
  const Value::Dictionary b{{"b", "1"}};
  const Value::Dictionary bc{{"b", "1"}, {"c", "1"}};
  auto on = [](const Value::Dictionary& item, const std::string& query) {
    return matches(query, item);
  };
  // a || (b && c)
  EXPECT_TRUE(on(a, "a == 1 || b == 1 && c == 1"));
  EXPECT_FALSE(on(b, "a == 1 || b == 1 && c == 1"));
  EXPECT_TRUE(on(bc, "a == 1 || b == 1 && c == 1"));
  // (!a) && b, and !(a || b)
  EXPECT_TRUE(on(b, "!a == 1 && b == 1"));
  EXPECT_FALSE(on(a, "!a == 1 && b == 1"));
  EXPECT_FALSE(on(b, "!(a == 1 || b == 1)"));
  EXPECT_TRUE(on(bc, "!(a == 1 || !c == 1)"));
  EXPECT_TRUE(on(a, "((((a = 1))) && (true)) && ((true))"));
  EXPECT_FALSE(on(a, "false"));
  EXPECT_TRUE(on(a, "TRUE || a == 2"));
  // Unknown attributes have no values: == is false, != is true, and nothing is an error.
  EXPECT_FALSE(on(a, R"(*=="1"&&foo=="bar")"));
  EXPECT_TRUE(on(a, R"((((kMDImtemContentTypeTree = "foo*"cdw)) || ((a = "1*"cdw))))"));
  EXPECT_TRUE(on(a, R"(foo != "bar")"));
}

TEST(EvaluatorPluginForms, MatchesTheEmailRestrictionAndTheTranslatorsEightTerms) {
  const Value::Dictionary invoiceMail{
      {"kMDItemContentType", "public.email-message"},
      {"kMDItemSubject", "Your INVOICES for March"},
      {"kMDItemAuthors", Value::Array{"Billing"}},
  };
  const Value::Dictionary typoMail{
      {"kMDItemContentType", "public.email-message"},
      {"kMDItemSubject", "Invoce attached"},
  };
  const Value::Dictionary attachmentMail{
      {"kMDItemContentType", "public.email-message"},
      {"com_apple_mail_attachmentKinds", Value::Array{"Invoice PDF"}},
  };
  const Value::Dictionary otherMail{{"kMDItemContentType", "public.email-message"},
                                    {"kMDItemSubject", "Lunch"}};
  const Value::Dictionary notMail{{"kMDItemSubject", "Invoice"}};
  const std::string restriction = R"(kMDItemContentType = "public.email-message")";
  const std::string eightTerms =
      R"((kMDItemContentType == "public.email-message") && (com_apple_mail_attachmentKinds = "invoice*"cdwt || com_apple_mail_attachmentSpecificTypes = "invoice*"cdwt || com_apple_mail_attachmentTypes = "invoice*"cdwt || kMDItemAuthorEmailAddresses = "invoice*"cdwtf056 || kMDItemAuthors = "invoice*"cdwtf056 || kMDItemRecipientEmailAddresses = "invoice*"cdwtf056 || kMDItemRecipients = "invoice*"cdwtf056 || kMDItemSubject = "invoice*"cdwtf056))";
  const std::string wrapped = "(" + restriction + ") && (kMDItemSubject == \"lunch\"cw)";
  EXPECT_TRUE(matches(restriction, otherMail));
  EXPECT_FALSE(matches(restriction, notMail));
  EXPECT_TRUE(matches(wrapped, otherMail));
  EXPECT_FALSE(matches(wrapped, invoiceMail));
  EXPECT_TRUE(matches(eightTerms, invoiceMail));
  EXPECT_TRUE(matches(eightTerms, typoMail));  // "invoce" is 85% similar to "invoice*"
  EXPECT_TRUE(matches(eightTerms, attachmentMail));
  EXPECT_FALSE(matches(eightTerms, otherMail));
  EXPECT_FALSE(matches(eightTerms, notMail));
}

}  // namespace
}  // namespace trovadex::spotlight
