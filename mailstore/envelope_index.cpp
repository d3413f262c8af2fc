#include "mailstore/envelope_index.hpp"

#include "mailstore/file_io.hpp"
#include "mailstore/message_flags.hpp"

namespace trovadex::mailstore {
namespace {

constexpr std::string_view kSchemaVersion = "1";

constexpr std::string_view kConnectionSettings = R"sql(
PRAGMA journal_mode = WAL;
PRAGMA synchronous = NORMAL;
PRAGMA foreign_keys = ON;
PRAGMA temp_store = MEMORY;
PRAGMA cache_size = -16384;
)sql";

constexpr std::string_view kSchema = R"sql(
CREATE TABLE IF NOT EXISTS properties (
  ROWID INTEGER PRIMARY KEY, key TEXT NOT NULL UNIQUE, value);
CREATE TABLE IF NOT EXISTS mailboxes (
  ROWID INTEGER PRIMARY KEY, url TEXT NOT NULL UNIQUE,
  total_count INTEGER NOT NULL DEFAULT 0, unread_count INTEGER NOT NULL DEFAULT 0,
  deleted_count INTEGER NOT NULL DEFAULT 0, unseen_count INTEGER NOT NULL DEFAULT 0,
  change_identifier TEXT, source INTEGER, alleged_change_identifier TEXT,
  store_uuid TEXT NOT NULL);
CREATE TABLE IF NOT EXISTS subjects (
  ROWID INTEGER PRIMARY KEY, subject TEXT NOT NULL UNIQUE);
CREATE TABLE IF NOT EXISTS addresses (
  ROWID INTEGER PRIMARY KEY, address TEXT NOT NULL, comment TEXT NOT NULL,
  UNIQUE(address, comment));
CREATE TABLE IF NOT EXISTS message_global_data (
  ROWID INTEGER PRIMARY KEY, message_id INTEGER NOT NULL UNIQUE);
CREATE TABLE IF NOT EXISTS messages (
  ROWID INTEGER PRIMARY KEY AUTOINCREMENT,
  message_id INTEGER NOT NULL DEFAULT 0,
  global_message_id INTEGER NOT NULL,
  remote_id INTEGER, document_id TEXT,
  sender INTEGER, subject_prefix TEXT, subject INTEGER NOT NULL, summary INTEGER,
  date_sent INTEGER, date_received INTEGER,
  mailbox INTEGER NOT NULL REFERENCES mailboxes(ROWID) ON DELETE CASCADE,
  remote_mailbox INTEGER,
  flags INTEGER NOT NULL DEFAULT 0, read INTEGER NOT NULL DEFAULT 0,
  flagged INTEGER NOT NULL DEFAULT 0, deleted INTEGER NOT NULL DEFAULT 0,
  size INTEGER NOT NULL DEFAULT 0, conversation_id INTEGER NOT NULL DEFAULT 0,
  date_last_viewed INTEGER, color TEXT, type INTEGER, flag_color INTEGER,
  is_urgent INTEGER NOT NULL DEFAULT 0);
CREATE INDEX IF NOT EXISTS messages_mailbox_date_received ON messages(mailbox, date_received);
CREATE INDEX IF NOT EXISTS messages_message_id ON messages(message_id);
CREATE INDEX IF NOT EXISTS messages_conversation_id ON messages(conversation_id);
CREATE TABLE IF NOT EXISTS recipients (
  ROWID INTEGER PRIMARY KEY,
  message INTEGER NOT NULL REFERENCES messages(ROWID) ON DELETE CASCADE,
  address INTEGER NOT NULL, type INTEGER, position INTEGER);
CREATE INDEX IF NOT EXISTS recipients_message ON recipients(message);
CREATE INDEX IF NOT EXISTS recipients_address ON recipients(address);
CREATE TABLE IF NOT EXISTS attachments (
  ROWID INTEGER PRIMARY KEY,
  message INTEGER NOT NULL REFERENCES messages(ROWID) ON DELETE CASCADE,
  attachment_id TEXT, name TEXT, UNIQUE(message, attachment_id));
CREATE TABLE IF NOT EXISTS message_digests (
  message INTEGER PRIMARY KEY REFERENCES messages(ROWID) ON DELETE CASCADE,
  digest BLOB NOT NULL);
CREATE INDEX IF NOT EXISTS message_digests_digest ON message_digests(digest);
)sql";

}  // namespace

