#include "host/progress_line.hpp"

#include <cstdio>

namespace trovadex::host {
namespace {

constexpr std::chrono::seconds kLineInterval{2};

}  // namespace

ProgressLine::ProgressLine(std::string what, std::size_t total)
    : what_(std::move(what)),
      total_(total),
      started_(std::chrono::steady_clock::now()),
      lastLine_(started_) {}

double ProgressLine::rate(std::size_t done) const {
  const double seconds =
      std::chrono::duration<double>(std::chrono::steady_clock::now() - started_).count();
  return seconds > 0 ? static_cast<double>(done) / seconds : 0;
}

void ProgressLine::update(std::size_t done) {
  const auto now = std::chrono::steady_clock::now();
  if (now - lastLine_ < kLineInterval) return;
  lastLine_ = now;
  if (total_ > 0) {
    std::fprintf(stderr, "%s: %zu of %zu (%.0f/s)\n", what_.c_str(), done, total_, rate(done));
  } else {
    std::fprintf(stderr, "%s: %zu (%.0f/s)\n", what_.c_str(), done, rate(done));
  }
}

void ProgressLine::finish(std::size_t done) {
  const double seconds =
      std::chrono::duration<double>(std::chrono::steady_clock::now() - started_).count();
  std::fprintf(stderr, "%s: %zu in %.1f s (%.0f/s)\n", what_.c_str(), done, seconds, rate(done));
}

}  // namespace trovadex::host
