// htmlToText: the readable text of an HTML body, for full-text search of HTML-only mail.
//
// Tags are dropped (block-level ones become line breaks), script and style contents are skipped,
// and the common character references are decoded. It is a reader's approximation, not a
// renderer, and never fails. Safe from any thread.
#pragma once

#include <string>
#include <string_view>

namespace trovadex::mailstore {

std::string htmlToText(std::string_view html);

}  // namespace trovadex::mailstore
