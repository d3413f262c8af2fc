// MessageSource: one stored message as the indexer hands it to attribute extraction.
//
// It names the message (library ID), the file that holds it and the mailbox it is filed in. An
// indexer gets one either from Store::forEachMessage (at start) or from a file event's path (while
// running). Plain values and functions; the functions read the store, which is safe from any
// thread.
#pragma once

#include <cstdint>
#include <filesystem>

#include "foundation/error.hpp"
#include "mailstore/mailbox_url.hpp"
#include "mailstore/store.hpp"

namespace trovadex::mailstore {

struct MessageSource {
  std::int64_t libraryID = 0;
  std::filesystem::path path;  // the .emlx or .partial.emlx file
  MailboxAddress mailbox;
};

// For an enumerated message; NotFound when it has no file or its mailbox is unknown.
foundation::Result<MessageSource> messageSourceFor(Store& store, const StoredMessage& message);

// For the path of a message file inside the store; NotFound when the path is no message file of a
// known mailbox. The message need not have a row yet (its batch may still be committing).
foundation::Result<MessageSource> messageSourceForPath(Store& store,
                                                       const std::filesystem::path& path);

}  // namespace trovadex::mailstore
