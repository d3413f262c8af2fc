// The index: writes and deletes, plans that never scan for the common clauses, and the
// differential test that the planned path finds exactly what a full evaluator scan finds.
#include <gtest/gtest.h>

#include <chrono>
#include <cstdio>
#include <cstdlib>
#include <filesystem>
#include <set>
#include <string>

#include "spotlight/attribute_codec.hpp"
#include "spotlight/evaluator.hpp"
#include "spotlight/generated_corpus.hpp"
#include "spotlight/index_reader.hpp"
#include "spotlight/index_writer.hpp"
#include "spotlight/match_stream.hpp"
#include "spotlight/query_parser.hpp"
#include "spotlight/query_plan.hpp"

namespace trovadex::spotlight {
namespace {

using foundation::Value;

constexpr double kNow = 794331000;

class TemporaryIndex {
 public:
  TemporaryIndex() {
    path_ = std::filesystem::path(testing::TempDir()) /
            ("spotlight-index-" + std::to_string(::getpid()) + "-" + std::to_string(counter_++) +
             ".db");
    std::filesystem::remove(path_);
    auto writer = IndexWriter::open(path_.string());
    EXPECT_TRUE(writer.ok());
    writer_ = std::move(writer.value());
    auto reader = IndexReader::open(path_.string());
    EXPECT_TRUE(reader.ok());
    reader_ = std::move(reader.value());
  }
  ~TemporaryIndex() {
    reader_.reset();
    writer_.reset();
    for (const char* suffix : {"", "-wal", "-shm"}) {
      std::filesystem::remove(path_.string() + suffix);
    }
  }

  IndexWriter& writer() { return *writer_; }
  IndexReader& reader() { return *reader_; }

  // The identifiers that the planned path finds, and the plan's explanation.
  std::set<std::string> find(const std::string& query, std::string* explanation = nullptr,
                             StreamWindows windows = {}) {
    ParseResult parsed = parseQuery(query);
    EXPECT_TRUE(parsed.ok()) << query;
    if (!parsed.ok()) return {};
    const Predicate compiled = compileQuery(parsed.tree(), QueryTime{kNow, "UTC", 2, "en_GB"});
    EXPECT_TRUE(reader_->begin().ok());
    const PlanNode plan = planQuery(compiled, reader_->codes());
    if (explanation) *explanation = explainPlan(plan);
    std::set<std::string> found;
    EXPECT_TRUE(streamMatches(
                    *reader_, compiled, plan,
                    [&](const StoredItem& item, const Value::Dictionary&) {
                      found.insert(item.identifier);
                      return true;
                    },
                    {}, windows)
                    .ok());
    reader_->end();
    return found;
  }

  std::string explain(const std::string& query) {
    std::string explanation;
    find(query, &explanation);
    return explanation;
  }