std::filesystem::path envelopeIndexPath(const std::filesystem::path& v10Folder) {
  return v10Folder / "MailData" / "Envelope Index";
}

foundation::Result<std::unique_ptr<EnvelopeIndex>> EnvelopeIndex::open(
    const std::filesystem::path& path) {
  if (auto made = makeFolders(path.parent_path()); !made) return made.error();
  auto database = SqliteDatabase::open(path, SqliteDatabase::Mode::ReadWriteCreate);
  if (!database) return database.error();
  std::unique_ptr<EnvelopeIndex> index(new EnvelopeIndex(std::move(database).value()));
  if (auto set = index->database_->execute(kConnectionSettings); !set) return set.error();
  if (auto begun = index->begin(); !begun) return begun.error();
  if (auto made = index->database_->execute(kSchema); !made) {
    index->rollback();
    return made.error();
  }
  const std::string version =
      "INSERT OR IGNORE INTO properties(key, value) VALUES "
      "('schema-version', '" +
      std::string(kSchemaVersion) + "')";
  if (auto stored = index->database_->execute(version); !stored) {
    index->rollback();
    return stored.error();
  }
  if (auto committed = index->commit(); !committed) return committed.error();
  if (auto prepared = index->prepareStatements(); !prepared) return prepared.error();
  return index;
}

foundation::Status EnvelopeIndex::prepareStatements() {
  const std::pair<SqliteStatement Statements::*, std::string_view> texts[] = {
      {&Statements::insertSubject, "INSERT OR IGNORE INTO subjects(subject) VALUES (?1)"},
      {&Statements::selectSubject, "SELECT ROWID FROM subjects WHERE subject = ?1"},
      {&Statements::insertAddress,
       "INSERT OR IGNORE INTO addresses(address, comment) VALUES (?1, ?2)"},
      {&Statements::selectAddress,
       "SELECT ROWID FROM addresses WHERE address = ?1 AND comment = ?2"},
      {&Statements::insertGlobal,
       "INSERT OR IGNORE INTO message_global_data(message_id) VALUES (?1)"},
      {&Statements::selectGlobal, "SELECT ROWID FROM message_global_data WHERE message_id = ?1"},
      {&Statements::insertMessage,
       "INSERT INTO messages(message_id, global_message_id, remote_id, sender, subject_prefix, "
       "subject, date_sent, date_received, mailbox, flags, read, flagged, deleted, size, "
       "conversation_id, date_last_viewed) "
       "VALUES (?1, ?2, ?3, ?4, ?5, ?6, ?7, ?8, ?9, ?10, ?11, ?12, ?13, ?14, ?15, ?16)"},
      {&Statements::insertRecipient,
       "INSERT INTO recipients(message, address, type, position) VALUES (?1, ?2, ?3, ?4)"},
      {&Statements::insertAttachment,
       "INSERT OR IGNORE INTO attachments(message, attachment_id, name) VALUES (?1, ?2, ?3)"},
      {&Statements::insertDigest, "INSERT INTO message_digests(message, digest) VALUES (?1, ?2)"},
      {&Statements::selectDigest, "SELECT message FROM message_digests WHERE digest = ?1"},
      {&Statements::deleteMessage, "DELETE FROM messages WHERE ROWID = ?1"},
      {&Statements::updateFlags,
       "UPDATE messages SET flags = ?2, read = ?3, flagged = ?4, deleted = ?5 WHERE ROWID = ?1"},
      {&Statements::insertMailbox,
       "INSERT OR IGNORE INTO mailboxes(url, store_uuid) VALUES (?1, ?2)"},
      {&Statements::selectMailbox, "SELECT ROWID, store_uuid FROM mailboxes WHERE url = ?1"},
      {&Statements::adjustCounts,
       "UPDATE mailboxes SET total_count = total_count + ?2, unread_count = unread_count + ?3, "
       "deleted_count = deleted_count + ?4 WHERE ROWID = ?1"},
      {&Statements::recountMailbox,
       "UPDATE mailboxes SET "
       "total_count = (SELECT count(*) FROM messages WHERE mailbox = ?1), "
       "unread_count = (SELECT count(*) FROM messages WHERE mailbox = ?1 AND read = 0), "
       "deleted_count = (SELECT count(*) FROM messages WHERE mailbox = ?1 AND deleted = 1) "
       "WHERE ROWID = ?1"},
  };
  for (const auto& [member, text] : texts) {
    auto prepared = database_->prepare(text);
    if (!prepared) return prepared.error();
    statements_.*member = std::move(prepared).value();
  }
  return {};
}

