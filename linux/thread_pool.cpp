#include "linux/thread_pool.hpp"

#include "linux/callback_wall.hpp"

namespace trovadex::linux_platform {

ThreadPool::ThreadPool(int threadCount, platform::Console* console) : console_(console) {
  workers_.reserve(static_cast<std::size_t>(threadCount));
  for (int i = 0; i < threadCount; ++i) workers_.emplace_back([this] { workerLoop(); });
}

ThreadPool::~ThreadPool() { shutdown(); }

bool ThreadPool::submit(std::function<void()> work) {
  {
    std::lock_guard lock(mutex_);
    if (stopping_) return false;
    queue_.push_back(std::move(work));
  }
  wakeUp_.notify_one();
  return true;
}

void ThreadPool::shutdown() {
  std::lock_guard joinLock(joinMutex_);
  {
    std::lock_guard lock(mutex_);
    stopping_ = true;
  }
  wakeUp_.notify_all();
  for (auto& worker : workers_) {
    if (worker.joinable()) worker.join();
  }
  workers_.clear();
}

void ThreadPool::workerLoop() {
  for (;;) {
    std::function<void()> work;
    {
      std::unique_lock lock(mutex_);
      wakeUp_.wait(lock, [this] { return stopping_ || !queue_.empty(); });
      // Queued work still runs after shutdown began; the threads leave once the queue is dry.
      if (queue_.empty()) return;
      work = std::move(queue_.front());
      queue_.pop_front();
    }
    runGuarded(console_, "global queue", work);
  }
}

}  // namespace trovadex::linux_platform