 private:
  static inline int counter_ = 0;
  std::filesystem::path path_;
  std::unique_ptr<IndexWriter> writer_;
  std::unique_ptr<IndexReader> reader_;
};

platform::SearchableItem mail(const std::string& id, const std::string& domain,
                              Value::Dictionary attributes) {
  platform::SearchableItem item;
  item.uniqueIdentifier = id;
  item.domainIdentifier = domain;
  item.attributeSet.attributes = std::move(attributes);
  return item;
}

TEST(AttributeCodec, RoundTripsEveryKindAndDecodesOnlyWhatIsAsked) {
  const Value::Dictionary attributes{
      {"s", "Frédéric"},
      {"b", Value::boolean(true)},
      {"i", Value::integer(-1234567890123)},
      {"u", Value::unsignedInteger(18446744073709551615ULL)},
      {"r", Value::real(2.5)},
      {"d", foundation::Date::withTimeIntervalSinceReferenceDate(12.75)},
      {"x", Value::data({0, 1, 255})},
      {"a", Value::Array{"one", Value::integer(2), Value::Array{"nested"}}},
      {"h", Value::Dictionary{{"k", "v"}}},
  };
  const std::string bytes = encodeAttributes(attributes);
  const Value::Dictionary decoded = decodeAttributes(bytes);
  EXPECT_EQ(Value(decoded), Value(attributes));
  EXPECT_TRUE(decoded.at("b").kind() == Value::Kind::Bool);
  EXPECT_TRUE(decoded.at("u").kind() == Value::Kind::Unsigned);
  const Value::Dictionary some =
      decodeAttributes(bytes, [](std::string_view key) { return key == "s" || key == "d"; });
  EXPECT_EQ(some.size(), 2u);
  // Damaged bytes decode to nothing rather than crash.
  for (std::size_t cut = 0; cut < bytes.size(); cut += 3) {
    EXPECT_TRUE(decodeAttributes(bytes.substr(0, cut)).empty() || cut == 0);
  }
  EXPECT_TRUE(decodeAttributes(std::string(64, '\xFF')).empty());
}

TEST(IndexWriter, AddsReplacesAndDeletesByIdentifierAndDomain) {
  TemporaryIndex index;
  ASSERT_TRUE(index.writer()
                  .addItems("mail", {mail("1", "inbox", {{"kMDItemSubject", "Lunch on Friday"}}),
                                     mail("2", "inbox", {{"kMDItemSubject", "Invoice 42"}}),
                                     mail("3", "archive", {{"kMDItemSubject", "Old lunch"}})})
                  .ok());
  EXPECT_EQ(index.find(R"(kMDItemSubject == "lunch"cw)"), (std::set<std::string>{"1", "3"}));

  // Replacing an item drops its old words and values.
  auto replaced =
      index.writer().addItems("mail", {mail("1", "inbox", {{"kMDItemSubject", "Dinner"}})});
  ASSERT_TRUE(replaced.ok());
  ASSERT_EQ(replaced.value().size(), 1u);
  EXPECT_TRUE(replaced.value()[0].item.has_value());
  EXPECT_EQ(index.find(R"(kMDItemSubject == "lunch"cw)"), (std::set<std::string>{"3"}));
  EXPECT_EQ(index.find(R"(kMDItemSubject == "Lunch on Friday")"), (std::set<std::string>{}));
  EXPECT_EQ(index.find(R"(kMDItemSubject == "dinner"c)"), (std::set<std::string>{"1"}));

  auto deleted = index.writer().deleteItems("mail", {"2", "no-such-item"});
  ASSERT_TRUE(deleted.ok());
  ASSERT_EQ(deleted.value().size(), 1u);
  EXPECT_FALSE(deleted.value()[0].item.has_value());
  EXPECT_EQ(index.find(R"(kMDItemSubject == "invoice*"cw)"), (std::set<std::string>{}));

  // Another index may use the same identifiers; deleting by domain stays inside one index.
  ASSERT_TRUE(
      index.writer().addItems("other", {mail("3", "archive", {{"kMDItemSubject", "x"}})}).ok());
  auto domain = index.writer().deleteDomains("mail", {"archive"});
  ASSERT_TRUE(domain.ok());
  EXPECT_EQ(domain.value().size(), 1u);
  EXPECT_EQ(index.find(R"(kMDItemSubject == "*")"), (std::set<std::string>{"1", "3"}));
  EXPECT_EQ(index.find(R"(kMDItemSubject == "x")"), (std::set<std::string>{"3"}));
}

TEST(IndexWriter, KeepsItsContentsAcrossReopening) {
  const std::string path = (std::filesystem::path(testing::TempDir()) /
                            ("spotlight-reopen-" + std::to_string(::getpid()) + ".db"))
                               .string();
  std::filesystem::remove(path);
  {
    auto writer = IndexWriter::open(path);
    ASSERT_TRUE(writer.ok());
    ASSERT_TRUE(
        writer.value()->addItems("mail", {mail("7", "d", {{"kMDItemSubject", "kept"}})}).ok());
  }
  auto writer = IndexWriter::open(path);
  ASSERT_TRUE(writer.ok());
  // The reopened writer knows the existing attribute codes and still removes old rows.
  ASSERT_TRUE(
      writer.value()->addItems("mail", {mail("7", "d", {{"kMDItemSubject", "changed"}})}).ok());
  auto reader = IndexReader::open(path);
  ASSERT_TRUE(reader.ok());
  ASSERT_TRUE(reader.value()->begin().ok());
  const std::int64_t code = *reader.value()->codes().find("kMDItemSubject");
  EXPECT_EQ(reader.value()->valuesEqual(code, "kept", IdRange{}, 10)->size(), 0u);
  EXPECT_EQ(reader.value()->valuesEqual(code, "changed", IdRange{}, 10)->size(), 1u);
  reader.value()->end();
  reader.value().reset();
  writer.value().reset();
  for (const char* suffix : {"", "-wal", "-shm"}) std::filesystem::remove(path + suffix);
}

TEST(QueryPlan, LooksUpExactWordPrefixDateRangeAndNumericClausesWithoutScanning) {
  TemporaryIndex index;
  CorpusGenerator corpus(CorpusOptions{});
  platform::SearchableItems items;
  for (std::uint64_t i = 0; i < 50; ++i) items.push_back(corpus.item(i));
  ASSERT_TRUE(index.writer().addItems("mail", items).ok());
  struct Row {
    std::string query;
    std::string plan;
  };
  const std::vector<Row> rows = {
      {R"(kMDItemSubject == "Lunch")", R"(value[kMDItemSubject = "lunch"])"},
      {R"(kMDItemSubject == "lunch*"cdw)", R"(words[kMDItemSubject:"lunch"*])"},
      {R"(kMDItemSubject == "lunch"w)", R"(words[kMDItemSubject:"lunch"])"},
      {R"(kMDItemSubject == "lunch*")", R"(value[kMDItemSubject begins "lunch"])"},
      {R"(kMDItemTextContent == "paris")", R"(words[kMDItemTextContent:"paris"])"},
      {"kMDItemFSSize > 1000", "range[kMDItemFSSize in (1000, +inf]]"},
      {"InRange(kMDItemContentCreationDate,700000000,710000000)",
       "range[kMDItemContentCreationDate in [700000000, 710000000]]"},
      {"kMDItemContentCreationDate == $time.today",
       "range[kMDItemContentCreationDate in [794275200, 794361600)]"},
      {"kMDItemContentCreationDate >= $time.today(-7)",
       "range[kMDItemContentCreationDate in [793670400, +inf]]"},
      {R"(kMDItemSubject == "*"  )", "present[kMDItemSubject]"},
      {R"(kMDItemSubject == "*voice"cd)", "term-walk[kMDItemSubject: *voice*]"},
      {R"(kMDItemSubject == "*voice"w)", "term-walk[kMDItemSubject: *voice]"},
      {R"(kMDItemSubject == "invoice*"cdwf056)", "term-walk[kMDItemSubject: invoice* ~56%]"},
      {R"(kMDItemSubject == "*a b*")", "value-walk[kMDItemSubject: *a b*]"},
      {R"(kMDImtemContentTypeTree == "foo*"cdw)", "empty"},
      {R"((kMDItemContentType = "public.email-message") && (kMDItemSubject == "lunch*"cdw))",
       R"(and(value[kMDItemContentType = "public.email-message"], words[kMDItemSubject:"lunch"*]))"},
      {R"(kMDItemSubject == "lunch"cw && !(kMDItemAuthors == "Bob*"cw))",
       R"(words[kMDItemSubject:"lunch"])"},
      {R"(kMDItemSubject == "lunch"cw || kMDItemAuthors == "bob"cw)",
       R"(words[kMDItemSubject:"lunch", kMDItemAuthors:"bob"])"},
      {R"(kMDItemSubject != "lunch")", "scan"},
      {R"(!(kMDItemSubject == "lunch"))", "scan"},
      {"true", "scan"},
      {"false || kMDItemFSSize < 3", "range[kMDItemFSSize in [-inf, 3)]"},
  };
  for (const Row& row : rows) EXPECT_EQ(index.explain(row.query), row.plan) << row.query;
  // The translator's eight-term output never scans either.
  const std::string eightTerms =
      R"((kMDItemContentType == "public.email-message") && (com_apple_mail_attachmentKinds = "invoice*"cdwt || com_apple_mail_attachmentSpecificTypes = "invoice*"cdwt || com_apple_mail_attachmentTypes = "invoice*"cdwt || kMDItemAuthorEmailAddresses = "invoice*"cdwtf056 || kMDItemAuthors = "invoice*"cdwtf056 || kMDItemRecipientEmailAddresses = "invoice*"cdwtf056 || kMDItemRecipients = "invoice*"cdwtf056 || kMDItemSubject = "invoice*"cdwtf056))";
  EXPECT_EQ(index.explain(eightTerms).find("scan"), std::string::npos) << index.explain(eightTerms);
}

std::size_t fromEnvironment(const char* name, std::size_t fallback) {
  const char* text = std::getenv(name);
  return text ? static_cast<std::size_t>(std::strtoull(text, nullptr, 10)) : fallback;
}

TEST(QueryPlan, FindsExactlyWhatAFullEvaluatorScanFinds) {
  // Unoptimised (sanitizer) builds run a tenth of the queries to stay within the suite's time;
  // the environment can ask for more.
#ifdef NDEBUG
  constexpr std::size_t kDefaultQueries = 1000;
#else
  constexpr std::size_t kDefaultQueries = 100;
#endif
  const std::size_t itemCount = fromEnvironment("TROVADEX_DIFFERENTIAL_ITEMS", 2000);
  const std::size_t queryCount = fromEnvironment("TROVADEX_DIFFERENTIAL_QUERIES", kDefaultQueries);
  TemporaryIndex index;
  CorpusOptions options;
  options.bodyWordsMin = 4;  // short bodies keep the reference scan quick
  options.bodyWordsMax = 12;
  options.fuzzyPercent = 6;
  CorpusGenerator corpus(options);
  std::vector<platform::SearchableItem> items;
  for (std::uint64_t i = 0; i < itemCount; ++i) items.push_back(corpus.item(i));
  ASSERT_TRUE(index.writer().addItems("mail", items).ok());
  std::size_t nonEmpty = 0;
  std::size_t scans = 0;
  for (std::size_t q = 0; q < queryCount; ++q) {
    const std::string query = corpus.query();
    ParseResult parsed = parseQuery(query);
    ASSERT_TRUE(parsed.ok()) << query << ": " << describeParseError(parsed.error());
    const Predicate compiled = compileQuery(parsed.tree(), QueryTime{kNow, "UTC", 2, "en_GB"});
    std::set<std::string> expected;
    for (const platform::SearchableItem& item : items) {
      if (matchesQuery(compiled, item.attributeSet.attributes)) {
        expected.insert(item.uniqueIdentifier);
      }
    }
    // Every other query goes through small windows of ids, as large indexes do.
    const StreamWindows windows = q % 2 == 0 ? StreamWindows{} : StreamWindows{40, 100, 700};
    std::string explanation;
    const std::set<std::string> planned = index.find(query, &explanation, windows);
    ASSERT_EQ(planned, expected) << query << "\n  plan: " << explanation;
    if (!expected.empty()) ++nonEmpty;
    if (explanation.find("scan") != std::string::npos) ++scans;
  }
  // The generated queries must exercise something: many find items, most avoid a scan.
  EXPECT_GT(nonEmpty, queryCount / 4);
  EXPECT_LT(scans, queryCount / 2);
}

}  // namespace
}  // namespace trovadex::spotlight
