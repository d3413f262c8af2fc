// MessageRecord as it travels in a ResultsBatch payload.
#include "plugin/td_mail_plugin.hpp"

#include "library/message_record_keys.hpp"

namespace trovadex::plugin {

using foundation::Value;

Value MessageRecord::toValue() const& { return MessageRecord(*this).toValue(); }

Value MessageRecord::toValue() && {
  Value::Dictionary record{{std::string(kMessageAttributesKey), Value(std::move(attributes))}};
  if (path) record.emplace(kMDItemPath, Value(*path));
  if (libraryID) record.emplace(kMessageLibraryIDKey, Value::integer(*libraryID));
  if (index) record.emplace(kMessageIndexKey, Value::unsignedInteger(*index));
  return Value(std::move(record));
}

}  // namespace trovadex::plugin
