// FoundMessage: one message record of a results batch, with its well-known fields picked out.
//
// The record is kept whole (it is what the JSON output prints); path, library ID and index are
// read from it once. The item identifier is how removal batches name a message: the store makes
// it from the library ID in decimal. Plain value: safe to copy between threads.
#pragma once

#include <cstdint>
#include <optional>
#include <string>

#include "foundation/value.hpp"

namespace trovadex::companion {

struct FoundMessage {
  foundation::Value record;      // the dictionary as the batch carried it
  foundation::Value attributes;  // its "attributes" dictionary, or nil
  std::optional<std::string> path;
  std::optional<std::int64_t> libraryID;
  std::optional<std::uint64_t> index;

  // The message of a record; nothing when the record is not a dictionary. Fields of the wrong
  // kind read as absent.
  static std::optional<FoundMessage> fromRecord(const foundation::Value& record);

  // The library ID in decimal, the identifier that removal batches use; nothing without one.
  std::optional<std::string> itemIdentifier() const;
  // The attribute under name, or nil.
  const foundation::Value& attribute(std::string_view name) const { return attributes[name]; }
};

}  // namespace trovadex::companion
