#include "platform/fake/fake_dispatcher.hpp"

#include <cassert>
#include <utility>

namespace trovadex::platform::fake {
namespace {

// How deeply the current thread is inside held global work run by runGlobalUntilIdle().
thread_local int globalWorkDepth = 0;

}  // namespace

FakeDispatcher::FakeDispatcher(GlobalQueueMode globalMode)
    : globalMode_(globalMode), mainThread_(std::this_thread::get_id()) {}

FakeDispatcher::~FakeDispatcher() { joinGlobalWork(); }

void FakeDispatcher::dispatchAsyncMain(std::function<void()> work) {
  {
    std::lock_guard lock(mutex_);
    mainQueue_.push_back(std::move(work));
  }
  mainQueued_.notify_all();
}

void FakeDispatcher::performOnMainThread(std::function<void()> work) {
  // One queue for both, so that their relative order is the order of submission.
  dispatchAsyncMain(std::move(work));
}

void FakeDispatcher::dispatchAsyncGlobal(std::function<void()> work) {
  std::lock_guard lock(mutex_);
  if (globalMode_ == GlobalQueueMode::Queued) {
    globalQueue_.push_back(std::move(work));
  } else {
    workers_.emplace_back(std::move(work));
  }
}

std::function<void()> FakeDispatcher::popMain() {
  std::lock_guard lock(mutex_);
  if (mainQueue_.empty()) return nullptr;
  auto work = std::move(mainQueue_.front());
  mainQueue_.pop_front();
  return work;
}

std::function<void()> FakeDispatcher::popGlobal() {
  std::lock_guard lock(mutex_);
  if (globalQueue_.empty()) return nullptr;
  auto work = std::move(globalQueue_.front());
  globalQueue_.pop_front();
  return work;
}

bool FakeDispatcher::runOneMain() {
  assert(std::this_thread::get_id() == mainThread_ && "main work runs on the main thread");
  auto work = popMain();
  if (!work) return false;
  work();
  return true;
}

std::size_t FakeDispatcher::runMainUntilIdle(std::size_t limit) {
  std::size_t ran = 0;
  while (ran < limit && runOneMain()) ++ran;
  return ran;
}

std::size_t FakeDispatcher::runGlobalUntilIdle(std::size_t limit) {
  std::size_t ran = 0;
  while (ran < limit) {
    auto work = popGlobal();
    if (!work) break;
    ++globalWorkDepth;
    work();
    --globalWorkDepth;
    ++ran;
  }
  return ran;
}

void FakeDispatcher::joinGlobalWork() {
  // Workers may submit more global work while being joined; keep going until none is left.
  for (;;) {
    std::vector<std::thread> joining;
    {
      std::lock_guard lock(mutex_);
      joining.swap(workers_);
    }
    if (joining.empty()) return;
    for (auto& worker : joining) {
      assert(worker.get_id() != std::this_thread::get_id() && "a worker cannot join itself");
      worker.join();
    }
  }
}

bool FakeDispatcher::waitForMainWork(std::chrono::milliseconds timeout) {
  std::unique_lock lock(mutex_);
  return mainQueued_.wait_for(lock, timeout, [this] { return !mainQueue_.empty(); });
}

std::size_t FakeDispatcher::pendingMainCount() const {
  std::lock_guard lock(mutex_);
  return mainQueue_.size();
}

std::size_t FakeDispatcher::pendingGlobalCount() const {
  std::lock_guard lock(mutex_);
  return globalMode_ == GlobalQueueMode::Queued ? globalQueue_.size() : workers_.size();
}

bool FakeDispatcher::isMainThread() const {
  return std::this_thread::get_id() == mainThread_ && globalWorkDepth == 0;
}

}  // namespace trovadex::platform::fake
