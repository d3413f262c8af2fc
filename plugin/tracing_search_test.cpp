#include "plugin/tracing_search.hpp"

#include <gtest/gtest.h>

#include <memory>
#include <string>
#include <vector>

#include "platform/fake/fake_console.hpp"
#include "plugin/experiments.hpp"

namespace trovadex::plugin {
namespace {

using foundation::Value;
using platform::fake::FakeConsole;
using Lines = std::vector<std::string>;

// Inner ports that record what reaches them and, for the traced calls, how many console lines
// had been written by then (so a test can tell that the lines came first).
class RecordingQuery final : public platform::SearchQuery {
 public:
  explicit RecordingQuery(std::shared_ptr<FakeConsole> console) : console_(std::move(console)) {}

  void setFoundItemsHandler(FoundItemsHandler handler) override { found_ = std::move(handler); }
  void setCompletionHandler(CompletionHandler handler) override {
    completion_ = std::move(handler);
  }
  bool respondsToSetRemovedItemsHandler() const override { return false; }
  void setRemovedItemsHandler(RemovedItemsHandler handler) override {
    removed_ = std::move(handler);
  }
  bool respondsToSetGatherEndedHandler() const override { return true; }
  void setGatherEndedHandler(GatherEndedHandler handler) override {
    gathered_ = std::move(handler);
  }
  std::shared_ptr<platform::SearchQueryContext> queryContext() override { return nullptr; }
  void start() override { linesWhenStarted = console_->lines().size(); }
  void cancel() override { cancelled = true; }
  bool isCancelled() const override { return cancelled; }
  std::uint64_t foundItemCount() const override { return 42; }
  std::string queryString() const override { return "kMDItemSubject = \"a*\"cd"; }
  Value fetchAttributes() const override {
    return Value(Value::Array{"kMDItemPath", "kMDItemSubject"});
  }
  Value options() const override {
    return Value(Value::Dictionary{{"live", Value::boolean(true)}});
  }
  std::string description() const override { return "<RecordingQuery 1>"; }

  FoundItemsHandler found_;
  CompletionHandler completion_;
  RemovedItemsHandler removed_;
  GatherEndedHandler gathered_;
  std::optional<std::size_t> linesWhenStarted;
  bool cancelled = false;

 private:
  std::shared_ptr<FakeConsole> console_;
};

class RecordingQueryFactory final : public platform::SearchQueryFactory {
 public:
  explicit RecordingQueryFactory(std::shared_ptr<FakeConsole> console)
      : console_(std::move(console)) {}
  std::shared_ptr<platform::SearchQuery> makeQuery(
      const std::string& queryString,
      const std::optional<std::vector<std::string>>& attributes) override {
    madeWith.emplace_back(queryString, attributes);
    linesWhenMade = console_->lines().size();
    if (refuse) return nullptr;
    made = std::make_shared<RecordingQuery>(console_);
    return made;
  }
  bool attributeSetsRespondToAttributes() const override { return false; }

  std::vector<std::pair<std::string, std::optional<std::vector<std::string>>>> madeWith;
  std::shared_ptr<RecordingQuery> made;
  std::size_t linesWhenMade = 0;
  bool refuse = false;

 private:
  std::shared_ptr<FakeConsole> console_;
};

class RecordingIndex final : public platform::SearchableIndex {
 public:
  explicit RecordingIndex(std::string name, std::shared_ptr<FakeConsole> console)
      : name_(std::move(name)), console_(std::move(console)) {}
  std::string name() const override { return name_; }
  void indexSearchableItems(const platform::SearchableItems& items,
                            Completion completion) override {
    indexed = items;
    linesWhenIndexed = console_->lines().size();
    completion(std::nullopt);
  }
  void deleteSearchableItemsWithIdentifiers(const std::vector<std::string>& identifiers,
                                            Completion completion) override {
    deletedIdentifiers = identifiers;
    completion(std::nullopt);
  }
  void deleteSearchableItemsWithDomainIdentifiers(const std::vector<std::string>& domainIdentifiers,
                                                  Completion completion) override {
    deletedDomains = domainIdentifiers;
    completion(foundation::Error{"TestDomain", 7, "refused"});
  }

  platform::SearchableItems indexed;
  std::size_t linesWhenIndexed = 0;
  std::vector<std::string> deletedIdentifiers, deletedDomains;

