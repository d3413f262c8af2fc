// htmlToText: the readable text of an HTML body, for full-text search of HTML-only mail.
//
// The HTML is read by libxml2's HTML parser, which recovers from the malformed markup real mail is
// full of (stray closing tags, unclosed elements, bad nesting). Text is kept, entities decoded;
// comments and the contents of script and style elements are dropped; block-level elements become
// line breaks and other non-inline elements word breaks, while inline markup (and comments) inside
// a word leave it whole. Runs of white space become one space. It is a reader's approximation, not
// a renderer, and never fails. Safe from any thread.
#pragma once

#include <string>
#include <string_view>

namespace trovadex::mailstore {

// html is UTF-8 (a charset the document itself declares is ignored); the text is UTF-8.
std::string htmlToText(std::string_view html);

}  // namespace trovadex::mailstore
