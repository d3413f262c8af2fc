#include "mailstore/message_source.hpp"

#include "mailstore/message_path.hpp"
#include "mailstore/store_error.hpp"

namespace trovadex::mailstore {

foundation::Result<MessageSource> messageSourceFor(Store& store, const StoredMessage& message) {
  if (!message.path) {
    return storeError(StoreErrorCode::NotFound,
                      "message " + std::to_string(message.libraryID) + " has no file");
  }
  auto mailbox = store.mailboxWithID(message.mailboxID);
  if (!mailbox) return mailbox.error();
  return MessageSource{message.libraryID, *message.path, mailbox.value().address};
}

foundation::Result<MessageSource> messageSourceForPath(Store& store,
                                                       const std::filesystem::path& path) {
  const auto location = parseMessagePath(store.v10Folder(), path);
  if (!location) {
    return storeError(StoreErrorCode::NotFound, path.string() + " is no message file of the store");
  }
  auto mailboxes = store.mailboxes();
  if (!mailboxes) return mailboxes.error();
  for (const auto& mailbox : mailboxes.value()) {
    if (mailbox.address.account == location->account &&
        mailbox.address.path() == location->mailboxPath &&
        mailbox.storeFolder.filename() == location->storeUUID) {
      return MessageSource{location->file.libraryID, path, mailbox.address};
    }
  }
  return storeError(StoreErrorCode::NotFound, path.string() + " is in no known mailbox");
}

}  // namespace trovadex::mailstore
