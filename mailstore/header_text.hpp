// Header text at GMime's edge: adjacent RFC 2047 encoded words and folding white space.
//
// GMime 3.2 decodes only the first of adjacent base64 encoded words in one charset when the first
// ends in padding, which is how many mailers fold every long subject and name. Before a raw field
// value goes to GMime, joinAdjacentEncodedWords decodes each word of such a run on its own,
// concatenates the bytes (the white space between adjacent encoded words is no text) and writes
// the run as one base64 word in that charset, so that GMime reads the whole text and still does
// the charset conversion. Plain functions: safe from any thread.
#pragma once

#include <string>
#include <string_view>

namespace trovadex::mailstore {

// raw with every run of two or more encoded words in one charset, separated by nothing but white
// space, written as one encoded word; anything else is left byte for byte as it was.
std::string joinAdjacentEncodedWords(std::string_view raw);

// text with each run of white space (folding included) as one space, and none at either end.
std::string collapsedWhiteSpace(std::string_view text);

// Whether text holds a byte outside ASCII.
bool hasEightBitBytes(std::string_view text);

}  // namespace trovadex::mailstore
