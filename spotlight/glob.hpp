// Glob: a text pattern whose only wildcard is "*" (any run of characters, the empty one too).
//
// A glob is anchored at both ends of the text it is matched against, so "paris*" is begins-with
// and "*paris*" contains. Matching works on UTF-8 bytes, which is exact because every literal
// piece is itself whole UTF-8. Immutable after construction: safe from any thread.
#pragma once

#include <string>
#include <string_view>
#include <vector>

#include "spotlight/text_folding.hpp"

namespace trovadex::spotlight {

class Glob {
 public:
  Glob() = default;
  // patternText marks each wildcard with kStarMarker; every literal piece is folded as asked.
  Glob(std::string_view patternText, FoldOptions folding);

  bool matches(std::string_view text) const;

  // The literal pieces between the stars; there is one more piece than there are stars.
  const std::vector<std::string>& pieces() const { return pieces_; }
  bool hasStar() const { return pieces_.size() > 1; }
  bool leadingStar() const { return hasStar() && pieces_.front().empty(); }
  bool trailingStar() const { return hasStar() && pieces_.back().empty(); }
  // Exactly "*": matches every text.
  bool isAnything() const {
    return pieces_.size() == 2 && pieces_[0].empty() && pieces_[1].empty();
  }
  // The pieces joined, stars left out.
  std::string literalText() const;

 private:
  std::vector<std::string> pieces_{std::string()};
};

}  // namespace trovadex::spotlight
