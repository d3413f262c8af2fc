// importMail: brings existing mail into the store.
//
// Accepted sources: mbox files, "Name.mbox" folders (an exported mailbox with an "mbox" file, or a
// folder of .emlx files), Maildir folders with their Maildir++ sub-folders (flags from the ":2,"
// letters), single .eml and .emlx files (flags and dates from the property list), and folders of
// any of these, walked in name order. Without a mailbox name, an mbox goes into the mailbox named
// after its file ("Sent.mbox" -> "Sent"), a Maildir into INBOX with its sub-folders beside it, and
// loose messages into INBOX; with one, everything goes into that mailbox (Maildir sub-folders into
// mailboxes below it).
//
// A message that cannot be parsed, or a source that cannot be read, is reported through the
// problem callback with its path (and its number inside an mbox) and skipped; the rest goes on.
// Messages already in the store (same bytes) are counted as duplicates and not stored again.
// Runs on the calling thread; the callbacks are called on it too.
#pragma once

#include <cstddef>
#include <filesystem>
#include <functional>
#include <optional>
#include <span>
#include <string>

#include "foundation/error.hpp"
#include "mailstore/store.hpp"

namespace trovadex::mailstore {

struct ImportCounts {
  std::size_t added = 0;
  std::size_t duplicates = 0;
  std::size_t failed = 0;  // messages or sources skipped as unreadable
  std::size_t seen() const { return added + duplicates + failed; }
};

struct ImportOptions {
  std::optional<std::string> mailbox;  // a mailbox path ("Archive/2019") or URL
  std::size_t batchSize = 500;         // messages per transaction
  // where: the path (and, inside an mbox, "message N"); error: why it was skipped.
  std::function<void(const std::string& where, const foundation::Error& error)> problem;
  // Called after every stored batch with the counts so far.
  std::function<void(const ImportCounts& counts)> progress;
};

// Fails only when the mailbox name is invalid or the database cannot store a batch; what was
// committed before stays.
foundation::Result<ImportCounts> importMail(Store& store,
                                            std::span<const std::filesystem::path> paths,
                                            const ImportOptions& options);

}  // namespace trovadex::mailstore
