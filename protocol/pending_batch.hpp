// PendingBatch: a results batch that was posted and not yet cleared by the companion.
//
// The wire calls it a dictionary of "batchName", "batchNumber" and "pasteboard"; the pasteboard is
// compared by identity, so the entry is a plain struct. Entries live in a query record's
// pendingBatches, which the plug-in's state lock guards.
#pragma once

#include <cstdint>
#include <memory>
#include <string>

#include "platform/pasteboard.hpp"

namespace trovadex::protocol {

struct PendingBatch {
  std::string batchName;
  std::uint64_t batchNumber = 0;
  std::shared_ptr<platform::Pasteboard> pasteboard;
};

}  // namespace trovadex::protocol
