#include "platform/fake/query_threads.hpp"

#include <atomic>
#include <cassert>
#include <utility>
#include <vector>

namespace trovadex::platform::fake {

QueryThreads::QueryThreads() = default;

QueryThreads::~QueryThreads() { stopAndJoinAll(); }

bool QueryThreads::launch(std::uint64_t id, std::function<void()> body,
                          std::function<void()> stop) {
  joinFinished();
  std::lock_guard lock(mutex_);
  if (stopping_) return false;
  auto done = std::make_shared<std::atomic<bool>>(false);
  std::thread thread([body = std::move(body), done] {
    body();
    done->store(true);
  });
  entries_.emplace(id, Entry{std::move(thread), std::move(done), std::move(stop)});
  return true;
}

void QueryThreads::joinFinished() {
  std::vector<std::thread> finished;
  {
    std::lock_guard lock(mutex_);
    for (auto it = entries_.begin(); it != entries_.end();) {
      if (it->second.done->load() && it->second.thread.get_id() != std::this_thread::get_id()) {
        finished.push_back(std::move(it->second.thread));
        it = entries_.erase(it);
      } else {
        ++it;
      }
    }
  }
  for (auto& thread : finished) thread.join();
}

void QueryThreads::release(std::uint64_t id) {
  std::thread joining;
  {
    std::lock_guard lock(mutex_);
    auto found = entries_.find(id);
    if (found == entries_.end()) return;
    if (found->second.thread.get_id() == std::this_thread::get_id()) return;
    joining = std::move(found->second.thread);
    entries_.erase(found);
  }
  joining.join();
}

void QueryThreads::stopAndJoinAll() {
  std::map<std::uint64_t, Entry> entries;
  {
    std::lock_guard lock(mutex_);
    stopping_ = true;
    entries.swap(entries_);
  }
  for (auto& [id, entry] : entries) {
    if (entry.stop) entry.stop();
  }
  for (auto& [id, entry] : entries) {
    assert(entry.thread.get_id() != std::this_thread::get_id() &&
           "a query thread cannot shut its own engine down");
    entry.thread.join();
  }
}

}  // namespace trovadex::platform::fake
