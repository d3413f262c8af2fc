// Message-store benchmarks: sample generation and import, measured in messages per second.
//
// Each run works in a fresh temporary library; the import benchmark first writes the sample mail
// as a Maildir (outside the timing) and then imports that. Run from a Release tree:
//   mailstore_bench --benchmark_filter=100000
#include <benchmark/benchmark.h>
#include <stdlib.h>

#include <filesystem>
#include <string>
#include <system_error>

#include "mailstore/importer.hpp"
#include "mailstore/sample_generator.hpp"
#include "mailstore/store.hpp"

namespace {

using trovadex::mailstore::Store;

class ScratchFolder {
 public:
  ScratchFolder() {
    std::string pattern =
        (std::filesystem::temp_directory_path() / "mailstore-bench-XXXXXX").string();
    path_ = ::mkdtemp(pattern.data());
  }
  ScratchFolder(const ScratchFolder&) = delete;
  ScratchFolder& operator=(const ScratchFolder&) = delete;
  ~ScratchFolder() {
    std::error_code ignored;
    std::filesystem::remove_all(path_, ignored);
  }
  const std::filesystem::path& path() const { return path_; }

 private:
  std::filesystem::path path_;
};

std::uintmax_t bytesBelow(const std::filesystem::path& folder) {
  std::uintmax_t total = 0;
  for (const auto& entry : std::filesystem::recursive_directory_iterator(folder)) {
    if (entry.is_regular_file()) total += entry.file_size();
  }
  return total;
}

void sampleGeneration(benchmark::State& state) {
  const auto count = static_cast<std::size_t>(state.range(0));
  for (auto _ : state) {
    state.PauseTiming();
    ScratchFolder folder;
    auto store = Store::open(folder.path()).value();
    state.ResumeTiming();
    auto manifest =
        trovadex::mailstore::generateSampleMail(*store, {.seed = 1, .messageCount = count});
    if (!manifest) state.SkipWithError(manifest.error().localizedDescription.c_str());
    state.PauseTiming();
    state.counters["store_MB"] = static_cast<double>(bytesBelow(folder.path())) / 1e6;
    store.reset();
    state.ResumeTiming();
  }
  state.counters["messages_per_s"] = benchmark::Counter(
      static_cast<double>(count * state.iterations()), benchmark::Counter::kIsRate);
}

void maildirImport(benchmark::State& state) {
  const auto count = static_cast<std::size_t>(state.range(0));
  ScratchFolder source;
  {
    auto store = Store::open(source.path() / "generated").value();
    auto written = trovadex::mailstore::generateSampleMail(
        *store, {.seed = 1, .messageCount = count, .maildir = source.path() / "Maildir"});
    if (!written) {
      state.SkipWithError(written.error().localizedDescription.c_str());
      return;
    }
  }
  std::filesystem::remove_all(source.path() / "generated");
  for (auto _ : state) {
    state.PauseTiming();
    ScratchFolder folder;
    auto store = Store::open(folder.path()).value();
    state.ResumeTiming();
    auto counts = trovadex::mailstore::importMail(*store, std::vector{source.path() / "Maildir"},
                                                  trovadex::mailstore::ImportOptions{});
    if (!counts || counts.value().added != count) state.SkipWithError("not everything imported");
    state.PauseTiming();
    store.reset();
    state.ResumeTiming();
  }
  state.counters["messages_per_s"] = benchmark::Counter(
      static_cast<double>(count * state.iterations()), benchmark::Counter::kIsRate);
}

BENCHMARK(sampleGeneration)
    ->Arg(2000)
    ->Arg(100000)
    ->Iterations(1)
    ->Unit(benchmark::kSecond)
    ->UseRealTime();
BENCHMARK(maildirImport)
    ->Arg(2000)
    ->Arg(100000)
    ->Iterations(1)
    ->Unit(benchmark::kSecond)
    ->UseRealTime();

}  // namespace

BENCHMARK_MAIN();
