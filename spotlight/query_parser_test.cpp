// Parser tests: the real query strings clients send must parse, malformed ones must fail with
// the first error's byte offset, and the tree must have the documented shape.
#include "spotlight/query_parser.hpp"

#include <gtest/gtest.h>

#include <string>
#include <vector>

#include "spotlight/word_segmenter.hpp"

namespace trovadex::spotlight {
namespace {

// Queries collected from documentation, peer implementations and public client code, plus the
// plug-in's own forms. Every one must parse.
const std::vector<std::string> kRealQueries = {
    R"(title == "Paris")",
    R"(title == "Paris"c)",
    R"(title == "Paris"wc)",
    R"(title == "Window"w)",
    R"(authorNames == "Frédéric")",
    R"(authorNames == "Frédéric"cd)",
    R"(title == "paris*")",
    R"(title == "*paris")",
    R"(title == "*paris*")",
    R"(title == 'paris')",
    R"(authorNames == "Steve"wc && contentType == "audio"wc)",
    R"(authorNames == "Steve"wc && (contentType == "audio"wc || contentType == "video"wc))",
    R"(completionDate == "*")",
    R"(completionDate != "*")",
    R"((authorNames == "Tim"wc || authorNames == "Steve"wc) && InRange(completionDate,$time.today(-10),$time.today))",
    R"(title == 'Quarterly*'c)",
    R"(kMDItemAuthors ==[c] "Steve")",
    R"(kMDItemTextContent ==[d] "Frédéric")",
    R"((kMDItemAuthors ==[c] "Daniel" || kMDItemAuthors[c] == "Steve") && kMDItemContentType == "public.audio")",
    R"(((kMDItemAuthors ==[c] "Daniel" || kMDItemAuthors[c] == "Steve") && (kMDItemContentType == "public.audio" || kMDItemContentType == "public.video")) && (kMDItemFSContentChangeDate == $time.this_week(-1)))",
    R"(kMDItemAuthors == "Steve"wc)",
    R"((kMDItemAuthors == "Kevin"wc || kMDItemAuthors == "Steve"wc) && kMDItemContentType == "audio"wc)",
    R"(myAttribute == 'foo'cd)",
    R"(contentType == "public.email-message" && subject != "Re:*")",
    R"(*=="samba")",
    R"(kMDItemTextContent=="samba")",
    R"(_kMDItemGroupId=="11")",
    R"(kMDItemContentType=="public.content")",
    R"(kMDItemFSContentChangeDate==$time.iso(2018-10-01T10:00:00Z))",
    R"(kMDItemFSCreationDate=="1")",
    R"(kMDItemFSName=="samba*")",
    R"(kMDItemFSSize>"1")",
    R"(*!="samba")",
    R"(kMDItemFSName=="Samba"||kMDItemTextContent=="Samba")",
    R"(InRange(kMDItemFSCreationDate,1,2))",
    R"(InRange(kMDItemFSSize,1,2))",
    R"(*=="Samba"&&foo=="bar")",
    R"(kMDItemFSName=="x+x"||kMDItemFSName=="x\*x"||kMDItemFSName=="x=x"||kMDItemFSName=="x'x"||kMDItemFSName=="x?x"||kMDItemFSName=="x x"||kMDItemFSName=="x(x"||kMDItemFSName=="x\"x"||kMDItemFSName=="x\\x")",
    R"(kMDItemFSContentChangeDate<$time.iso(2018-10-01T10:00:00Z))",
    R"(kMDItemFSName=="Samba*"||kMDItemTextContent=="Tango*")",
    R"(*=="test*"cwd||kMDItemTextContent=="test*"cwd)",
    R"(kMDItemFSName=="paginate530-f-*"cd)",
    R"(kMDItemFSName=="phrase632-alpha beta*"cd)",
    R"(kMDItemFSName=="\"phrase632-alpha beta\"*"cd)",
    R"(*=="phrase632-alpha*"cdw||kMDItemTextContent=="phrase632-alpha*"cdw||*=="phrase632-beta*"cdw||kMDItemTextContent=="phrase632-beta*"cdw)",
    R"(kMDItemDisplayName=="*kMDItemFSName*"cd||kMDItemTextContent=="phrase632-alpha*"cd)",
    R"(kMDItemFSName=="ab*"cd)",
    R"(kMDItemFSName = "foo*"cd)",
    R"((kMDItemDisplayName = "foo*"cdw))",
    R"((kMDItemDisplayName = "*foo*"cd))",
    R"((((kMDImtemContentTypeTree = "foo*"cdw)) || ((kMDItemKind = "foo*"cdw))))",
    R"(((((_kMDItemGroupId = 8))) && (true)) && ((kMDItemDisplayName = "text*"cdw)))",
    R"((kMDItemLastUsedDate = "*") && ((kMDItemContentTypeTree = public.content) || (kMDItemContentTypeTree = "com.microsoft.*"cdw) || (kMDItemContentTypeTree = public.archive)))",
    R"((* = search* cdw || kMDItemTextContent = search* cdw))",
    R"(kMDItemFSCreationDate >= $time.iso("2008-08-03 12:22:00 +0800") && kMDItemFSCreationDate <= $time.iso("2008-08-03 12:25:00 +0800"))",
    R"(kMDItemFSContentChangeDate > $time.now(-6000))",
    R"(kMDItemFSName == '*.tex')",
    R"(kMDItemFSName="*.*" && kMDItemFSCreationDate >= $time.this_week(-2))",
    R"((kMDItemLastUsedDate != '*') && (kMDItemContentType != 'public.folder'))",
    R"(kMDItemContentType==public.shell-script)",
    R"(kMDItemTextContent == "fruits and vegetables" && kMDItemContentType == "com.adobe.pdf")",
    R"(kMDItemIsScreenCapture == 1)",
    R"(kMDItemKind == 'Day One Journal' && kMDItemDisplayName =='Journal.dayone')",
    R"(((** = "%s*"cdw) && (kMDItemKind = "Ulysses Sheet*"cdwt)))",
    R"(InRange(kMDItemFSContentChangeDate,$time.today(-30d),$time.today(+1d)))",
    R"(kMDItemLastUsedDate != NULL)",
    R"(kMDItemDateAdded >= $time.today() && kMDItemDateAdded < $time.tomorrow)",
    R"(kMDItemDateAdded >= $time.iso(2026-06-01) || kMDItemDateAdded > $time.iso(2026-06-01T12:34:56.789Z))",
    R"(!(kMDItemContentTypeTree == 'public.folder') && kMDItemFSName == "a*")",
    R"(false)",
    // The plug-in's own forms: the e-mail restriction alone, around a client string, and the
    // translator's eight-term output.
    R"(kMDItemContentType = "public.email-message")",
    R"((kMDItemContentType = "public.email-message") && (kMDItemSubject == "lunch*"cdw))",
    R"((kMDItemContentType == "public.email-message") && (com_apple_mail_attachmentKinds = "invoice*"cdwt || com_apple_mail_attachmentSpecificTypes = "invoice*"cdwt || com_apple_mail_attachmentTypes = "invoice*"cdwt || kMDItemAuthorEmailAddresses = "invoice*"cdwtf056 || kMDItemAuthors = "invoice*"cdwtf056 || kMDItemRecipientEmailAddresses = "invoice*"cdwtf056 || kMDItemRecipients = "invoice*"cdwtf056 || kMDItemSubject = "invoice*"cdwtf056))",
    R"(:MD:DeviceId == 5)",
};

TEST(QueryParser, AcceptsEveryRealQuery) {
  for (const std::string& query : kRealQueries) {
    ParseResult result = parseQuery(query);
    EXPECT_TRUE(result.ok()) << query << "\n  -> "
                             << (result.ok() ? "" : describeParseError(result.error()));
  }
}

struct Rejection {
  std::string query;
  std::size_t offset;
  std::string messagePart;
};

TEST(QueryParser, RejectsMalformedQueriesAtTheFirstErrorsOffset) {
  const std::vector<Rejection> rejections = {
      {"", 0, "empty"},
      {"   \t\n", 0, "empty"},
      {"a ==", 4, "expected a value after '=='"},
      {R"(a == "x)", 5, "not terminated"},
      {R"((a == "x")", 9, "expected ')'"},
      {R"(a === "x")", 4, "expected a value after '=='"},
      {"a == $time.fortnight", 5, "unknown time expression"},
      {"a == $time.iso(bogus)", 15, "not an ISO 8601 date"},
      {"a == $time.iso(2024-02-30)", 15, "not an ISO 8601 date"},
      {R"(a == "x" b)", 9, "unexpected 'b'"},
      {R"(a == "x" & b == "y")", 9, "single '&'"},
      {R"(a == "x" | b == "y")", 9, "single '|'"},
      {R"(a "x")", 2, "expected an operator"},
      {R"("x" == a)", 0, "expected a comparison"},
      {R"(a == "x" && )", 12, "query ends"},
      {R"(a == "x"f12)", 8, "three digits"},
      {R"(a == "x"f101)", 8, "above 100"},
      {R"(a == "x"c1)", 9, "not a modifier"},
      {"a == $time.today(yesterday)", 17, "not a time offset"},
      {"a == $time.today(-3", 17, "expected ')'"},
      {"InRange(a, 1)", 12, "expected ','"},
      {"InRange(a, 1, 2", 15, "expected ')'"},
      {"a AND b", 2, "expected an operator"},
      {"9lives == 1", 0, "expected an attribute name"},
      {R"(a == "x" ())", 9, "unexpected '('"},
  };
  for (const Rejection& r : rejections) {
    ParseResult result = parseQuery(r.query);
    ASSERT_FALSE(result.ok()) << r.query;
    EXPECT_EQ(result.error().offset, r.offset) << r.query << ": " << result.error().message;
    EXPECT_NE(result.error().message.find(r.messagePart), std::string::npos)
        << r.query << ": " << result.error().message;
  }
}

TEST(QueryParser, DescribesErrorsWithTheirByteOffset) {
  ParseResult result = parseQuery("kMDItemSubject ==");
  ASSERT_FALSE(result.ok());
  EXPECT_EQ(describeParseError(result.error()),
            "Invalid query at byte 17: expected a value after '==', found the end of the query");
}

TEST(QueryParser, RefusesQueriesBeyondTheDepthAndLengthLimits) {
  std::string deep(kMaxQueryDepth + 1, '(');
  deep += "a == 1";
  deep += std::string(kMaxQueryDepth + 1, ')');
  ParseResult tooDeep = parseQuery(deep);
  ASSERT_FALSE(tooDeep.ok());
  EXPECT_EQ(tooDeep.error().offset, kMaxQueryDepth);

  std::string nots(kMaxQueryDepth + 1, '!');
  EXPECT_FALSE(parseQuery(nots + "a == 1").ok());

  std::string justDeepEnough(kMaxQueryDepth, '(');
  justDeepEnough += "a == 1" + std::string(kMaxQueryDepth, ')');
  EXPECT_TRUE(parseQuery(justDeepEnough).ok());

  std::string longQuery = "a == \"" + std::string(kMaxQueryLength, 'x') + "\"";
  EXPECT_FALSE(parseQuery(longQuery).ok());
}

TEST(QueryParser, GivesAndPrecedenceOverOrAndFlattensChains) {
  ParseResult result = parseQuery("a == 1 || b == 2 && c == 3 || d == 4");
  ASSERT_TRUE(result.ok());
  const Node& root = result.tree();
  ASSERT_EQ(root.kind, Node::Kind::Or);
  ASSERT_EQ(root.children.size(), 3u);
  EXPECT_EQ(root.children[0].kind, Node::Kind::Comparison);
  ASSERT_EQ(root.children[1].kind, Node::Kind::And);
  EXPECT_EQ(root.children[1].children.size(), 2u);
  EXPECT_EQ(root.children[1].offset, 10u);
}

TEST(QueryParser, ReadsModifiersInEveryPlaceTheyMayStand) {
  struct Case {
    std::string query;
    bool c, d, w, t;
    std::optional<int> fuzzy;
  };
  const std::vector<Case> cases = {
      {R"(a == "x"cdwt)", true, true, true, true, std::nullopt},
      {R"(a == "x"twdc)", true, true, true, true, std::nullopt},
      {R"(a == "x"cdwtf056)", true, true, true, true, 56},
      {R"(a == "x"f000w)", false, false, true, false, 0},
      {R"(a ==[cd] "x")", true, true, false, false, std::nullopt},
      {R"(a[c] == "x")", true, false, false, false, std::nullopt},
      {"a == x* cdw", true, true, true, false, std::nullopt},
      {R"(a == "x"cqz)", true, false, false, false, std::nullopt},  // unknown letters ignored
  };
  for (const Case& c : cases) {
    ParseResult result = parseQuery(c.query);
    ASSERT_TRUE(result.ok()) << c.query;
    const Modifiers& m = result.tree().modifiers;
    EXPECT_EQ(m.caseInsensitive, c.c) << c.query;
    EXPECT_EQ(m.diacriticInsensitive, c.d) << c.query;
    EXPECT_EQ(m.wordBased, c.w) << c.query;
    EXPECT_EQ(m.tokenized, c.t) << c.query;
    EXPECT_EQ(m.fuzzyThreshold, c.fuzzy) << c.query;
  }
}

TEST(QueryParser, ClassifiesLiteralsAndKeepsEscapedStarsLiteral) {
  auto value = [](const std::string& query) { return parseQuery(query).tree().value; };
  EXPECT_EQ(value("a == 12.5").kind, Literal::Kind::Number);
  EXPECT_EQ(value("a == -1e3").number, -1000);
  EXPECT_EQ(value("a == 1e5abc").kind, Literal::Kind::Text);
  EXPECT_EQ(value("a == NULL").kind, Literal::Kind::Null);
  EXPECT_EQ(value(R"(a == "NULL")").kind, Literal::Kind::Text);
  EXPECT_EQ(value("a == $time.today(-1w)").time.unit, 'w');
  EXPECT_EQ(value("a == $time.today(-1w)").time.offset, -1);

  const Literal escaped = value(R"(a == "x\*y*")");
  EXPECT_EQ(escaped.pattern, std::string("x*y") + std::string(kStarMarker));
  EXPECT_EQ(escaped.spelling, "x*y*");
  EXPECT_EQ(value(R"(a == 'it\'s')").spelling, "it's");
  EXPECT_EQ(value(R"(a == "say \"hi\"")").spelling, "say \"hi\"");

  const Node range = parseQuery("inrange(a, 1, $time.now)").tree();
  EXPECT_EQ(range.kind, Node::Kind::Range);
  EXPECT_EQ(range.high.kind, Literal::Kind::Time);

  EXPECT_EQ(parseQuery("* == x").tree().attribute.kind, AttributeRef::Kind::AnyString);
  EXPECT_EQ(parseQuery("** == x").tree().attribute.kind, AttributeRef::Kind::AnyIncludingText);
  EXPECT_EQ(parseQuery("TRUE").tree().kind, Node::Kind::Constant);
  // "true" followed by an operator is an attribute name.
  EXPECT_EQ(parseQuery("true == 1").tree().kind, Node::Kind::Comparison);
}

TEST(QueryParser, ReadsIsoDatesWithZonesOffsetsAndFractions) {
  auto iso = [](const std::string& text) {
    return parseQuery("a == $time.iso(" + text + ")").tree().value.time.iso;
  };
  EXPECT_EQ(iso("2018-10-01T10:00:00Z").zoneOffsetMinutes, 0);
  EXPECT_EQ(iso("\"2008-08-03 12:22:00 +0800\"").zoneOffsetMinutes, 480);
  EXPECT_EQ(iso("2008-08-03T12:22-05:30").zoneOffsetMinutes, -330);
  EXPECT_FALSE(iso("2026-06-01").zoneOffsetMinutes.has_value());
  EXPECT_DOUBLE_EQ(iso("2026-06-01T12:34:56.789Z").second, 56.789);
  EXPECT_EQ(iso("2026-06-01").day, 1);
}

}  // namespace
}  // namespace trovadex::spotlight
