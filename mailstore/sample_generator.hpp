// generateSampleMail: a deterministic, lived-in sample library of synthetic mail.
//
// The same seed and message count always give the same messages, byte for byte, in the same
// order and with the same library IDs in an empty library: threads with replies, senders drawn
// from a skewed pool with some non-ASCII names, several recipients, attachments (some kept as
// partial messages), flags, ten years of dates, an IMAP-style account and local archive
// mailboxes. Planted words and people occur in exactly the numbers the manifest records. With a
// Maildir folder, the same messages are also written there (Maildir++ sub-folders, flags in the
// file names), so that other tools can be measured on the very same mail.
//
// Runs on the calling thread; the progress callback is called on it too.
#pragma once

#include <cstdint>
#include <filesystem>
#include <functional>
#include <optional>

#include "foundation/error.hpp"
#include "mailstore/sample_manifest.hpp"
#include "mailstore/store.hpp"

namespace trovadex::mailstore {

struct SampleOptions {
  std::uint64_t seed = 1;
  std::size_t messageCount = 0;
  std::optional<std::filesystem::path> maildir;
  std::size_t batchSize = 500;
  std::function<void(std::size_t written)> progress;  // after each stored batch
};

// Fills an empty store and writes the manifest beside it (sampleManifestPath). Fails
// (InvalidArgument) when the store already holds messages, since the manifest's counts would
// then not describe it.
foundation::Result<SampleManifest> generateSampleMail(Store& store, const SampleOptions& options);

}  // namespace trovadex::mailstore
