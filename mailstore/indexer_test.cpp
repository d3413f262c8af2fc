// The indexer against a real store and the real search engine: the index in step after a
// restart, and live changes reaching a live query.
#include "mailstore/indexer.hpp"

#include <gtest/gtest.h>

#include <chrono>
#include <condition_variable>
#include <mutex>
#include <set>

#include "mailstore/test_support.hpp"
#include "spotlight/engine.hpp"

namespace trovadex::mailstore {
namespace {

using namespace std::chrono_literals;
namespace fs = std::filesystem;

// How soon a change must reach a live query. Sanitizer builds run several times slower, so they
// only check that it arrives.
#if defined(__SANITIZE_THREAD__) || defined(__SANITIZE_ADDRESS__)
constexpr auto kLiveDeadline = 10s;
#else
constexpr auto kLiveDeadline = 1s;
#endif
constexpr auto kPassDeadline = 60s;

std::set<std::string> identifierSet(const std::vector<std::int64_t>& ids) {
  std::set<std::string> result;
  for (auto id : ids) result.insert(std::to_string(id));
  return result;
}

// What a query delivers, gathered under one lock.
struct Deliveries {
  std::mutex mutex;
  std::condition_variable changed;
  std::set<std::string> found;    // Guarded by mutex.
  std::set<std::string> removed;  // Guarded by mutex.
  bool completed = false;         // Guarded by mutex.

  template <typename Predicate>
  bool waitFor(std::chrono::milliseconds timeout, Predicate done) {
    std::unique_lock lock(mutex);
    return changed.wait_for(lock, timeout, [&] { return done(*this); });
  }
};

std::shared_ptr<platform::SearchQuery> startQuery(spotlight::Engine& engine,
                                                  const std::string& queryString, bool live,
                                                  const std::shared_ptr<Deliveries>& deliveries) {
  auto query = engine.queryFactory()->makeQuery(queryString, std::nullopt);
  query->setFoundItemsHandler([deliveries](const platform::SearchableItems& items) {
    std::lock_guard lock(deliveries->mutex);
    for (const auto& item : items) deliveries->found.insert(item.uniqueIdentifier);
    deliveries->changed.notify_all();
  });
  query->setRemovedItemsHandler([deliveries](const foundation::Value& identifiers) {
    std::lock_guard lock(deliveries->mutex);
    if (const auto* array = identifiers.asArray()) {
      for (const auto& identifier : *array) {
        if (identifier.isString()) deliveries->removed.insert(*identifier.asString());
      }
    }
    deliveries->changed.notify_all();
  });
  query->setCompletionHandler([deliveries](const auto&) {
    std::lock_guard lock(deliveries->mutex);
    deliveries->completed = true;
    deliveries->changed.notify_all();
  });
  if (live) query->queryContext()->setLive(true);
  query->start();
  return query;
}

class IndexerTest : public ::testing::Test {
 protected:
  void SetUp() override {
    auto store = Store::open(folder_.path() / "Library");
    ASSERT_TRUE(store.ok()) << store.error().description();
    store_ = store.value();
    auto inbox = store_->mailbox(
        MailboxAddress{std::string(kLocalScheme), std::string(kLocalAccount), {"INBOX"}});
    ASSERT_TRUE(inbox.ok());
    inbox_ = inbox.value();
    openEngine();
  }

  void TearDown() override {
    if (indexer_) indexer_->stop();
    if (engine_) engine_->shutdown();
  }

  void openEngine() {
    if (engine_) engine_->shutdown();
    auto engine = spotlight::Engine::open((folder_.path() / "Search Index").string());
    ASSERT_TRUE(engine.ok()) << engine.error().description();
    engine_ = std::move(engine.value());
  }

  void startIndexer() {
    if (indexer_) indexer_->stop();
    indexer_ = std::make_unique<Indexer>(store_, engine_->indexFactory()->indexWithName("Mail"),
                                         engine_->queryFactory(), nullptr);
    indexer_->start();
    ASSERT_TRUE(indexer_->waitUntilInStep(kPassDeadline));
  }

  std::vector<std::int64_t> add(int count, const std::string& subject,
                                const Mailbox* mailbox = nullptr) {
    std::vector<NewMessage> messages;
    for (int i = 0; i < count; ++i) {
      NewMessage message;
      message.bytes = testing::simpleMessage(
          subject + "-" + std::to_string(nextMessage_++) + "@example.org", subject);
      messages.push_back(std::move(message));
    }
    auto outcomes = store_->addMessages(mailbox ? *mailbox : inbox_, messages);
    std::vector<std::int64_t> ids;
    if (!outcomes.ok()) return ids;
    for (const auto& outcome : outcomes.value()) {
      if (outcome.result == AddResult::Added) ids.push_back(outcome.libraryID);
    }
    return ids;
  }

  std::set<std::string> storedIdentifiers() {
    std::set<std::string> ids;
    EXPECT_TRUE(store_->forEachMessage([&](const StoredMessage& message) {
      ids.insert(std::to_string(message.libraryID));
      return true;
    }));
    return ids;
  }

  // The identifiers a one-shot query finds in the index now.
  std::set<std::string> indexedIdentifiers(const std::string& queryString) {
    auto deliveries = std::make_shared<Deliveries>();
    auto query = startQuery(*engine_, queryString, false, deliveries);
    EXPECT_TRUE(deliveries->waitFor(kPassDeadline, [](auto& d) { return d.completed; }));
    std::lock_guard lock(deliveries->mutex);
    return deliveries->found;
  }

