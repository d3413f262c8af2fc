#include "linux/main_thread_queue.hpp"

#include "linux/callback_wall.hpp"

namespace trovadex::linux_platform {

struct MainThreadQueue::Source {
  GSource base;
  MainThreadQueue* queue;

  static gboolean dispatch(GSource* source, GSourceFunc, gpointer) {
    g_source_set_ready_time(source, -1);
    reinterpret_cast<Source*>(source)->queue->drain();
    return G_SOURCE_CONTINUE;
  }
};

MainThreadQueue::MainThreadQueue(GMainContext* context, platform::Console* console)
    : console_(console), source_(nullptr) {
  // GLib keeps a pointer to the table for the source's life, so it must be static.
  static GSourceFuncs funcs = {nullptr, nullptr, &Source::dispatch, nullptr, nullptr, nullptr};
  source_ = g_source_new(&funcs, sizeof(Source));
  reinterpret_cast<Source*>(source_)->queue = this;
  g_source_set_priority(source_, G_PRIORITY_DEFAULT);
  g_source_set_name(source_, "trovadex main-thread queue");
  g_source_attach(source_, context);
}

MainThreadQueue::~MainThreadQueue() {
  close();
  g_source_destroy(source_);
  g_source_unref(source_);
}

bool MainThreadQueue::push(std::function<void()> work) {
  std::lock_guard lock(mutex_);
  if (closed_) return false;
  work_.push_back(std::move(work));
  g_source_set_ready_time(source_, 0);
  return true;
}

void MainThreadQueue::close() {
  std::deque<std::function<void()>> dropped;
  std::lock_guard lock(mutex_);
  closed_ = true;
  dropped.swap(work_);
  // dropped is destroyed after the lock is released (declared before it).
}

void MainThreadQueue::drain() {
  std::deque<std::function<void()>> batch;
  {
    std::lock_guard lock(mutex_);
    batch.swap(work_);
  }
  // Work pushed while this batch runs sets the ready time again and runs on a later pass.
  for (auto& work : batch) runGuarded(console_, "main queue", work);
}

}  // namespace trovadex::linux_platform
