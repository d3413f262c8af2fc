// Search engine benchmarks on generated mail corpora of 100,000 and 1,000,000 items: index
// build rate, time to first delivery and to completion for four kinds of query, and the latency
// from an index change to a live query's handler.
//
// The corpora are built once and kept in $TMPDIR (or /tmp) as trovadex-spotlight-bench-<N>.db,
// so later runs only measure queries; delete the files to rebuild. Run by hand:
//   build/bench/spotlight_bench --benchmark_filter='/100000/'   (the 100,000-item corpus only)
#include <benchmark/benchmark.h>

#include <algorithm>
#include <chrono>
#include <condition_variable>
#include <cstdlib>
#include <filesystem>
#include <map>
#include <memory>
#include <mutex>
#include <optional>
#include <string>

#include <sys/resource.h>

#include "foundation/clock.hpp"
#include "spotlight/engine.hpp"
#include "spotlight/generated_corpus.hpp"

namespace {

using trovadex::spotlight::CorpusGenerator;
using trovadex::spotlight::CorpusOptions;
using trovadex::spotlight::Engine;
using trovadex::spotlight::EngineOptions;
using Clock = std::chrono::steady_clock;

constexpr std::size_t kBatch = 2000;
constexpr double kNewest = 794331000;  // the corpus's newest date and the engine's "now"

std::string corpusPath(std::size_t items) {
  const char* tmp = std::getenv("TMPDIR");
  return (std::filesystem::path(tmp ? tmp : "/tmp") /
          ("trovadex-spotlight-bench-" + std::to_string(items) + ".db"))
      .string();
}

std::unique_ptr<Engine> openEngine(const std::string& path) {
  EngineOptions options;
  options.clock = std::make_shared<trovadex::foundation::ManualClock>(
      trovadex::foundation::Date::withTimeIntervalSinceReferenceDate(kNewest));
  options.timeZone = "UTC";
  auto engine = Engine::open(path, options);
  if (!engine) {
    std::fprintf(stderr, "cannot open %s: %s\n", path.c_str(),
                 engine.error().localizedDescription.c_str());
    std::abort();
  }
  return std::move(engine.value());
}

// Waits for one completion handed to a SearchableIndex call.
class Waiter {
 public:
  trovadex::platform::SearchableIndex::Completion completion() {
    return [this](const std::optional<trovadex::foundation::Error>&) {
      std::lock_guard<std::mutex> lock(mutex_);
      ++done_;
      changed_.notify_all();
    };
  }
  void waitFor(std::size_t count) {
    std::unique_lock<std::mutex> lock(mutex_);
    changed_.wait(lock, [&] { return done_ >= count; });
  }

