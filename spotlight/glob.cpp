#include "spotlight/glob.hpp"

#include "spotlight/word_segmenter.hpp"

namespace trovadex::spotlight {

Glob::Glob(std::string_view patternText, FoldOptions folding) {
  pieces_.clear();
  while (true) {
    const std::size_t star = patternText.find(kStarMarker);
    pieces_.push_back(foldText(patternText.substr(0, star), folding));
    if (star == std::string_view::npos) break;
    patternText.remove_prefix(star + kStarMarker.size());
  }
}

bool Glob::matches(std::string_view text) const {
  if (pieces_.size() == 1) return text == pieces_.front();
  const std::string& first = pieces_.front();
  const std::string& last = pieces_.back();
  if (text.size() < first.size() + last.size()) return false;
  if (!text.starts_with(first) || !text.ends_with(last)) return false;
  // Between the anchored ends, leftmost placement of each middle piece is always safe.
  std::size_t from = first.size();
  const std::size_t limit = text.size() - last.size();
  for (std::size_t i = 1; i + 1 < pieces_.size(); ++i) {
    const std::string& piece = pieces_[i];
    if (piece.empty()) continue;
    const std::size_t at = text.substr(0, limit).find(piece, from);
    if (at == std::string_view::npos) return false;
    from = at + piece.size();
  }
  return true;
}

std::string Glob::literalText() const {
  std::string out;
  for (const std::string& piece : pieces_) out += piece;
  return out;
}

}  // namespace trovadex::spotlight
