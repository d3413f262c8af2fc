// SerialQueue: tasks that run one after another, in order, on a WorkerPool's threads.
//
// Each query and the index writer have one, so a query's handlers are never called
// concurrently and index changes apply in the order they were asked for. Once the pool refuses
// work (it has shut down) queued tasks are destroyed unrun. Safe from any thread; the pool must
// outlive the queue.
#pragma once

#include <deque>
#include <functional>
#include <memory>
#include <mutex>

#include "spotlight/worker_pool.hpp"

namespace trovadex::spotlight {

class SerialQueue : public std::enable_shared_from_this<SerialQueue> {
 public:
  static std::shared_ptr<SerialQueue> make(WorkerPool& pool);
  void post(std::function<void()> task);

 private:
  explicit SerialQueue(WorkerPool& pool) : pool_(pool) {}
  void drain();

  WorkerPool& pool_;
  std::mutex mutex_;
  // Guarded by mutex_.
  std::deque<std::function<void()>> tasks_;
  bool scheduled_ = false;
};

}  // namespace trovadex::spotlight
