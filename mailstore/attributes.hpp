// Message attributes: the searchable item that stands for one stored message.
//
// The item's unique identifier is the library ID in decimal, its domain identifier the mailbox's
// URL, and its attribute set holds what the message, its .emlx properties, its mailbox and its file
// can tell; ATTRIBUTES.md in this folder is the table of every attribute and where it comes from.
// kMDItemPath is left out on purpose: whoever receives a found item resolves the file from the
// library ID. Plain functions: safe from any thread.
#pragma once

#include <cstdint>
#include <filesystem>

#include "foundation/error.hpp"
#include "mailstore/emlx.hpp"
#include "mailstore/message_source.hpp"
#include "mailstore/mime_message.hpp"
#include "platform/searchable_item.hpp"

namespace trovadex::mailstore {

// What the file system says about a message's file. Times are Unix seconds with fractions.
struct MessageFileFacts {
  std::string fileName;
  std::int64_t size = 0;
  std::int64_t allocatedSize = 0;
  double modificationTime = 0;
  double creationTime = 0;          // birth time where the file system keeps one, else modification
  std::int64_t fileIdentifier = 0;  // inode number
  std::int64_t ownerUserID = 0;
  std::int64_t ownerGroupID = 0;
};

foundation::Result<MessageFileFacts> fileFactsFor(const std::filesystem::path& path);

// The item for a message whose parts are already in hand.
platform::SearchableItem searchableItemFor(const MessageSource& source, const EmlxFile& file,
                                           const ParsedMessage& message,
                                           const MessageFileFacts& facts);

// Reads, parses and examines the source's file. Fails when the file cannot be read (FileSystem)
// or holds no message (Unparseable).
foundation::Result<platform::SearchableItem> searchableItemForMessage(const MessageSource& source);

}  // namespace trovadex::mailstore
