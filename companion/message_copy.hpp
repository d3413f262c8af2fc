// An openable copy of a found message: the RFC 822 bytes of its .emlx file as a plain .eml
// file, which mail programs and the desktop's handler for message/rfc822 open.
//
// The copy is named after the message file (42.emlx and 42.partial.emlx give 42.eml) and written
// atomically into a private folder of the user's cache, replacing an older copy. A file that is
// not an .emlx file is its own copy. Plain functions: safe from any thread.
#pragma once

#include <string>

#include "foundation/error.hpp"

namespace trovadex::companion {

// $XDG_CACHE_HOME/trovadex/messages (~/.cache/trovadex/messages).
std::string defaultMessageCopyFolder();

// The path of an openable copy of the message at messagePath, written into folder (made when
// missing); fails when the message cannot be read or the copy cannot be written.
foundation::Result<std::string> writeOpenableCopy(const std::string& messagePath,
                                                  const std::string& folder);

}  // namespace trovadex::companion
