#include "spotlight/serial_queue.hpp"

namespace trovadex::spotlight {
namespace {

// Tasks run per turn on a pool thread before the queue lets other queues have the thread.
constexpr int kTasksPerTurn = 16;

}  // namespace

std::shared_ptr<SerialQueue> SerialQueue::make(WorkerPool& pool) {
  return std::shared_ptr<SerialQueue>(new SerialQueue(pool));
}

void SerialQueue::post(std::function<void()> task) {
  std::shared_ptr<SerialQueue> self = shared_from_this();
  bool schedule = false;
  {
    std::lock_guard<std::mutex> lock(mutex_);
    tasks_.push_back(std::move(task));
    if (!scheduled_) scheduled_ = schedule = true;
  }
  if (schedule && !pool_.post([self] { self->drain(); })) {
    std::deque<std::function<void()>> refused;
    {
      std::lock_guard<std::mutex> lock(mutex_);
      refused.swap(tasks_);
      scheduled_ = false;
    }
  }
}

void SerialQueue::drain() {
  for (int turn = 0; turn < kTasksPerTurn; ++turn) {
    std::function<void()> task;
    {
      std::lock_guard<std::mutex> lock(mutex_);
      if (tasks_.empty()) {
        scheduled_ = false;
        return;
      }
      task = std::move(tasks_.front());
      tasks_.pop_front();
    }
    task();
  }
  std::shared_ptr<SerialQueue> self = shared_from_this();
  if (!pool_.post([self] { self->drain(); })) {
    std::deque<std::function<void()>> refused;
    std::lock_guard<std::mutex> lock(mutex_);
    refused.swap(tasks_);
    scheduled_ = false;
  }
}

}  // namespace trovadex::spotlight