  testing::TemporaryFolder folder_;
  std::shared_ptr<Store> store_;
  Mailbox inbox_;
  std::unique_ptr<spotlight::Engine> engine_;
  std::unique_ptr<Indexer> indexer_;
  int nextMessage_ = 1;
};

constexpr const char* kEveryMessage = "kMDItemContentType == \"public.email-message\"";

TEST_F(IndexerTest, BringsTheIndexInStepAfterARestartWithoutRebuildingIt) {
  const auto first = add(30, "Weekly status");
  ASSERT_EQ(first.size(), 30u);
  startIndexer();
  EXPECT_EQ(indexer_->counts().indexed, 30u);
  EXPECT_EQ(indexedIdentifiers(kEveryMessage), identifierSet(first));
  indexer_->stop();
  indexer_.reset();

  // While no indexer runs: five messages go, four arrive, two are rewritten with new flags.
  for (std::size_t i = 0; i < 5; ++i) ASSERT_TRUE(store_->deleteMessage(first[i]));
  const auto arrived = add(4, "Late arrival");
  ASSERT_EQ(arrived.size(), 4u);
  ASSERT_TRUE(store_->setFlags(first[10], 1 << 4));
  ASSERT_TRUE(store_->setFlags(first[11], 1 << 4));

  openEngine();  // the index is read back from its file
  startIndexer();
  const IndexerCounts counts = indexer_->counts();
  EXPECT_EQ(counts.removed, 5u);
  EXPECT_EQ(counts.indexed, 6u) << "only the four new and the two rewritten messages are read";
  EXPECT_EQ(counts.unreadable, 0u);
  EXPECT_EQ(indexedIdentifiers(kEveryMessage), storedIdentifiers());
  EXPECT_EQ(indexedIdentifiers("com_apple_mail_flagged == 1"),
            identifierSet({first[10], first[11]}));
}

TEST_F(IndexerTest, DeletesTheItemsOfAMailboxFolderRemovedByHand) {
  auto archive = store_->mailbox(
      MailboxAddress{std::string(kLocalScheme), std::string(kLocalAccount), {"Archive"}});
  ASSERT_TRUE(archive.ok());
  const auto archived = add(3, "Old news", &archive.value());
  const auto kept = add(2, "Fresh news");
  startIndexer();
  auto deliveries = std::make_shared<Deliveries>();
  auto live = startQuery(*engine_, kEveryMessage, true, deliveries);
  ASSERT_TRUE(deliveries->waitFor(kPassDeadline, [](auto& d) { return d.found.size() == 5; }));

  fs::remove_all(mailboxFolder(store_->v10Folder(), archive.value().address));
  EXPECT_TRUE(deliveries->waitFor(kPassDeadline,
                                  [&](auto& d) { return d.removed == identifierSet(archived); }));
  EXPECT_EQ(indexedIdentifiers(kEveryMessage), identifierSet(kept));
  live->cancel();
}

TEST_F(IndexerTest, LiveChangesReachALiveQueryPromptly) {
  add(3, "Background noise");
  startIndexer();
  auto deliveries = std::make_shared<Deliveries>();
  auto live = startQuery(*engine_, "kMDItemSubject == \"*zebra*\"cd", true, deliveries);

  // A message into an existing mailbox, then one into a mailbox whose folders are new.
  auto started = std::chrono::steady_clock::now();
  const auto zebra = add(1, "Zebra crossing");
  ASSERT_EQ(zebra.size(), 1u);
  EXPECT_TRUE(
      deliveries->waitFor(std::chrono::duration_cast<std::chrono::milliseconds>(kLiveDeadline),
                          [&](auto& d) { return d.found.count(std::to_string(zebra[0])); }))
      << "a new message reaches the live query within the deadline";
  const auto addedLatency = std::chrono::steady_clock::now() - started;

  auto projects = store_->mailbox(
      MailboxAddress{std::string(kLocalScheme), std::string(kLocalAccount), {"Projects", "Zoo"}});
  ASSERT_TRUE(projects.ok());
  const auto inNewFolder = add(1, "Zebra feeding plan", &projects.value());
  ASSERT_EQ(inNewFolder.size(), 1u);
  EXPECT_TRUE(
      deliveries->waitFor(std::chrono::duration_cast<std::chrono::milliseconds>(kLiveDeadline),
                          [&](auto& d) { return d.found.count(std::to_string(inNewFolder[0])); }))
      << "a message in freshly made folders is seen too";

  started = std::chrono::steady_clock::now();
  ASSERT_TRUE(store_->deleteMessage(zebra[0]));
  EXPECT_TRUE(
      deliveries->waitFor(std::chrono::duration_cast<std::chrono::milliseconds>(kLiveDeadline),
                          [&](auto& d) { return d.removed.count(std::to_string(zebra[0])); }))
      << "a deleted message leaves the live query within the deadline";
  const auto removedLatency = std::chrono::steady_clock::now() - started;
  std::printf("live latency: added %.0f ms, removed %.0f ms\n",
              std::chrono::duration<double, std::milli>(addedLatency).count(),
              std::chrono::duration<double, std::milli>(removedLatency).count());
  live->cancel();
}

TEST_F(IndexerTest, AnInterruptedPassLeavesTheNextOneToFinishTheWork) {
  add(50, "Many things");
  indexer_ = std::make_unique<Indexer>(store_, engine_->indexFactory()->indexWithName("Mail"),
                                       engine_->queryFactory(), nullptr);
  indexer_->start();
  indexer_->stop();  // joins at once, whatever the pass was doing
  startIndexer();
  EXPECT_EQ(indexedIdentifiers(kEveryMessage), storedIdentifiers());
}

}  // namespace
}  // namespace trovadex::mailstore
