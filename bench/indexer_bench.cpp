// Indexer benchmarks: the start-up pass over a sample store, into an empty index (the first start
// of a host) and into an index already in step (every later start), in messages per second.
//
// The sample store is generated once per size, outside the timing, in a temporary folder. Each
// timed run uses a fresh engine over its own index file. Run from a Release tree:
//   indexer_bench --benchmark_filter=100000
#include <benchmark/benchmark.h>
#include <stdlib.h>
#include <sys/resource.h>

#include <chrono>
#include <filesystem>
#include <map>
#include <memory>
#include <string>
#include <system_error>

#include "mailstore/indexer.hpp"
#include "mailstore/sample_generator.hpp"
#include "mailstore/store.hpp"
#include "spotlight/engine.hpp"

namespace {

namespace fs = std::filesystem;
using trovadex::mailstore::Indexer;
using trovadex::mailstore::Store;
using trovadex::spotlight::Engine;

constexpr auto kPassTimeout = std::chrono::hours(2);

class ScratchFolder {
 public:
  ScratchFolder() {
    std::string pattern = (fs::temp_directory_path() / "indexer-bench-XXXXXX").string();
    path_ = ::mkdtemp(pattern.data());
  }
  ScratchFolder(const ScratchFolder&) = delete;
  ScratchFolder& operator=(const ScratchFolder&) = delete;
  ~ScratchFolder() {
    std::error_code ignored;
    fs::remove_all(path_, ignored);
  }
  const fs::path& path() const { return path_; }

 private:
  fs::path path_;
};

// One sample store per size, kept for the whole run.
std::shared_ptr<Store> sampleStore(std::size_t messages) {
  static std::map<std::size_t, std::pair<std::unique_ptr<ScratchFolder>, std::shared_ptr<Store>>>
      stores;
  auto& entry = stores[messages];
  if (!entry.second) {
    entry.first = std::make_unique<ScratchFolder>();
    auto store = Store::open(entry.first->path() / "Library");
    if (!store) return nullptr;
    trovadex::mailstore::SampleOptions options;
    options.messageCount = messages;
    if (!trovadex::mailstore::generateSampleMail(*store.value(), options)) return nullptr;
    entry.second = store.value();
  }
  return entry.second;
}

// One start-up pass of an indexer over the store into the engine; false when it failed.
bool runPass(const std::shared_ptr<Store>& store, Engine& engine) {
  Indexer indexer(store, engine.indexFactory()->indexWithName("Mail"), engine.queryFactory(),
                  nullptr);
  indexer.start();
  const bool inStep = indexer.waitUntilInStep(kPassTimeout);
  indexer.stop();
  return inStep;
}

double peakResidentMegabytes() {
  rusage usage{};
  getrusage(RUSAGE_SELF, &usage);
  return static_cast<double>(usage.ru_maxrss) / 1024.0;
}

void firstPass(benchmark::State& state) {
  const auto messages = static_cast<std::size_t>(state.range(0));
  auto store = sampleStore(messages);
  if (!store) return state.SkipWithError("cannot generate the sample store");
  for (auto _ : state) {
    state.PauseTiming();
    ScratchFolder indexFolder;
    auto engine = Engine::open((indexFolder.path() / "Search Index").string());
    if (!engine) return state.SkipWithError("cannot open the engine");
    state.ResumeTiming();
    if (!runPass(store, *engine.value())) return state.SkipWithError("the pass failed");
    state.PauseTiming();
    engine.value()->shutdown();
    state.ResumeTiming();
  }
  state.counters["messages/s"] =
      benchmark::Counter(static_cast<double>(messages) * static_cast<double>(state.iterations()),
                         benchmark::Counter::kIsRate);
  state.counters["peak_MB"] = peakResidentMegabytes();
}

void passInStep(benchmark::State& state) {
  const auto messages = static_cast<std::size_t>(state.range(0));
  auto store = sampleStore(messages);
  if (!store) return state.SkipWithError("cannot generate the sample store");
  ScratchFolder indexFolder;
  const std::string indexPath = (indexFolder.path() / "Search Index").string();
  {
    auto engine = Engine::open(indexPath);
    if (!engine || !runPass(store, *engine.value())) {
      return state.SkipWithError("cannot build the index");
    }
    engine.value()->shutdown();
  }
  for (auto _ : state) {
    auto engine = Engine::open(indexPath);
    if (!engine) return state.SkipWithError("cannot open the engine");
    if (!runPass(store, *engine.value())) return state.SkipWithError("the pass failed");
    engine.value()->shutdown();
  }
  state.counters["messages/s"] =
      benchmark::Counter(static_cast<double>(messages) * static_cast<double>(state.iterations()),
                         benchmark::Counter::kIsRate);
}

BENCHMARK(firstPass)
    ->Arg(10000)
    ->Arg(100000)
    ->Unit(benchmark::kSecond)
    ->Iterations(1)
    ->UseRealTime();
BENCHMARK(passInStep)
    ->Arg(10000)
    ->Arg(100000)
    ->Unit(benchmark::kSecond)
    ->Iterations(1)
    ->UseRealTime();

}  // namespace

BENCHMARK_MAIN();
