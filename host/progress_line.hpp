// ProgressLine: a long job's progress on standard error, one line at most every few seconds:
// how many items so far, of how many, and the rate.
//
// One thread at a time (the job's).
#pragma once

#include <chrono>
#include <cstddef>
#include <string>

namespace trovadex::host {

class ProgressLine {
 public:
  // total 0: unknown.
  ProgressLine(std::string what, std::size_t total);

  // Prints when enough time has passed since the last line.
  void update(std::size_t done);
  // Prints the closing line: the count, the time taken and the rate.
  void finish(std::size_t done);

 private:
  double rate(std::size_t done) const;

  const std::string what_;
  const std::size_t total_;
  const std::chrono::steady_clock::time_point started_;
  std::chrono::steady_clock::time_point lastLine_;
};

}  // namespace trovadex::host