foundation::Status EnvelopeIndex::begin() { return database_->execute("BEGIN IMMEDIATE"); }
foundation::Status EnvelopeIndex::commit() { return database_->execute("COMMIT"); }
void EnvelopeIndex::rollback() { (void)database_->execute("ROLLBACK"); }
foundation::Status EnvelopeIndex::savepoint() { return database_->execute("SAVEPOINT message"); }
foundation::Status EnvelopeIndex::releaseSavepoint() {
  return database_->execute("RELEASE message");
}
void EnvelopeIndex::rollbackToSavepoint() {
  (void)database_->execute("ROLLBACK TO message");
  (void)database_->execute("RELEASE message");
}

foundation::Result<MailboxRecord> EnvelopeIndex::ensureMailbox(const std::string& url,
                                                               const std::string& storeUUID) {
  auto& insert = statements_.insertMailbox;
  insert.bind(1, url).bind(2, storeUUID);
  auto inserted = insert.run();
  insert.reset();
  if (!inserted) return inserted.error();
  auto& select = statements_.selectMailbox;
  select.bind(1, url);
  auto row = select.step();
  MailboxRecord record;
  if (row && row.value()) {
    record = {select.int64Column(0), url, select.textColumn(1)};
  }
  select.reset();
  if (!row) return row.error();
  if (record.mailboxID == 0) return database_->lastError("mailbox row missing after insert");
  return record;
}

foundation::Result<std::optional<std::int64_t>> EnvelopeIndex::findByDigest(
    const std::string& digest) {
  auto& select = statements_.selectDigest;
  select.bindBlob(1, digest);
  auto row = select.step();
  std::optional<std::int64_t> found;
  if (row && row.value()) found = select.int64Column(0);
  select.reset();
  if (!row) return row.error();
  return found;
}

namespace {

// INSERT OR IGNORE, then SELECT: the row's id whether it was new or not.
template <typename Bind>
foundation::Result<std::int64_t> upsertRow(SqliteStatement& insert, SqliteStatement& select,
                                           const Bind& bind) {
  bind(insert);
  if (auto inserted = insert.run(); !inserted) return inserted.error();
  insert.reset();
  bind(select);
  auto row = select.step();
  std::int64_t id = 0;
  if (row && row.value()) id = select.int64Column(0);
  select.reset();
  if (!row) return row.error();
  return id;
}

}  // namespace

foundation::Result<std::int64_t> EnvelopeIndex::subjectID(const std::string& subject) {
  if (const auto known = subjectIDs_.find(subject); known != subjectIDs_.end()) {
    return known->second;
  }
  auto id = upsertRow(statements_.insertSubject, statements_.selectSubject,
                      [&](SqliteStatement& s) { s.bind(1, subject); });
  if (id) subjectIDs_.emplace(subject, id.value());
  return id;
}

foundation::Result<std::int64_t> EnvelopeIndex::addressID(const MailAddress& address) {
  auto key = std::make_pair(address.address, address.name);
  if (const auto known = addressIDs_.find(key); known != addressIDs_.end()) return known->second;
  auto id =
      upsertRow(statements_.insertAddress, statements_.selectAddress,
                [&](SqliteStatement& s) { s.bind(1, address.address).bind(2, address.name); });
  if (id) addressIDs_.emplace(std::move(key), id.value());
  return id;
}

