#include "mailstore/store.hpp"

#include <sys/stat.h>

#include <cmath>
#include <system_error>

#include "mailstore/emlx.hpp"
#include "mailstore/file_io.hpp"
#include "mailstore/message_flags.hpp"
#include "mailstore/message_identity.hpp"
#include "mailstore/mime_message.hpp"
#include "mailstore/partial_message.hpp"
#include "mailstore/store_error.hpp"

namespace trovadex::mailstore {

// A message made ready for storing before the write lock is taken: parsed, converted,
// fingerprinted.
struct Store::PreparedMessage {
  std::string stored;  // the bytes of the .emlx message part (partial or whole)
  std::vector<StrippedPart> strippedParts;
  MessageDataKind kind = MessageDataKind::Whole;
  MessageRecord record;
  foundation::Value::Dictionary properties;  // without the library-dependent entries
};

namespace {

std::string withLineFeeds(std::string_view bytes) {
  std::string converted;
  converted.reserve(bytes.size());
  for (std::size_t at = 0; at < bytes.size(); ++at) {
    if (bytes[at] == '\r' && at + 1 < bytes.size() && bytes[at + 1] == '\n') continue;
    converted += bytes[at];
  }
  return converted;
}

void removeMessageFiles(const std::filesystem::path& storeFolder, std::int64_t libraryID) {
  std::error_code ignored;
  std::filesystem::remove(messageFilePath(storeFolder, libraryID, MessageDataKind::Whole), ignored);
  std::filesystem::remove(messageFilePath(storeFolder, libraryID, MessageDataKind::Partial),
                          ignored);
  std::filesystem::remove_all(attachmentsFolder(storeFolder, libraryID), ignored);
}

bool statFile(const std::filesystem::path& path, struct stat& status) {
  return ::stat(path.c_str(), &status) == 0 && S_ISREG(status.st_mode);
}

}  // namespace

Store::Store(std::filesystem::path libraryFolder, std::unique_ptr<EnvelopeIndex> index,
             std::shared_ptr<const foundation::Clock> clock)
    : libraryFolder_(std::move(libraryFolder)),
      v10Folder_(libraryFolder_ / "Mail" / "V10"),
      clock_(std::move(clock)),
      index_(std::move(index)),
      readConnections_(envelopeIndexPath(v10Folder_)) {}

foundation::Result<std::shared_ptr<Store>> Store::open(
    const std::filesystem::path& libraryFolder, std::shared_ptr<const foundation::Clock> clock) {
  if (!clock) clock = std::make_shared<foundation::SystemClock>();
  const std::filesystem::path v10 = libraryFolder / "Mail" / "V10";
  auto index = EnvelopeIndex::open(envelopeIndexPath(v10));
  if (!index) return index.error();
  return std::shared_ptr<Store>(
      new Store(libraryFolder, std::move(index).value(), std::move(clock)));
}

Mailbox Store::mailboxFromRecord(std::int64_t mailboxID, const MailboxAddress& address,
                                 const std::string& storeUUID) const {
  return Mailbox{mailboxID, address, address.url(), mailboxFolder(v10Folder_, address) / storeUUID};
}

foundation::Result<Mailbox> Store::mailbox(const MailboxAddress& address) {
  const std::string url = address.url();
  foundation::Result<MailboxRecord> record = [&] {
    std::lock_guard lock(writeMutex_);
    return index_->ensureMailbox(url, storeUUIDForURL(url));
  }();
  if (!record) return record.error();
  Mailbox mailbox = mailboxFromRecord(record.value().mailboxID, address, record.value().storeUUID);
  if (auto made = makeFolders(mailbox.storeFolder); !made) return made.error();
  std::lock_guard lock(mailboxesMutex_);
  mailboxesByID_[mailbox.mailboxID] = mailbox;
  return mailbox;
}

foundation::Result<std::vector<Mailbox>> Store::mailboxes() {
  std::vector<Mailbox> found;
  std::optional<foundation::Error> failure;
  auto read = performRead([&](SqliteDatabase& connection) {
    auto select = connection.prepare("SELECT ROWID, url, store_uuid FROM mailboxes ORDER BY ROWID");
    if (!select) {
      failure = select.error();
      return;
    }
    auto& statement = select.value();
    for (;;) {
      auto row = statement.step();
      if (!row) {
        failure = row.error();
        return;
      }
      if (!row.value()) break;
      // A URL this store cannot read was written by someone else; it has no folder to offer.
      auto address = parseMailboxURL(statement.textColumn(1));
      if (!address) continue;
      found.push_back(
          mailboxFromRecord(statement.int64Column(0), address.value(), statement.textColumn(2)));
    }
  });
  if (!read) return read.error();
  if (failure) return *failure;
  std::lock_guard lock(mailboxesMutex_);
  for (const auto& mailbox : found) mailboxesByID_[mailbox.mailboxID] = mailbox;
  return found;
}

foundation::Result<Mailbox> Store::mailboxWithID(std::int64_t mailboxID) {
  {
    std::lock_guard lock(mailboxesMutex_);
    if (const auto known = mailboxesByID_.find(mailboxID); known != mailboxesByID_.end()) {
      return known->second;
    }
  }
  auto all = mailboxes();
  if (!all) return all.error();
  for (const auto& mailbox : all.value()) {
    if (mailbox.mailboxID == mailboxID) return mailbox;
  }
  return storeError(StoreErrorCode::NotFound, "no mailbox " + std::to_string(mailboxID));
}

std::filesystem::path Store::dataPath(const Mailbox& mailbox, std::int64_t libraryID,
                                      MessageDataKind kind) {
  return messageFilePath(mailbox.storeFolder, libraryID, kind);
}

foundation::Result<Store::PreparedMessage> Store::prepare(const NewMessage& message) const {
  PreparedMessage prepared;
  std::string bytes = withLineFeeds(message.bytes);
  auto parsed = parseMessage(bytes, ParseOptions{.bodyText = false, .headers = false});
  if (!parsed) return parsed.error();
  const ParsedMessage& mime = parsed.value();

  MessageRecord& record = prepared.record;
  record.messageIDHash = messageIDHash(mime.messageID);
  std::tie(record.subjectPrefix, record.subject) = splitSubjectPrefix(mime.subject);
  if (!mime.from.empty()) record.sender = mime.from.front();
  const std::pair<RecipientType, const std::vector<MailAddress>*> roles[] = {
      {RecipientType::To, &mime.to},
      {RecipientType::Cc, &mime.cc},
      {RecipientType::Bcc, &mime.bcc}};
  for (const auto& [type, addresses] : roles) {
    for (const auto& address : *addresses) record.recipients.emplace_back(type, address);
  }
  record.dateSent = mime.dateSent;
  // Without a date from the source, the Date field's, else the newest Received field's, else now.
  record.dateReceived =
      message.dateReceived.value_or(mime.dateSent.value_or(mime.dateLastReceived.value_or(
          static_cast<std::int64_t>(std::floor(clock_->now().unixTime())))));
  record.dateLastViewed = message.dateLastViewed;
  std::int64_t flags =
      withAttachmentCount(message.flags, static_cast<std::int64_t>(mime.attachments.size()));
  if (priorityOf(flags) == 0) flags = withPriority(flags, mime.priority.value_or(kNormalPriority));
  record.flags = flags;
  record.size = static_cast<std::int64_t>(bytes.size());
  record.conversationID = conversationIDFor(mime);
  record.remoteID = message.remoteID;
  for (const auto& attachment : mime.attachments) {
    record.attachments.emplace_back(attachment.partNumber, attachment.name);
  }
  record.digest = contentDigest(bytes);

  prepared.properties = {
      {std::string(kEmlxFlagsKey), foundation::Value::integer(record.flags)},
      {std::string(kEmlxDateReceivedKey), foundation::Value::integer(record.dateReceived)},
      {std::string(kEmlxDateLastViewedKey), foundation::Value::integer(record.dateLastViewed)},
      {std::string(kEmlxConversationIDKey), foundation::Value::integer(record.conversationID)},
  };
  if (record.remoteID) {
    prepared.properties.emplace(kEmlxRemoteIDKey, std::to_string(*record.remoteID));
  }

  if (message.kind == MessageDataKind::Partial && !mime.attachments.empty()) {
    auto partial = makePartialMessage(bytes);
    if (!partial) return partial.error();
    if (partial.value()) {
      prepared.kind = MessageDataKind::Partial;
      prepared.stored = std::move(partial.value()->message);
      prepared.strippedParts = std::move(partial.value()->parts);
      return prepared;
    }
  }
  prepared.stored = std::move(bytes);
  return prepared;
}

AddOutcome Store::store(const Mailbox& mailbox, PreparedMessage& message) {
  auto duplicate = index_->findByDigest(message.record.digest);
  if (!duplicate) return {AddResult::Failed, 0, duplicate.error()};
  if (duplicate.value()) return {AddResult::Duplicate, *duplicate.value(), std::nullopt};

  if (auto opened = index_->savepoint(); !opened) return {AddResult::Failed, 0, opened.error()};
  message.record.mailboxID = mailbox.mailboxID;
  auto inserted = index_->insertMessage(message.record);
  foundation::Status status = inserted
                                  ? index_->adjustCounts(mailbox.mailboxID, message.record.flags, 1)
                                  : foundation::Status(inserted.error());
  const std::int64_t libraryID = inserted ? inserted.value() : 0;
  if (status && !message.strippedParts.empty()) {
    status = writeStrippedParts(attachmentsFolder(mailbox.storeFolder, libraryID),
                                message.strippedParts);
  }
  if (status) {
    auto file = encodeEmlx(message.stored, foundation::Value(message.properties));
    status = file ? writeNewFile(dataPath(mailbox, libraryID, message.kind), file.value())
                  : foundation::Status(file.error());
  }
  if (!status) {
    index_->rollbackToSavepoint();
    if (libraryID != 0) removeMessageFiles(mailbox.storeFolder, libraryID);
    return {AddResult::Failed, 0, status.error()};
  }
  if (auto released = index_->releaseSavepoint(); !released) {
    index_->rollbackToSavepoint();
    removeMessageFiles(mailbox.storeFolder, libraryID);
    return {AddResult::Failed, 0, released.error()};
  }
  return {AddResult::Added, libraryID, std::nullopt};
}

foundation::Result<std::vector<AddOutcome>> Store::addMessages(
    const Mailbox& mailbox, std::span<const NewMessage> messages) {
  const std::vector<const Mailbox*> mailboxes(messages.size(), &mailbox);
  return addMessages(mailboxes, messages);
}

foundation::Result<std::vector<AddOutcome>> Store::addMessages(
    std::span<const Mailbox* const> mailboxes, std::span<const NewMessage> messages) {
  if (mailboxes.size() != messages.size()) {
    return storeError(StoreErrorCode::InvalidArgument, "one mailbox per message is needed");
  }
  std::vector<AddOutcome> outcomes(messages.size());
  std::vector<std::optional<PreparedMessage>> prepared(messages.size());
  for (std::size_t index = 0; index < messages.size(); ++index) {
    auto ready = prepare(messages[index]);
    if (ready) {
      prepared[index] = std::move(ready).value();
    } else {
      outcomes[index] = {AddResult::Failed, 0, ready.error()};
    }
  }

  std::lock_guard lock(writeMutex_);
  if (auto begun = index_->begin(); !begun) return begun.error();
  for (std::size_t index = 0; index < messages.size(); ++index) {
    if (prepared[index]) outcomes[index] = store(*mailboxes[index], *prepared[index]);
  }
  if (auto committed = index_->commit(); !committed) {
    index_->rollback();
    for (std::size_t index = 0; index < outcomes.size(); ++index) {
      if (outcomes[index].result == AddResult::Added) {
        removeMessageFiles(mailboxes[index]->storeFolder, outcomes[index].libraryID);
      }
    }
    return committed.error();
  }
  return outcomes;
}

void Store::fillFileState(const Mailbox& mailbox, StoredMessage& message) const {
  for (const auto kind : {MessageDataKind::Whole, MessageDataKind::Partial}) {
    const auto path = dataPath(mailbox, message.libraryID, kind);
    struct stat status {};
    if (!statFile(path, status)) continue;
    message.path = path;
    message.kind = kind;
    message.fileSize = status.st_size;
    message.fileModificationNanoseconds =
        static_cast<std::int64_t>(status.st_mtim.tv_sec) * 1000000000 + status.st_mtim.tv_nsec;
    return;
  }
}

foundation::Status Store::forEachMessage(const std::function<bool(const StoredMessage&)>& visit) {
  auto known = mailboxes();
  if (!known) return known.error();
  std::map<std::int64_t, const Mailbox*> byID;
  for (const auto& mailbox : known.value()) byID[mailbox.mailboxID] = &mailbox;

  std::optional<foundation::Error> failure;
  auto read = performRead([&](SqliteDatabase& connection) {
    auto select = connection.prepare(
        "SELECT ROWID, mailbox, flags, date_received, size FROM messages ORDER BY ROWID");
    if (!select) {
      failure = select.error();
      return;
    }
    auto& statement = select.value();
    for (;;) {
      auto row = statement.step();
      if (!row) {
        failure = row.error();
        return;
      }
      if (!row.value()) return;
      StoredMessage message;
      message.libraryID = statement.int64Column(0);
      message.mailboxID = statement.int64Column(1);
      message.flags = statement.int64Column(2);
      message.dateReceived = statement.int64Column(3);
      message.size = statement.int64Column(4);
      if (const auto mailbox = byID.find(message.mailboxID); mailbox != byID.end()) {
        fillFileState(*mailbox->second, message);
      }
      if (!visit(message)) return;
    }
  });
  if (!read) return read;
  if (failure) return *failure;
  return {};
}

foundation::Result<StoredMessage> Store::message(std::int64_t libraryID) {
  std::optional<StoredMessage> found;
  std::optional<foundation::Error> failure;
  auto read = performRead([&](SqliteDatabase& connection) {
    auto select = connection.prepare(
        "SELECT mailbox, flags, date_received, size FROM messages WHERE ROWID = ?1");
    if (!select) {
      failure = select.error();
      return;
    }
    auto& statement = select.value();
    statement.bind(1, libraryID);
    auto row = statement.step();
    if (!row) {
      failure = row.error();
    } else if (row.value()) {
      found = StoredMessage{libraryID, statement.int64Column(0), statement.int64Column(1),
                            statement.int64Column(2), statement.int64Column(3)};
    }
  });
  if (!read) return read.error();
  if (failure) return *failure;
  if (!found)
    return storeError(StoreErrorCode::NotFound, "no message " + std::to_string(libraryID));
  if (auto mailbox = mailboxWithID(found->mailboxID)) fillFileState(mailbox.value(), *found);
  return *found;
}

foundation::Status Store::deleteMessage(std::int64_t libraryID) {
  auto found = message(libraryID);
  if (!found) return found.error();
  auto mailbox = mailboxWithID(found.value().mailboxID);
  {
    std::lock_guard lock(writeMutex_);
    if (auto begun = index_->begin(); !begun) return begun;
    foundation::Status status = index_->deleteMessage(libraryID);
    if (status) status = index_->adjustCounts(found.value().mailboxID, found.value().flags, -1);
    if (status) status = index_->commit();
    if (!status) {
      index_->rollback();
      return status;
    }
  }
  if (mailbox) removeMessageFiles(mailbox.value().storeFolder, libraryID);
  return {};
}

foundation::Status Store::setFlags(std::int64_t libraryID, std::int64_t flags) {
  auto found = message(libraryID);
  if (!found) return found.error();
  const StoredMessage& stored = found.value();
  if (!stored.path) {
    return storeError(StoreErrorCode::NotFound,
                      "message " + std::to_string(libraryID) + " has no file");
  }
  std::lock_guard lock(writeMutex_);
  auto file = readEmlxFile(*stored.path);
  if (!file) return file.error();
  foundation::Value::Dictionary properties;
  if (const auto* existing = file.value().properties.asDictionary()) properties = *existing;
  properties.insert_or_assign(std::string(kEmlxFlagsKey), foundation::Value::integer(flags));
  auto bytes = encodeEmlx(file.value().message, foundation::Value(std::move(properties)));
  if (!bytes) return bytes.error();

  if (auto begun = index_->begin(); !begun) return begun;
  foundation::Status status = index_->updateFlags(libraryID, flags);
  if (status) status = index_->adjustCounts(stored.mailboxID, stored.flags, -1);
  if (status) status = index_->adjustCounts(stored.mailboxID, flags, 1);
  if (status) status = writeFileAtomically(*stored.path, bytes.value());
  if (status) status = index_->commit();
  if (!status) index_->rollback();
  return status;
}

}  // namespace trovadex::mailstore
