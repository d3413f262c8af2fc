#include "tests/e2e/e2e_support.hpp"

#include <gtest/gtest.h>

#include <cstdlib>

namespace trovadex::e2e {

using linux_platform::GObjectPtr;

namespace {

std::vector<const char*> argumentVector(const std::vector<std::string>& arguments) {
  std::vector<const char*> argv;
  for (const auto& argument : arguments) argv.push_back(argument.c_str());
  argv.push_back(nullptr);
  return argv;
}

// Runs work with context as the thread's default, so that the async calls it makes report there.
template <typename Work>
void onContext(GMainContext* context, Work&& work) {
  g_main_context_push_thread_default(context);
  work();
  g_main_context_pop_thread_default(context);
}

}  // namespace

std::string testRoot() {
  const char* root = std::getenv("TROVADEX_TEST_ROOT");
  if (root == nullptr || root[0] == '\0') {
    ADD_FAILURE() << "Run the end-to-end scenarios through ctest: they need the private bus and "
                     "folders of run_isolated.sh.";
    std::abort();
  }
  return root;
}

bool iterateUntil(GMainContext* context, const std::function<bool()>& done,
                  std::chrono::milliseconds timeout) {
  bool timedOut = false;
  linux_platform::GSourcePtr timer(g_timeout_source_new(static_cast<guint>(timeout.count())));
  g_source_set_callback(
      timer.get(),
      [](gpointer flag) -> gboolean {
        *static_cast<bool*>(flag) = true;
        return G_SOURCE_REMOVE;
      },
      &timedOut, nullptr);
  g_source_attach(timer.get(), context);
  while (!done() && !timedOut) g_main_context_iteration(context, TRUE);
  g_source_destroy(timer.get());
  return done();
}

ProgramResult runProgram(GMainContext* context, const std::vector<std::string>& arguments,
                         std::chrono::milliseconds timeout) {
  ProgramResult result;
  auto argv = argumentVector(arguments);
  GError* error = nullptr;
  GObjectPtr<GSubprocess> process(
      g_subprocess_newv(argv.data(),
                        static_cast<GSubprocessFlags>(G_SUBPROCESS_FLAGS_STDOUT_PIPE |
                                                      G_SUBPROCESS_FLAGS_STDERR_PIPE),
                        &error));
  if (!process) {
    ADD_FAILURE() << "cannot start " << arguments.front() << ": " << error->message;
    g_error_free(error);
    return result;
  }
  struct Outcome {
    bool done = false;
    gchar* out = nullptr;
    gchar* err = nullptr;
  } outcome;
  onContext(context, [&] {
    g_subprocess_communicate_utf8_async(
        process.get(), nullptr, nullptr,
        [](GObject* source, GAsyncResult* asyncResult, gpointer data) {
          auto* state = static_cast<Outcome*>(data);
          g_subprocess_communicate_utf8_finish(G_SUBPROCESS(source), asyncResult, &state->out,
                                               &state->err, nullptr);
          state->done = true;
        },
        &outcome);
  });
  if (!iterateUntil(
          context, [&] { return outcome.done; }, timeout)) {
    ADD_FAILURE() << arguments.front() << " did not finish in time";
    g_subprocess_force_exit(process.get());
    // The callback writes into outcome, so the wait cannot end before it has run.
    iterateUntil(
        context, [&] { return outcome.done; }, kStepTimeout);
  }
  result.out = outcome.out != nullptr ? outcome.out : "";
  result.err = outcome.err != nullptr ? outcome.err : "";
  g_free(outcome.out);
  g_free(outcome.err);
  bool exited = false;
  onContext(context, [&] {
    g_subprocess_wait_async(
        process.get(), nullptr,
        [](GObject* source, GAsyncResult* asyncResult, gpointer data) {
          g_subprocess_wait_finish(G_SUBPROCESS(source), asyncResult, nullptr);
          *static_cast<bool*>(data) = true;
        },
        &exited);
  });
  iterateUntil(
      context, [&] { return exited; }, kStepTimeout);
  if (exited && g_subprocess_get_if_exited(process.get())) {
    result.status = g_subprocess_get_exit_status(process.get());
  }
  return result;
}

ChildProcess::ChildProcess(GMainContext* context, const std::vector<std::string>& arguments)
    : context_(context), cancellable_(g_cancellable_new()) {
  auto argv = argumentVector(arguments);
  GError* error = nullptr;
  process_.reset(g_subprocess_newv(argv.data(), G_SUBPROCESS_FLAGS_STDERR_PIPE, &error));
  if (!process_) {
    ADD_FAILURE() << "cannot start " << arguments.front() << ": " << error->message;
    g_error_free(error);
    return;
  }
  errors_.reset(g_data_input_stream_new(g_subprocess_get_stderr_pipe(process_.get())));
  onContext(context_, [&] {
    g_subprocess_wait_async(
        process_.get(), cancellable_.get(),
        [](GObject* source, GAsyncResult* result, gpointer data) {
          if (g_subprocess_wait_finish(G_SUBPROCESS(source), result, nullptr)) {
            static_cast<ChildProcess*>(data)->exited_ = true;
          }
        },
        this);
  });
  readNextLine();
}

ChildProcess::~ChildProcess() {
  if (process_ && !exited_) {
    g_subprocess_force_exit(process_.get());
    iterateUntil(
        context_, [&] { return exited_; }, kStepTimeout);
  }
  // Pending reads and waits report into this object: stop them and let them report now.
  g_cancellable_cancel(cancellable_.get());
  while (g_main_context_pending(context_)) g_main_context_iteration(context_, FALSE);
}

void ChildProcess::readNextLine() {
  onContext(context_, [&] {
    g_data_input_stream_read_line_async(
        errors_.get(), G_PRIORITY_DEFAULT, cancellable_.get(),
        [](GObject* source, GAsyncResult* result, gpointer data) {
          gsize length = 0;
          GError* error = nullptr;
          gchar* line = g_data_input_stream_read_line_finish(G_DATA_INPUT_STREAM(source), result,
                                                             &length, &error);
          if (error != nullptr) {
            const bool cancelled = g_error_matches(error, G_IO_ERROR, G_IO_ERROR_CANCELLED);
            g_error_free(error);
            if (cancelled) return;  // the child object may be gone
          }
          auto* child = static_cast<ChildProcess*>(data);
          if (line == nullptr) return;  // end of the stream
          child->lines_.emplace_back(line, length);
          g_free(line);
          child->readNextLine();
        },
        this);
  });
}

bool ChildProcess::waitForLogLine(std::string_view text, std::chrono::milliseconds timeout) {
  std::size_t checked = 0;
  return iterateUntil(
      context_,
      [&] {
        for (; checked < lines_.size(); ++checked) {
          if (lines_[checked].find(text) != std::string::npos) return true;
        }
        return false;
      },
      timeout);
}

std::string ChildProcess::log() const {
  std::string text;
  for (const auto& line : lines_) text += line + "\n";
  return text;
}

void ChildProcess::sendSignal(int signal) {
  if (process_ && !exited_) g_subprocess_send_signal(process_.get(), signal);
}

std::optional<int> ChildProcess::waitForExit(std::chrono::milliseconds timeout) {
  if (!process_ || !iterateUntil(
                       context_, [&] { return exited_; }, timeout))
    return std::nullopt;
  if (!g_subprocess_get_if_exited(process_.get())) return std::nullopt;
  return g_subprocess_get_exit_status(process_.get());
}

}  // namespace trovadex::e2e
