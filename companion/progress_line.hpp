// ProgressLine: the one-line progress report of a running search on a terminal.
//
// "trovadex: 3 batches, 2250 messages, 4100 found" is redrawn in place (carriage return, erase
// line) as batches arrive, and erased before results are printed on the same terminal and at
// the end. When the stream is not a terminal the line is never drawn, so redirected output holds
// results only. Single-threaded.
#pragma once

#include <cstdio>
#include <string>

#include "companion/search_request.hpp"

namespace trovadex::companion {

class ProgressLine {
 public:
  // enabled is whether to draw at all (normally: stream is a terminal).
  ProgressLine(std::FILE* stream, bool enabled);
  ~ProgressLine();
  ProgressLine(const ProgressLine&) = delete;
  ProgressLine& operator=(const ProgressLine&) = delete;

  static bool isTerminal(std::FILE* stream);

  void show(const SearchSummary& summary);
  // Erases the line, when one is drawn.
  void erase();

  // The text drawn for a summary.
  static std::string text(const SearchSummary& summary);

 private:
  std::FILE* const stream_;
  const bool enabled_;
  bool drawn_ = false;
};

}  // namespace trovadex::companion
