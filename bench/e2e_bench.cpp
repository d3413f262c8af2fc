// The whole search path: the companion client sends Search to the mail host running the plug-in
// bundle over a sample store, and reads (and clears) every batch until the search completes.
// Measured for a broad query (every message) and a selective one (a planted body word): the time
// from Search to the search's end, messages per second, and the time to the first batch.
//
// The argument is the store's size (default 10,000 messages). Stores are generated once and kept
// under /tmp/trovadex-e2e-bench/ keyed by size and seed, search index included, so later runs
// only start the host. Run it on a private bus:
//   tests/linux/run_isolated.sh tests/linux/private_bus.conf BUILD/bench/e2e_bench
// More sizes: --benchmark_filter and TROVADEX_BENCH_MESSAGES=100000.
#include <benchmark/benchmark.h>

#include <unistd.h>

#include <algorithm>
#include <chrono>
#include <csignal>
#include <cstdlib>
#include <filesystem>
#include <iostream>
#include <map>
#include <memory>
#include <optional>
#include <string>

#include "companion/client.hpp"
#include "companion/desktop_entry.hpp"
#include "mailstore/sample_manifest.hpp"
#include "tests/e2e/e2e_support.hpp"

namespace {

using trovadex::companion::Client;
using trovadex::companion::ClientOptions;
using trovadex::companion::SearchEvents;
using trovadex::companion::SearchOutcome;
using trovadex::e2e::ChildProcess;
namespace fs = std::filesystem;
using Clock = std::chrono::steady_clock;

constexpr int kSeed = 42;
constexpr std::chrono::minutes kLongStep{60};  // generating or indexing a large store
constexpr std::chrono::seconds kAnswerTimeout{120};

// One host over one cached store, started on first use and kept for every benchmark of its size.
struct Rig {
  trovadex::linux_platform::GMainContextPtr context{g_main_context_new()};
  std::unique_ptr<ChildProcess> host;
  std::unique_ptr<Client> client;
  std::string plantedWord;
  std::int64_t plantedMessages = 0;
  std::string error;
};

std::map<std::int64_t, std::unique_ptr<Rig>>& rigs() {
  static std::map<std::int64_t, std::unique_ptr<Rig>> all;
  return all;
}

// The cached store of this size, generated into a scratch folder and renamed into place whole.
std::string cachedStore(Rig& rig, std::int64_t messages) {
  const fs::path cache = "/tmp/trovadex-e2e-bench";
  const fs::path store =
      cache / ("store-" + std::to_string(messages) + "-seed-" + std::to_string(kSeed));
  if (fs::exists(store)) return store;
  fs::create_directories(cache);
  const fs::path scratch = cache / ("scratch-" + std::to_string(getpid()));
  fs::remove_all(scratch);
  std::cerr << "Generating a store of " << messages << " messages in " << store << "\n";
  const auto sample = trovadex::e2e::runProgram(
      rig.context.get(),
      {TROVADEX_MAILHOST, "sample", "--library", scratch.string(), "--messages",
       std::to_string(messages), "--seed", std::to_string(kSeed)},
      kLongStep);
  if (sample.status != 0) {
    rig.error = "sample failed: " + sample.err;
    return {};
  }
  fs::rename(scratch, store);
  return store;
}

Rig* rigFor(std::int64_t messages) {
  auto& slot = rigs()[messages];
  if (slot) return slot->error.empty() ? slot.get() : nullptr;
  slot = std::make_unique<Rig>();
  Rig& rig = *slot;
  const char* dataHome = std::getenv("XDG_DATA_HOME");
  if (std::getenv("TROVADEX_TEST_ROOT") == nullptr || dataHome == nullptr) {
    rig.error = "run it through tests/linux/run_isolated.sh";
    return nullptr;
  }
  const std::string library = cachedStore(rig, messages);
  if (library.empty()) return nullptr;
  auto manifest =
      trovadex::mailstore::readSampleManifest(trovadex::mailstore::sampleManifestPath(library));
  if (!manifest.ok()) {
    rig.error = manifest.error().localizedDescription;
    return nullptr;
  }
  // The rarest planted body word that still names a few messages.
  for (const auto& word : manifest.value().words) {
    if (word.field != "body" || word.messages < 2) continue;
    if (rig.plantedWord.empty() || word.messages < rig.plantedMessages) {
      rig.plantedWord = word.word;
      rig.plantedMessages = word.messages;
    }
  }
  if (!trovadex::companion::installDesktopEntry(dataHome, TROVADEX_CLI).ok()) {
    rig.error = "cannot install the desktop entry";
    return nullptr;
  }
  rig.host = std::make_unique<ChildProcess>(
      rig.context.get(),
      std::vector<std::string>{TROVADEX_MAILHOST, "run", "--library", library, "--bundle",
                               TROVADEX_PLUGIN_BUNDLE, "--alert-response", "2"});
  if (!rig.host->waitForLogLine("Indexer: in step with the store", kLongStep)) {
    rig.error = "the host did not get in step with the store:\n" + rig.host->log();
    return nullptr;
  }
  ClientOptions options;
  options.clientName = "e2e-bench";
  options.context = rig.context.get();
  options.problem = [](const std::string& text) { std::cerr << "client: " << text << "\n"; };
  auto opened = Client::open(std::move(options));
  if (!opened.ok()) {
    rig.error = opened.error().localizedDescription;
    return nullptr;
  }
  rig.client = std::move(opened.value());
  if (!rig.client->connect(kAnswerTimeout).ok()) {
    rig.error = "no plug-in answered:\n" + rig.host->log();
    return nullptr;
  }
  return &rig;
}

void runSearch(benchmark::State& state, bool selective) {
  const std::int64_t messages = state.range(0);
  Rig* rig = rigFor(messages);
  if (rig == nullptr) {
    state.SkipWithError(rigs()[messages]->error.c_str());
    return;
  }
  const std::string query =
      selective ? "kMDItemTextContent == \"" + rig->plantedWord + "\"cd" : std::string();
  const std::uint64_t expected = selective ? static_cast<std::uint64_t>(rig->plantedMessages)
                                           : static_cast<std::uint64_t>(messages);

  std::uint64_t found = 0;
  double firstBatchSeconds = 0;
  double totalSeconds = 0;
  for (auto _ : state) {
    const auto start = Clock::now();
    std::optional<Clock::time_point> firstBatch;
    SearchEvents events;
    events.found = [&](const trovadex::companion::BatchReport&) {
      if (!firstBatch) firstBatch = Clock::now();
    };
    const auto summary =
        rig->client->runSearch({.queryString = query}, std::move(events), kAnswerTimeout);
    const auto end = Clock::now();
    if (summary.outcome != SearchOutcome::Completed || summary.messages != expected) {
      state.SkipWithError(("search ended " + std::to_string(static_cast<int>(summary.outcome)) +
                           " with " + std::to_string(summary.messages) + " of " +
                           std::to_string(expected) + " messages")
                              .c_str());
      return;
    }
    found += summary.messages;
    totalSeconds += std::chrono::duration<double>(end - start).count();
    firstBatchSeconds += std::chrono::duration<double>(firstBatch.value_or(end) - start).count();
  }
  const auto iterations = static_cast<double>(state.iterations());
  state.counters["messages"] = static_cast<double>(expected);
  state.counters["messages_per_s"] = static_cast<double>(found) / totalSeconds;
  state.counters["first_batch_ms"] = 1000.0 * firstBatchSeconds / iterations;
  state.counters["search_ms"] = 1000.0 * totalSeconds / iterations;
}

void BM_BroadSearch(benchmark::State& state) { runSearch(state, false); }
void BM_SelectiveSearch(benchmark::State& state) { runSearch(state, true); }

std::int64_t storeSize() {
  const char* text = std::getenv("TROVADEX_BENCH_MESSAGES");
  const std::int64_t size = text != nullptr ? std::atoll(text) : 0;
  return size > 0 ? size : 10000;
}

}  // namespace

int main(int argc, char** argv) {
  benchmark::Initialize(&argc, argv);
  if (benchmark::ReportUnrecognizedArguments(argc, argv)) return 1;
  const std::int64_t size = storeSize();
  benchmark::RegisterBenchmark("BM_BroadSearch", BM_BroadSearch)
      ->Arg(size)
      ->Unit(benchmark::kMillisecond)
      ->UseRealTime();
  benchmark::RegisterBenchmark("BM_SelectiveSearch", BM_SelectiveSearch)
      ->Arg(size)
      ->Unit(benchmark::kMillisecond)
      ->UseRealTime();
  benchmark::RunSpecifiedBenchmarks();
  benchmark::Shutdown();
  // The hosts quit before their contexts go away.
  for (auto& [messages, rig] : rigs()) {
    if (!rig) continue;
    rig->client.reset();
    if (rig->host) {
      rig->host->sendSignal(SIGTERM);
      rig->host->waitForExit(std::chrono::seconds(30));
      rig->host.reset();
    }
  }
  rigs().clear();
  return 0;
}
