// QueryThreads: the joinable threads on which fake search queries deliver, owned by their
// factory.
//
// A query's thread may outlive the query object (when the last reference is dropped inside one
// of its own handlers, the thread cannot join itself), so the threads belong here: a query
// releases its thread when it is destroyed (joining it unless that happens on the thread
// itself), finished threads are joined when the next one is launched, and stopAndJoinAll()
// stops and joins whatever is left. Nothing is ever detached. Safe from any thread;
// stopAndJoinAll() must not run on one of these threads.
#pragma once

#include <atomic>
#include <cstdint>
#include <functional>
#include <map>
#include <memory>
#include <mutex>
#include <thread>

namespace trovadex::platform::fake {

class QueryThreads {
 public:
  QueryThreads();
  ~QueryThreads();
  QueryThreads(const QueryThreads&) = delete;
  QueryThreads& operator=(const QueryThreads&) = delete;

  // Runs body on a new thread filed under id; stop is called (from another thread) to make body
  // return. Returns false, running nothing, once stopAndJoinAll() has begun.
  bool launch(std::uint64_t id, std::function<void()> body, std::function<void()> stop);
  // Joins the thread of id, unless the caller is that thread, which is then joined later.
  void release(std::uint64_t id);
  void stopAndJoinAll();

 private:
  struct Entry {
    std::thread thread;
    std::shared_ptr<std::atomic<bool>> done;
    std::function<void()> stop;
  };
  void joinFinished();

  std::mutex mutex_;
  // Guarded by mutex_.
  std::map<std::uint64_t, Entry> entries_;
  bool stopping_ = false;
};

}  // namespace trovadex::platform::fake
