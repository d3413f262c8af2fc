#include "companion/found_message.hpp"

#include "companion/wire_vocabulary.hpp"

namespace trovadex::companion {

using foundation::Value;

std::optional<FoundMessage> FoundMessage::fromRecord(const Value& record) {
  if (!record.isDictionary()) return std::nullopt;
  FoundMessage message;
  message.record = record;
  if (record[key::kAttributes].isDictionary()) message.attributes = record[key::kAttributes];
  if (const std::string* path = stringForKey(record, key::kPath)) message.path = *path;
  if (const Value& id = record[key::kLibraryID]; id.isNumber()) {
    message.libraryID = id.longLongValue();
  }
  if (const Value& index = record[key::kIndex]; index.isNumber()) {
    message.index = index.unsignedLongLongValue();
  }
  return message;
}

std::optional<std::string> FoundMessage::itemIdentifier() const {
  if (!libraryID) return std::nullopt;
  return std::to_string(*libraryID);
}

}  // namespace trovadex::companion
