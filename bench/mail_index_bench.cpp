// The engine alone over a real mail store's index: a query that finds every message and fetches
// every attribute the index holds, as the plug-in's broad search does (time to the completion,
// CPU time, time to the first delivery). Point it at the host's index of a store:
//   TROVADEX_BENCH_INDEX="LIBRARY/Mail/V10/MailData/Search Index" build/bench/mail_index_bench
// The index is copied to a scratch file first, so a host may keep running on the original.
#include <benchmark/benchmark.h>
#include <sqlite3.h>
#include <sys/resource.h>

#include <chrono>
#include <condition_variable>
#include <cstdio>
#include <cstdlib>
#include <filesystem>
#include <mutex>
#include <string>
#include <vector>

#include "spotlight/engine.hpp"

namespace {

using trovadex::spotlight::Engine;
using Clock = std::chrono::steady_clock;

// The plug-in's query for a search of every message.
constexpr const char* kEveryMessage = R"(kMDItemContentType = "public.email-message")";

double processCpuSeconds() {
  rusage usage{};
  getrusage(RUSAGE_SELF, &usage);
  return static_cast<double>(usage.ru_utime.tv_sec + usage.ru_stime.tv_sec) +
         static_cast<double>(usage.ru_utime.tv_usec + usage.ru_stime.tv_usec) / 1e6;
}

// Every attribute name the index knows.
std::vector<std::string> attributeNames(const std::string& path) {
  std::vector<std::string> names;
  sqlite3* database = nullptr;
  if (sqlite3_open_v2(path.c_str(), &database, SQLITE_OPEN_READONLY, nullptr) == SQLITE_OK) {
    sqlite3_stmt* statement = nullptr;
    if (sqlite3_prepare_v2(database, "SELECT name FROM attributes", -1, &statement, nullptr) ==
        SQLITE_OK) {
      while (sqlite3_step(statement) == SQLITE_ROW) {
        names.emplace_back(reinterpret_cast<const char*>(sqlite3_column_text(statement, 0)));
      }
    }
    sqlite3_finalize(statement);
  }
  sqlite3_close(database);
  return names;
}

void BM_EveryMessageEveryAttribute(benchmark::State& state) {
  const char* original = std::getenv("TROVADEX_BENCH_INDEX");
  if (original == nullptr || !std::filesystem::exists(original)) {
    state.SkipWithError("set TROVADEX_BENCH_INDEX to a store's Search Index");
    return;
  }
  const std::string path = "/tmp/trovadex-mail-index-bench.db";
  // The write-ahead log holds what a running host has not yet checkpointed.
  for (const char* suffix : {"", "-wal"}) {
    std::filesystem::remove(path + suffix);
    if (std::filesystem::exists(std::string(original) + suffix)) {
      std::filesystem::copy_file(std::string(original) + suffix, path + suffix);
    }
  }
  std::filesystem::remove(path + "-shm");
  const std::vector<std::string> fetched = attributeNames(path);
  auto engine = Engine::open(path, {});
  if (!engine) {
    state.SkipWithError("the index cannot be opened");
    return;
  }
  double first = 0;
  double cpu = 0;
  std::uint64_t found = 0;
  for (auto _ : state) {
    auto query = engine.value()->queryFactory()->makeQuery(kEveryMessage, fetched);
    std::mutex mutex;
    std::condition_variable done;
    bool completed = false;
    double firstDelivery = -1;
    const auto begin = Clock::now();
    const double cpuBefore = processCpuSeconds();
    query->setFoundItemsHandler([&](const trovadex::platform::SearchableItems&) {
      if (firstDelivery < 0) {
        firstDelivery = std::chrono::duration<double>(Clock::now() - begin).count();
      }
    });
    query->setCompletionHandler([&](const std::optional<trovadex::foundation::Error>&) {
      std::lock_guard<std::mutex> lock(mutex);
      completed = true;
      done.notify_all();
    });
    query->start();
    std::unique_lock<std::mutex> lock(mutex);
    done.wait(lock, [&] { return completed; });
    state.SetIterationTime(std::chrono::duration<double>(Clock::now() - begin).count());
    cpu += processCpuSeconds() - cpuBefore;
    first += firstDelivery;
    found = query->foundItemCount();
  }
  const auto iterations = static_cast<double>(state.iterations());
  state.counters["first_delivery_ms"] = first * 1000 / iterations;
  state.counters["cpu_ms"] = cpu * 1000 / iterations;
  state.counters["found"] = static_cast<double>(found);
  state.counters["fetched_names"] = static_cast<double>(fetched.size());
  engine.value().reset();
  for (const char* suffix : {"", "-wal", "-shm"}) std::filesystem::remove(path + suffix);
}

BENCHMARK(BM_EveryMessageEveryAttribute)
    ->UseManualTime()
    ->Unit(benchmark::kMillisecond)
    ->Iterations(3);

}  // namespace

BENCHMARK_MAIN();
