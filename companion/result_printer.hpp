// ResultPrinter: found and removed messages as `trovadex search` prints them.
//
// table: one row per message (date received, first author, subject, path) under a header
// line; json: one JSON object per line, the message record as the plug-in sent it; paths: one
// .emlx path per line. In live mode additions and removals are told apart: table rows start
// with "+" or "-", removals print as {"removed": ID, ...} in json and "- PATH" in paths. Text in
// table cells is cut to its column and control characters become blanks. Single-threaded: one
// printer per output stream.
#pragma once

#include <ostream>
#include <string>
#include <vector>

#include "companion/cli_arguments.hpp"
#include "companion/found_message.hpp"

namespace trovadex::companion {

class ResultPrinter {
 public:
  ResultPrinter(std::ostream& out, OutputFormat format, bool live);

  void printFound(const std::vector<FoundMessage>& messages);
  // identifiers in removal order; known holds the messages among them that were printed before.
  void printRemoved(const std::vector<std::string>& identifiers,
                    const std::vector<FoundMessage>& known);

 private:
  void printTableHeaderOnce();
  std::string tableRow(const FoundMessage& message) const;

  std::ostream& out_;
  const OutputFormat format_;
  const bool live_;
  bool headerPrinted_ = false;
};

// The text of a table cell: control characters as blanks, cut to width characters (with "…"
// as the last one when cut) and padded with blanks to width.
std::string tableCell(const std::string& text, std::size_t width);

}  // namespace trovadex::companion
