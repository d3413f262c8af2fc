#include "companion/progress_line.hpp"

#include <unistd.h>

#include "foundation/format.hpp"

namespace trovadex::companion {

ProgressLine::ProgressLine(std::FILE* stream, bool enabled) : stream_(stream), enabled_(enabled) {}

ProgressLine::~ProgressLine() { erase(); }

bool ProgressLine::isTerminal(std::FILE* stream) { return ::isatty(::fileno(stream)) == 1; }

std::string ProgressLine::text(const SearchSummary& summary) {
  std::string line = foundation::formatString(
      "trovadex: %llu %s, %llu %s, %llu found",
      {summary.resultBatches, summary.resultBatches == 1 ? "batch" : "batches", summary.messages,
       summary.messages == 1 ? "message" : "messages", summary.foundItemCount});
  if (summary.removedMessages > 0) {
    line += foundation::formatString(", %llu removed", {summary.removedMessages});
  }
  return line;
}

void ProgressLine::show(const SearchSummary& summary) {
  if (!enabled_) return;
  std::fprintf(stream_, "\r\033[K%s", text(summary).c_str());
  std::fflush(stream_);
  drawn_ = true;
}

void ProgressLine::erase() {
  if (!drawn_) return;
  std::fputs("\r\033[K", stream_);
  std::fflush(stream_);
  drawn_ = false;
}

}  // namespace trovadex::companion