 private:
  std::string name_;
  std::shared_ptr<FakeConsole> console_;
};

class RecordingIndexFactory final : public platform::SearchableIndexFactory {
 public:
  explicit RecordingIndexFactory(std::shared_ptr<FakeConsole> console)
      : console_(std::move(console)) {}
  std::shared_ptr<platform::SearchableIndex> indexWithName(const std::string& name) override {
    requests.push_back(name);
    return made = std::make_shared<RecordingIndex>(name, console_);
  }
  std::shared_ptr<platform::SearchableIndex> indexWithName(const std::string& name,
                                                           const std::string& protection) override {
    requests.push_back(name + "|" + protection);
    return made = std::make_shared<RecordingIndex>(name, console_);
  }
  std::vector<std::string> requests;
  std::shared_ptr<RecordingIndex> made;

 private:
  std::shared_ptr<FakeConsole> console_;
};

struct QueryTracing {
  std::shared_ptr<FakeConsole> console = std::make_shared<FakeConsole>();
  std::shared_ptr<RecordingQueryFactory> inner = std::make_shared<RecordingQueryFactory>(console);
  TracingSearchQueryFactory factory{inner, console};
};

TEST(TracingSearchQueryFactory, WritesTheQueryStringAndAttributesBeforeMakingTheQuery) {
  QueryTracing tracing;
  auto query = tracing.factory.makeQuery("a = b", std::vector<std::string>{"kMDItemPath", "x y"});
  EXPECT_EQ(tracing.console->lines(),
            (Lines{"queryString a = b", "attributes (\n    kMDItemPath,\n    \"x y\"\n)"}));
  EXPECT_EQ(tracing.inner->linesWhenMade, 2u);
  ASSERT_EQ(tracing.inner->madeWith.size(), 1u);
  EXPECT_EQ(tracing.inner->madeWith[0].first, "a = b");
  EXPECT_EQ(tracing.inner->madeWith[0].second, (std::vector<std::string>{"kMDItemPath", "x y"}));
  ASSERT_NE(query, nullptr);
  EXPECT_NE(query, tracing.inner->made);  // wrapped, so that its start is traced too
}

TEST(TracingSearchQueryFactory, WritesNullForAMissingAttributeListAndPassesARefusalOn) {
  QueryTracing tracing;
  tracing.inner->refuse = true;
  EXPECT_EQ(tracing.factory.makeQuery("q", std::nullopt), nullptr);
  EXPECT_EQ(tracing.console->lines(), (Lines{"queryString q", "attributes (null)"}));
  EXPECT_EQ(tracing.inner->madeWith.at(0).second, std::nullopt);
  EXPECT_FALSE(tracing.factory.attributeSetsRespondToAttributes());
}

TEST(TracingSearchQuery, WritesFiveLinesThenStartsTheQuery) {
  QueryTracing tracing;
  auto query = tracing.factory.makeQuery("q", std::nullopt);
  tracing.console->clear();
  query->start();
  const std::string attributes = "(\n    kMDItemPath,\n    kMDItemSubject\n)";
  EXPECT_EQ(tracing.console->lines(),
            (Lines{"start <RecordingQuery 1> " + attributes, "options {\n    live = 1;\n}",
                   "scopes (null)", "queryString kMDItemSubject = \"a*\"cd",
                   "fetchAttributes " + attributes}));
  EXPECT_EQ(tracing.inner->made->linesWhenStarted, 5u);
}

TEST(TracingSearchQuery, PassesEveryOtherCallThroughSilently) {
  QueryTracing tracing;
  auto query = tracing.factory.makeQuery("q", std::nullopt);
  tracing.console->clear();
  RecordingQuery& inner = *tracing.inner->made;

  int foundCalls = 0, gatherCalls = 0;
  std::optional<foundation::Error> completedWith;
  query->setFoundItemsHandler([&](const platform::SearchableItems&) { ++foundCalls; });
  query->setCompletionHandler(
      [&](const std::optional<foundation::Error>& e) { completedWith = e; });
  query->setGatherEndedHandler([&] { ++gatherCalls; });
  ASSERT_TRUE(inner.found_ && inner.completion_ && inner.gathered_);
  inner.found_({});
  inner.gathered_();
  inner.completion_(foundation::Error{"CSSearchQueryErrorDomain", -2003, "cancelled"});
  EXPECT_EQ(foundCalls, 1);
  EXPECT_EQ(gatherCalls, 1);
  EXPECT_EQ(completedWith->code, -2003);

  EXPECT_FALSE(query->respondsToSetRemovedItemsHandler());
  EXPECT_TRUE(query->respondsToSetGatherEndedHandler());
  EXPECT_EQ(query->queryContext(), nullptr);
  EXPECT_EQ(query->foundItemCount(), 42u);
  EXPECT_EQ(query->description(), "<RecordingQuery 1>");
  EXPECT_FALSE(query->isCancelled());
  query->cancel();
  EXPECT_TRUE(inner.cancelled);
  EXPECT_TRUE(query->isCancelled());
  EXPECT_TRUE(tracing.console->lines().empty());
}

struct IndexTracing {
  std::shared_ptr<FakeConsole> console = std::make_shared<FakeConsole>();
  std::shared_ptr<RecordingIndexFactory> inner = std::make_shared<RecordingIndexFactory>(console);
  TracingSearchableIndexFactory factory{inner, console};
};

TEST(TracingSearchableIndexFactory, MakesIndexesOfBothFormsWithoutWriting) {
  IndexTracing tracing;
  auto plain = tracing.factory.indexWithName("mail");
  auto protectedIndex = tracing.factory.indexWithName("mail", "NSFileProtectionNone");
  EXPECT_EQ(tracing.inner->requests, (Lines{"mail", "mail|NSFileProtectionNone"}));
  EXPECT_EQ(plain->name(), "mail");
  EXPECT_EQ(protectedIndex->name(), "mail");
  EXPECT_TRUE(tracing.console->lines().empty());
}

TEST(TracingSearchableIndex, WritesTheItemsAndTheFirstItemsDomainAndAttributeNamesBeforeIndexing) {
  IndexTracing tracing;
  auto index = tracing.factory.indexWithName("mail");
  platform::SearchableItems items(2);
  items[0].uniqueIdentifier = "1";
  items[0].domainIdentifier = "INBOX";
  items[0].attributeSet.attributes = {{"kMDItemSubject", Value("Hi")},
                                      {"kMDItemAuthors", Value(Value::Array{"Ann"})}};
  items[1].uniqueIdentifier = "2";
  std::optional<std::optional<foundation::Error>> completed;
  index->indexSearchableItems(items, [&](const auto& error) { completed = error; });

  const Lines lines = tracing.console->lines();
  ASSERT_EQ(lines.size(), 3u);
  EXPECT_EQ(lines[0].rfind("indexSearchableItems:completionHandler: (\n", 0), 0u) << lines[0];
  EXPECT_NE(lines[0].find("uniqueIdentifier = 1;"), std::string::npos) << lines[0];
  EXPECT_NE(lines[0].find("uniqueIdentifier = 2;"), std::string::npos) << lines[0];
  EXPECT_EQ(lines[1], "domainIdentifier INBOX");
  EXPECT_EQ(lines[2], "attributes (\n    kMDItemAuthors,\n    kMDItemSubject\n)");
  EXPECT_EQ(tracing.inner->made->linesWhenIndexed, 3u);
  ASSERT_EQ(tracing.inner->made->indexed.size(), 2u);
  EXPECT_EQ(tracing.inner->made->indexed[0].attributeSet.attributes.size(), 2u);
  ASSERT_TRUE(completed.has_value());
  EXPECT_FALSE(completed->has_value());
}

TEST(TracingSearchableIndex, WritesNullsForAnEmptyItemList) {
  IndexTracing tracing;
  auto index = tracing.factory.indexWithName("mail");
  index->indexSearchableItems({}, [](const auto&) {});
  EXPECT_EQ(tracing.console->lines(), (Lines{"indexSearchableItems:completionHandler: ()",
                                             "domainIdentifier (null)", "attributes (null)"}));
}

TEST(TracingSearchableIndex, PassesDeletionsAndTheirCompletionsThroughSilently) {
  IndexTracing tracing;
  auto index = tracing.factory.indexWithName("mail");
  std::optional<foundation::Error> byIdentifier{foundation::Error{}}, byDomain;
  index->deleteSearchableItemsWithIdentifiers({"1", "2"}, [&](const auto& e) { byIdentifier = e; });
  index->deleteSearchableItemsWithDomainIdentifiers({"INBOX"},
                                                    [&](const auto& e) { byDomain = e; });
  EXPECT_EQ(tracing.inner->made->deletedIdentifiers, (Lines{"1", "2"}));
  EXPECT_EQ(tracing.inner->made->deletedDomains, (Lines{"INBOX"}));
  EXPECT_FALSE(byIdentifier.has_value());
  ASSERT_TRUE(byDomain.has_value());
  EXPECT_EQ(byDomain->code, 7);
  EXPECT_TRUE(tracing.console->lines().empty());
}

TEST(TDMailExperiments, LoadWritesItsOneLineAndInstallsNothing) {
  FakeConsole console;
  TDMailExperiments::loadExperiments(console);
  EXPECT_EQ(console.lines(), (Lines{"TDMailExperiments load"}));
}

}  // namespace
}  // namespace trovadex::plugin
