// SortedResults: every message of a search in one order, for `trovadex search --sort`.
//
// The plug-in sorts each delivery of the engine on its own, so a search's messages arrive as a
// series of sorted runs. SortedResults gathers them and orders the whole set the way the plug-in
// orders a delivery: by the sorting attribute, then, for the two file-system dates, by the content
// creation date and the date received; every key in one direction; a message lacking a key comes
// before the others when ascending and after them when descending; equal messages keep their
// arrival order. With a limit it keeps only that many of the best, so memory stays bounded.
// Single-threaded.
#pragma once

#include <cstdint>
#include <optional>
#include <string>
#include <vector>

#include "companion/found_message.hpp"
#include "foundation/value.hpp"

namespace trovadex::companion {

class SortedResults {
 public:
  SortedResults(const std::string& sortingAttribute, bool ascending,
                std::optional<std::uint64_t> limit);

  void add(const std::vector<FoundMessage>& messages);
  // The messages in order, at most the limit; the collection is empty afterwards.
  std::vector<FoundMessage> take();

 private:
  struct Entry {
    std::uint64_t arrival;
    FoundMessage message;
  };
  bool before(const Entry& a, const Entry& b) const;
  void sortAndCut();

  const std::vector<std::string> keys_;
  const bool ascending_;
  const std::optional<std::uint64_t> limit_;
  std::uint64_t arrivals_ = 0;
  std::vector<Entry> entries_;
};

}  // namespace trovadex::companion