 private:
  std::mutex mutex_;
  std::condition_variable changed_;
  std::size_t done_ = 0;
};

// Indexes items [0, count) of the corpus through the engine, in batches; returns seconds.
double build(Engine& engine, std::size_t count) {
  CorpusGenerator corpus(CorpusOptions{});
  auto index = engine.indexFactory()->indexWithName("mail");
  Waiter waiter;
  std::size_t batches = 0;
  const auto begin = Clock::now();
  for (std::size_t first = 0; first < count; first += kBatch) {
    trovadex::platform::SearchableItems items;
    for (std::size_t i = first; i < std::min(count, first + kBatch); ++i) {
      items.push_back(corpus.item(i));
    }
    index->indexSearchableItems(items, waiter.completion());
    ++batches;
    // Keep at most a few batches in flight, as an indexer would.
    if (batches > 4) waiter.waitFor(batches - 4);
  }
  waiter.waitFor(batches);
  return std::chrono::duration<double>(Clock::now() - begin).count();
}

// One engine per corpus size, built on first use and kept for the whole run.
Engine& corpusEngine(std::size_t items) {
  static std::map<std::size_t, std::unique_ptr<Engine>> engines;
  auto found = engines.find(items);
  if (found != engines.end()) return *found->second;
  const std::string path = corpusPath(items);
  const std::string ready = path + ".ready";
  if (!std::filesystem::exists(ready)) {
    for (const char* suffix : {"", "-wal", "-shm"}) std::filesystem::remove(path + suffix);
    std::unique_ptr<Engine> engine = openEngine(path);
    const double seconds = build(*engine, items);
    std::fprintf(stderr, "built %zu items in %.1f s (%.0f items/s)\n", items, seconds,
                 static_cast<double>(items) / seconds);
    std::FILE* marker = std::fopen(ready.c_str(), "w");
    if (marker) std::fclose(marker);
    engine.reset();
  }
  return *(engines[items] = openEngine(path));
}

// CPU seconds used by the whole process so far (every thread): on a loaded machine this is the
// query's own cost, where wall time also counts the waits for a core.
double processCpuSeconds() {
  rusage usage{};
  getrusage(RUSAGE_SELF, &usage);
  return static_cast<double>(usage.ru_utime.tv_sec + usage.ru_stime.tv_sec) +
         static_cast<double>(usage.ru_utime.tv_usec + usage.ru_stime.tv_usec) / 1e6;
}

// What one query run measured.
struct Timing {
  double firstDelivery = -1;  // seconds to the first found-items call (-1: none)
  double completion = 0;      // seconds to the completion
  std::uint64_t found = 0;
};

Timing runQuery(Engine& engine, const std::string& text) {
  static const std::vector<std::string> kFetched = {"kMDItemSubject",
                                                    "kMDItemAuthors",
                                                    "kMDItemAuthorEmailAddresses",
                                                    "kMDItemContentCreationDate",
                                                    "_kMDItemExternalID",
                                                    "kMDItemDisplayName"};
  auto query = engine.queryFactory()->makeQuery(text, kFetched);
  std::mutex mutex;
  std::condition_variable done;
  bool completed = false;
  Timing timing;
  const auto begin = Clock::now();
  query->setFoundItemsHandler([&](const trovadex::platform::SearchableItems&) {
    if (timing.firstDelivery < 0) {
      timing.firstDelivery = std::chrono::duration<double>(Clock::now() - begin).count();
    }
  });
  query->setCompletionHandler([&](const std::optional<trovadex::foundation::Error>& error) {
    if (error) std::fprintf(stderr, "query failed: %s\n", error->description().c_str());
    std::lock_guard<std::mutex> lock(mutex);
    timing.completion = std::chrono::duration<double>(Clock::now() - begin).count();
    completed = true;
    done.notify_all();
  });
  query->start();
  std::unique_lock<std::mutex> lock(mutex);
  done.wait(lock, [&] { return completed; });
  timing.found = query->foundItemCount();
  return timing;
}

void measureQuery(benchmark::State& state, const std::string& text) {
  Engine& engine = corpusEngine(static_cast<std::size_t>(state.range(0)));
  double first = 0;
  double found = 0;
  double cpu = 0;
  for (auto _ : state) {
    const double cpuBefore = processCpuSeconds();
    const Timing timing = runQuery(engine, text);
    cpu += processCpuSeconds() - cpuBefore;
    state.SetIterationTime(timing.completion);
    first += timing.firstDelivery;
    found = static_cast<double>(timing.found);
  }
  const double iterations = static_cast<double>(state.iterations());
  state.counters["first_delivery_ms"] = benchmark::Counter(first * 1000 / iterations);
  state.counters["cpu_ms"] = benchmark::Counter(cpu * 1000 / iterations);
  state.counters["found"] = found;
  auto explained = engine.explain(text);
  state.SetLabel(explained ? explained.value().substr(0, 120) : "?");
}

const std::string kEmail = R"((kMDItemContentType = "public.email-message") && )";

// A word that the corpus uses rarely (a few hundred items per million), less its last letter.
std::string rareWordPrefix() {
  CorpusGenerator corpus(CorpusOptions{});
  for (std::size_t i = 1100;; ++i) {
    const std::string& word = corpus.word(i);
    const bool ascii = std::all_of(word.begin(), word.end(),
                                   [](char c) { return static_cast<unsigned char>(c) < 0x80; });
    if (ascii && word.size() >= 5) return word.substr(0, word.size() - 1);
  }
}

void BM_SelectiveWordPrefix(benchmark::State& state) {
  measureQuery(state, kEmail + "(kMDItemSubject == \"" + rareWordPrefix() + "*\"cdw)");
}

// Every mail message: the plug-in's restriction alone.
void BM_BroadQuery(benchmark::State& state) {
  measureQuery(state, R"(kMDItemContentType = "public.email-message")");
}

// The search-text translator's eight-term output for "invoice".
void BM_FuzzyQuery(benchmark::State& state) {
  measureQuery(
      state,
      R"((kMDItemContentType == "public.email-message") && (com_apple_mail_attachmentKinds = "invoice*"cdwt || com_apple_mail_attachmentSpecificTypes = "invoice*"cdwt || com_apple_mail_attachmentTypes = "invoice*"cdwt || kMDItemAuthorEmailAddresses = "invoice*"cdwtf056 || kMDItemAuthors = "invoice*"cdwtf056 || kMDItemRecipientEmailAddresses = "invoice*"cdwtf056 || kMDItemRecipients = "invoice*"cdwtf056 || kMDItemSubject = "invoice*"cdwtf056))");
}

// The last thirty days.
void BM_DateRange(benchmark::State& state) {
  measureQuery(state,
               kEmail + "(InRange(kMDItemContentCreationDate,$time.today(-30),$time.today))");
}

// From handing a matching item to the index to the live query's found-items call.
void BM_LiveChangeLatency(benchmark::State& state) {
  Engine& engine = corpusEngine(static_cast<std::size_t>(state.range(0)));
  auto index = engine.indexFactory()->indexWithName("bench-live");
  auto query =
      engine.queryFactory()->makeQuery(R"(kMDItemSubject == "zzlivemarker*"cdw)", std::nullopt);
  query->queryContext()->setLive(true);
  std::mutex mutex;
  std::condition_variable changed;
  std::size_t calls = 0;
  bool gathered = false;
  query->setFoundItemsHandler([&](const trovadex::platform::SearchableItems&) {
    std::lock_guard<std::mutex> lock(mutex);
    ++calls;
    changed.notify_all();
  });
  query->setGatherEndedHandler([&] {
    std::lock_guard<std::mutex> lock(mutex);
    gathered = true;
    changed.notify_all();
  });
  query->start();
  {
    std::unique_lock<std::mutex> lock(mutex);
    changed.wait(lock, [&] { return gathered; });
  }
  std::size_t serial = 0;
  for (auto _ : state) {
    trovadex::platform::SearchableItem item;
    item.uniqueIdentifier = "live-" + std::to_string(serial++);
    item.domainIdentifier = "bench";
    item.attributeSet.attributes = {{"kMDItemSubject", "zzLiveMarker " + item.uniqueIdentifier}};
    std::size_t before = 0;
    {
      std::lock_guard<std::mutex> lock(mutex);
      before = calls;
    }
    const auto begin = Clock::now();
    index->indexSearchableItems({item}, nullptr);
    std::unique_lock<std::mutex> lock(mutex);
    changed.wait(lock, [&] { return calls > before; });
    state.SetIterationTime(std::chrono::duration<double>(Clock::now() - begin).count());
  }
  query->cancel();
  std::vector<std::string> identifiers;
  for (std::size_t i = 0; i < serial; ++i) identifiers.push_back("live-" + std::to_string(i));
  Waiter waiter;
  index->deleteSearchableItemsWithIdentifiers(identifiers, waiter.completion());
  waiter.waitFor(1);
}

// Indexing rate through the engine's public index interface, into a fresh database.
void BM_IndexBuild(benchmark::State& state) {
  const std::size_t items = static_cast<std::size_t>(state.range(0));
  for (auto _ : state) {
    const std::string path = corpusPath(items) + ".build";
    for (const char* suffix : {"", "-wal", "-shm"}) std::filesystem::remove(path + suffix);
    std::unique_ptr<Engine> engine = openEngine(path);
    const double seconds = build(*engine, items);
    state.SetIterationTime(seconds);
    engine.reset();
    for (const char* suffix : {"", "-wal", "-shm"}) std::filesystem::remove(path + suffix);
  }
  state.SetItemsProcessed(static_cast<std::int64_t>(state.iterations() * items));
}

}  // namespace

BENCHMARK(BM_IndexBuild)
    ->Arg(100000)
    ->UseManualTime()
    ->Unit(benchmark::kMillisecond)
    ->Iterations(1);
BENCHMARK(BM_SelectiveWordPrefix)
    ->Arg(100000)
    ->Arg(1000000)
    ->UseManualTime()
    ->Unit(benchmark::kMillisecond)
    ->Iterations(5);
BENCHMARK(BM_DateRange)
    ->Arg(100000)
    ->Arg(1000000)
    ->UseManualTime()
    ->Unit(benchmark::kMillisecond)
    ->Iterations(5);
BENCHMARK(BM_FuzzyQuery)
    ->Arg(100000)
    ->Arg(1000000)
    ->UseManualTime()
    ->Unit(benchmark::kMillisecond)
    ->Iterations(3);
BENCHMARK(BM_BroadQuery)
    ->Arg(100000)
    ->Arg(1000000)
    ->UseManualTime()
    ->Unit(benchmark::kMillisecond)
    ->Iterations(1);
BENCHMARK(BM_LiveChangeLatency)
    ->Arg(100000)
    ->Arg(1000000)
    ->UseManualTime()
    ->Unit(benchmark::kMillisecond)
    ->Iterations(20);
