#include "linux/main_loop.hpp"

#include <glib-unix.h>

#include <csignal>

#include "linux/callback_wall.hpp"

namespace trovadex::linux_platform {
namespace {

struct SignalWatch {
  std::function<void(int)>* handler;
  int signal;
};

}  // namespace

MainLoop::MainLoop()
    : context_(g_main_context_new()),
      loop_(g_main_loop_new(context_.get(), FALSE)),
      mainThread_(std::this_thread::get_id()) {
  g_main_context_push_thread_default(context_.get());
}

MainLoop::~MainLoop() {
  for (auto& source : signalSources_) g_source_destroy(source.get());
  signalSources_.clear();
  g_main_context_pop_thread_default(context_.get());
}

void MainLoop::run() { g_main_loop_run(loop_.get()); }

void MainLoop::quit() { g_main_loop_quit(loop_.get()); }

bool MainLoop::iterateUntil(const std::function<bool()>& done, std::chrono::milliseconds timeout) {
  const auto deadline = std::chrono::steady_clock::now() + timeout;
  // A timer source wakes the blocking iteration when the deadline passes.
  bool expired = false;
  GSourcePtr timer(g_timeout_source_new(static_cast<guint>(timeout.count())));
  g_source_set_callback(
      timer.get(),
      [](gpointer flag) -> gboolean {
        *static_cast<bool*>(flag) = true;
        return G_SOURCE_REMOVE;
      },
      &expired, nullptr);
  g_source_attach(timer.get(), context_.get());
  bool satisfied = done();
  while (!satisfied && !expired && std::chrono::steady_clock::now() < deadline) {
    g_main_context_iteration(context_.get(), TRUE);
    satisfied = done();
  }
  g_source_destroy(timer.get());
  return satisfied;
}

void MainLoop::watchTerminationSignals(std::function<void(int signal)> handler) {
  signalHandler_ = std::move(handler);
  if (!signalSources_.empty()) return;
  for (int signal : {SIGTERM, SIGINT}) {
    GSourcePtr source(g_unix_signal_source_new(signal));
    g_source_set_callback(
        source.get(),
        [](gpointer data) -> gboolean {
          auto* watch = static_cast<SignalWatch*>(data);
          runGuarded(nullptr, "termination signal", [watch] {
            if (*watch->handler) (*watch->handler)(watch->signal);
          });
          return G_SOURCE_CONTINUE;
        },
        new SignalWatch{&signalHandler_, signal},
        [](gpointer data) { delete static_cast<SignalWatch*>(data); });
    g_source_attach(source.get(), context_.get());
    signalSources_.push_back(std::move(source));
  }
}

}  // namespace trovadex::linux_platform
