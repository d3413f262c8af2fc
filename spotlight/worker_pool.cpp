#include "spotlight/worker_pool.hpp"

namespace trovadex::spotlight {

WorkerPool::WorkerPool(std::size_t threads) {
  threads_.reserve(threads);
  for (std::size_t i = 0; i < std::max<std::size_t>(threads, 1); ++i) {
    threads_.emplace_back([this] { work(); });
  }
}

WorkerPool::~WorkerPool() { shutdown(); }

bool WorkerPool::post(std::function<void()> task) {
  {
    std::lock_guard<std::mutex> lock(mutex_);
    if (!stopped_) {
      tasks_.push_back(std::move(task));
      wake_.notify_one();
      return true;
    }
  }
  task = nullptr;  // destroyed outside the lock: it may own things whose destructors post
  return false;
}

void WorkerPool::shutdown() {
  {
    std::lock_guard<std::mutex> lock(mutex_);
    if (stopping_) return;
    stopping_ = true;
    wake_.notify_all();
  }
  for (std::thread& thread : threads_) thread.join();
  std::deque<std::function<void()>> leftover;
  {
    std::lock_guard<std::mutex> lock(mutex_);
    stopped_ = true;
    leftover.swap(tasks_);
  }
}

void WorkerPool::work() {
  std::unique_lock<std::mutex> lock(mutex_);
  while (true) {
    // When stopping, a thread leaves only once no task is queued and none is running, since a
    // running task may still post more.
    wake_.wait(lock, [this] { return !tasks_.empty() || (stopping_ && running_ == 0); });
    if (tasks_.empty()) {
      wake_.notify_all();
      return;
    }
    std::function<void()> task = std::move(tasks_.front());
    tasks_.pop_front();
    ++running_;
    lock.unlock();
    task();
    task = nullptr;
    lock.lock();
    --running_;
    if (stopping_) wake_.notify_all();
  }
}

}  // namespace trovadex::spotlight
