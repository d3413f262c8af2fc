// End to end: a search with a sorting attribute delivers each batch in that attribute's order,
// newest first by default and oldest first when asked, and still finds every message once. A
// message without the attribute (a sample message may lack a date) has no place in that order and
// is left out of the comparison.
#include <gtest/gtest.h>

#include <csignal>
#include <set>

#include "companion/client.hpp"
#include "companion/desktop_entry.hpp"
#include "tests/e2e/e2e_support.hpp"

namespace trovadex::e2e {
namespace {

using companion::Client;
using companion::ClientOptions;
using companion::SearchEvents;
using companion::SearchOutcome;
using foundation::Value;

constexpr int kSampleMessages = 300;
constexpr std::string_view kSortAttribute = "kMDItemContentCreationDate";

struct SortedSearch {
  SearchOutcome outcome = SearchOutcome::Running;
  std::set<std::int64_t> libraryIDs;
  std::size_t batches = 0;
  std::size_t dated = 0;            // messages that carry the attribute
  std::size_t messagesInOrder = 0;  // dated messages that kept the order against the one before
  std::vector<std::string> outOfOrder;
};

SortedSearch searchSorted(Client& client, bool ascending) {
  SortedSearch result;
  SearchEvents events;
  events.found = [&](const companion::BatchReport& batch) {
    ++result.batches;
    const Value* previous = nullptr;
    for (const auto& message : batch.messages) {
      if (message.libraryID) result.libraryIDs.insert(*message.libraryID);
      const Value& date = message.attribute(kSortAttribute);
      if (!date.isDate()) continue;
      ++result.dated;
      if (previous != nullptr) {
        const double before = previous->asDate()->timeIntervalSinceReferenceDate();
        const double now = date.asDate()->timeIntervalSinceReferenceDate();
        if (ascending ? now >= before : now <= before) {
          ++result.messagesInOrder;
        } else {
          result.outOfOrder.push_back(previous->description() + " then " + date.description());
        }
      }
      previous = &date;
    }
  };
  events.problem = [](const std::string& text) { ADD_FAILURE() << text; };
  const auto summary = client.runSearch(
      {.sortingAttribute = std::string(kSortAttribute), .sortAscending = ascending}, events,
      kStepTimeout);
  result.outcome = summary.outcome;
  return result;
}

TEST(CompanionEndToEnd, SortedSearchesOrderEachBatchByTheAttribute) {
  linux_platform::GMainContextPtr context(g_main_context_new());
  GMainContext* const loop = context.get();
  const std::string library = testRoot() + "/SortLibrary";

  const auto sample =
      runProgram(loop, {TROVADEX_MAILHOST, "sample", "--library", library, "--messages",
                        std::to_string(kSampleMessages), "--seed", "13"});
  ASSERT_EQ(sample.status, 0) << sample.err;
  const char* dataHome = std::getenv("XDG_DATA_HOME");
  ASSERT_NE(dataHome, nullptr);
  ASSERT_TRUE(companion::installDesktopEntry(dataHome, TROVADEX_CLI).ok());

  ClientOptions options;
  options.clientName = "e2e-sort";
  options.context = loop;
  options.problem = [](const std::string& text) { ADD_FAILURE() << text; };
  auto opened = Client::open(std::move(options));
  ASSERT_TRUE(opened.ok()) << opened.error().localizedDescription;
  Client& client = *opened.value();

  ChildProcess host(loop, {TROVADEX_MAILHOST, "run", "--library", library, "--bundle",
                           TROVADEX_PLUGIN_BUNDLE, "--alert-response", "2"});
  ASSERT_TRUE(host.waitForLogLine("Indexer: in step with the store", kStepTimeout)) << host.log();
  ASSERT_TRUE(client.connect(kStepTimeout).ok()) << host.log();

  for (const bool ascending : {false, true}) {
    SCOPED_TRACE(ascending ? "oldest first" : "newest first");
    const SortedSearch found = searchSorted(client, ascending);
    EXPECT_EQ(found.outcome, SearchOutcome::Completed);
    EXPECT_EQ(found.libraryIDs.size(), static_cast<std::size_t>(kSampleMessages));
    EXPECT_TRUE(found.outOfOrder.empty()) << found.outOfOrder.front();
    // Nearly every message is dated, and every dated one but the first of each batch was
    // compared with the one before it.
    EXPECT_GE(found.dated, static_cast<std::size_t>(kSampleMessages * 9 / 10));
    EXPECT_GE(found.messagesInOrder + found.batches, found.dated);
  }

  host.sendSignal(SIGTERM);
  EXPECT_EQ(host.waitForExit(kStepTimeout), 0) << host.log();
}

}  // namespace
}  // namespace trovadex::e2e
