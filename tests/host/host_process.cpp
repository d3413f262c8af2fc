#include "tests/host/host_process.hpp"

#include <gtest/gtest.h>

namespace trovadex::host::testing {

namespace lp = linux_platform;

HostProcess::HostProcess(lp::MainLoop& loop, const std::vector<std::string>& arguments)
    : loop_(loop), cancellable_(g_cancellable_new()) {
  std::vector<const gchar*> argv;
  for (const auto& argument : arguments) argv.push_back(argument.c_str());
  argv.push_back(nullptr);
  GError* error = nullptr;
  process_.reset(g_subprocess_newv(argv.data(), G_SUBPROCESS_FLAGS_STDERR_PIPE, &error));
  if (!process_) {
    ADD_FAILURE() << "could not start " << arguments.front() << ": " << error->message;
    g_error_free(error);
    exited_ = true;
    return;
  }
  errors_.reset(g_data_input_stream_new(g_subprocess_get_stderr_pipe(process_.get())));
  readNextLine();
  g_subprocess_wait_async(
      process_.get(), cancellable_.get(),
      [](GObject* source, GAsyncResult* result, gpointer self) {
        if (!g_subprocess_wait_finish(G_SUBPROCESS(source), result, nullptr)) return;
        static_cast<HostProcess*>(self)->exited_ = true;
      },
      this);
}

HostProcess::~HostProcess() {
  if (process_ && !exited_) {
    g_subprocess_force_exit(process_.get());
    loop_.iterateUntil([&] { return exited_; }, std::chrono::seconds(10));
  }
  // Callbacks still pending see the cancellation and leave this object alone.
  g_cancellable_cancel(cancellable_.get());
}

void HostProcess::readNextLine() {
  g_data_input_stream_read_line_async(
      errors_.get(), G_PRIORITY_DEFAULT, cancellable_.get(),
      [](GObject* source, GAsyncResult* result, gpointer self) {
        GError* error = nullptr;
        gchar* line = g_data_input_stream_read_line_finish(G_DATA_INPUT_STREAM(source), result,
                                                           nullptr, &error);
        if (error != nullptr) {
          const bool cancelled = g_error_matches(error, G_IO_ERROR, G_IO_ERROR_CANCELLED);
          g_error_free(error);
          if (cancelled) return;  // the HostProcess may be gone
          static_cast<HostProcess*>(self)->errorsEnded_ = true;
          return;
        }
        auto* host = static_cast<HostProcess*>(self);
        if (line == nullptr) {
          host->errorsEnded_ = true;
          return;
        }
        host->lines_.emplace_back(line);
        g_free(line);
        host->readNextLine();
      },
      this);
}

bool HostProcess::hasLogLine(std::string_view text) const {
  for (const auto& line : lines_) {
    if (line.find(text) != std::string::npos) return true;
  }
  return false;
}

bool HostProcess::waitForLogLine(std::string_view text, std::chrono::milliseconds timeout) {
  return loop_.iterateUntil([&] { return hasLogLine(text) || errorsEnded_; }, timeout) &&
         hasLogLine(text);
}

std::string HostProcess::log() const {
  std::string all;
  for (const auto& line : lines_) all += line + "\n";
  return all;
}

void HostProcess::sendSignal(int signal) {
  if (running()) g_subprocess_send_signal(process_.get(), signal);
}

std::optional<int> HostProcess::waitForExit(std::chrono::milliseconds timeout) {
  if (!process_) return std::nullopt;
  // The log is read to its end too, so that the last lines are there for the test to see.
  if (!loop_.iterateUntil([&] { return exited_ && errorsEnded_; }, timeout)) return std::nullopt;
  if (!g_subprocess_get_if_exited(process_.get())) return std::nullopt;
  return g_subprocess_get_exit_status(process_.get());
}

}  // namespace trovadex::host::testing
