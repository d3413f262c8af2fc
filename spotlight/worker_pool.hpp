// WorkerPool: a fixed set of threads that run posted tasks in order of posting.
//
// shutdown() lets the tasks already queued (and any they post meanwhile) run to the end, then
// joins every thread; a task posted after that is refused and destroyed unrun. The destructor
// shuts down. Tasks must not throw. Safe from any thread.
#pragma once

#include <condition_variable>
#include <cstddef>
#include <deque>
#include <functional>
#include <mutex>
#include <thread>
#include <vector>

namespace trovadex::spotlight {

class WorkerPool {
 public:
  explicit WorkerPool(std::size_t threads);
  ~WorkerPool();
  WorkerPool(const WorkerPool&) = delete;
  WorkerPool& operator=(const WorkerPool&) = delete;

  // Queues a task; false (and the task destroyed) once the pool has shut down.
  bool post(std::function<void()> task);
  // Runs what is queued, then joins the threads. Idempotent; must not be called from a task.
  void shutdown();

 private:
  void work();

  std::mutex mutex_;
  std::condition_variable wake_;
  // Guarded by mutex_.
  std::deque<std::function<void()>> tasks_;
  std::size_t running_ = 0;
  bool stopping_ = false;
  bool stopped_ = false;
  // Touched by the constructor and shutdown() only.
  std::vector<std::thread> threads_;
};

}  // namespace trovadex::spotlight