foundation::Result<std::int64_t> EnvelopeIndex::globalMessageID(std::int64_t messageIDHash) {
  return upsertRow(statements_.insertGlobal, statements_.selectGlobal,
                   [&](SqliteStatement& s) { s.bind(1, messageIDHash); });
}

foundation::Result<std::int64_t> EnvelopeIndex::insertMessage(const MessageRecord& record) {
  auto subject = subjectID(record.subject);
  if (!subject) return subject.error();
  auto global = globalMessageID(record.messageIDHash);
  if (!global) return global.error();
  std::optional<std::int64_t> sender;
  if (record.sender) {
    auto id = addressID(*record.sender);
    if (!id) return id.error();
    sender = id.value();
  }

  auto& insert = statements_.insertMessage;
  insert.bind(1, record.messageIDHash)
      .bind(2, global.value())
      .bind(3, record.remoteID)
      .bind(4, sender)
      .bind(5, std::string_view(record.subjectPrefix))
      .bind(6, subject.value())
      .bind(7, record.dateSent)
      .bind(8, record.dateReceived)
      .bind(9, record.mailboxID)
      .bind(10, record.flags)
      .bind(11, std::int64_t{hasFlag(record.flags, kFlagRead)})
      .bind(12, std::int64_t{hasFlag(record.flags, kFlagFlagged)})
      .bind(13, std::int64_t{hasFlag(record.flags, kFlagDeleted)})
      .bind(14, record.size)
      .bind(15, record.conversationID)
      .bind(16, record.dateLastViewed);
  auto inserted = insert.run();
  insert.reset();
  if (!inserted) return inserted.error();
  const std::int64_t libraryID = database_->lastInsertRowID();

  std::int64_t position = 0;
  for (const auto& [type, address] : record.recipients) {
    auto id = addressID(address);
    if (!id) return id.error();
    auto& add = statements_.insertRecipient;
    add.bind(1, libraryID)
        .bind(2, id.value())
        .bind(3, static_cast<std::int64_t>(type))
        .bind(4, position++);
    auto added = add.run();
    add.reset();
    if (!added) return added.error();
  }
  for (const auto& [partNumber, name] : record.attachments) {
    auto& add = statements_.insertAttachment;
    add.bind(1, libraryID).bind(2, partNumber).bind(3, name);
    auto added = add.run();
    add.reset();
    if (!added) return added.error();
  }
  auto& digest = statements_.insertDigest;
  digest.bind(1, libraryID).bindBlob(2, record.digest);
  auto added = digest.run();
  digest.reset();
  if (!added) return added.error();
  return libraryID;
}

foundation::Status EnvelopeIndex::deleteMessage(std::int64_t libraryID) {
  auto& remove = statements_.deleteMessage;
  remove.bind(1, libraryID);
  auto removed = remove.run();
  remove.reset();
  return removed;
}

foundation::Status EnvelopeIndex::updateFlags(std::int64_t libraryID, std::int64_t flags) {
  auto& update = statements_.updateFlags;
  update.bind(1, libraryID)
      .bind(2, flags)
      .bind(3, std::int64_t{hasFlag(flags, kFlagRead)})
      .bind(4, std::int64_t{hasFlag(flags, kFlagFlagged)})
      .bind(5, std::int64_t{hasFlag(flags, kFlagDeleted)});
  auto updated = update.run();
  update.reset();
  return updated;
}

foundation::Status EnvelopeIndex::adjustCounts(std::int64_t mailboxID, std::int64_t flags,
                                               int direction) {
  auto& adjust = statements_.adjustCounts;
  adjust.bind(1, mailboxID)
      .bind(2, std::int64_t{direction})
      .bind(3, std::int64_t{hasFlag(flags, kFlagRead) ? 0 : direction})
      .bind(4, std::int64_t{hasFlag(flags, kFlagDeleted) ? direction : 0});
  auto adjusted = adjust.run();
  adjust.reset();
  return adjusted;
}

foundation::Status EnvelopeIndex::recountMailbox(std::int64_t mailboxID) {
  auto& recount = statements_.recountMailbox;
  recount.bind(1, mailboxID);
  auto counted = recount.run();
  recount.reset();
  return counted;
}

}  // namespace trovadex::mailstore
