// EnvelopeIndex: the store's SQLite database ("Envelope Index"), its schema and its writes.
//
// Tables carry the names and columns the mail library's own database uses: mailboxes (url is the
// identity), messages (ROWID AUTOINCREMENT is the library ID and the file name), subjects,
// addresses (comment = display name), recipients (type 0 To, 1 Cc, 2 Bcc), attachments
// (attachment_id = MIME part number), message_global_data; plus message_digests, the content
// fingerprints that keep an import from storing a message twice, and properties (schema version).
// Dates are Unix seconds. The database runs in WAL mode, so readers in other connections and
// processes are never blocked by a write.
//
// One EnvelopeIndex is the write connection of a store. It belongs to one thread at a time: the
// Store serialises every call.
#pragma once

#include <cstdint>
#include <filesystem>
#include <map>
#include <memory>
#include <optional>
#include <string>
#include <utility>
#include <vector>

#include "foundation/error.hpp"
#include "mailstore/mime_message.hpp"
#include "mailstore/sqlite_database.hpp"

namespace trovadex::mailstore {

enum class RecipientType { To = 0, Cc = 1, Bcc = 2 };

struct MailboxRecord {
  std::int64_t mailboxID = 0;
  std::string url;
  std::string storeUUID;
};

// One messages row and what hangs off it.
struct MessageRecord {
  std::int64_t mailboxID = 0;
  std::int64_t messageIDHash = 0;
  std::string subjectPrefix;
  std::string subject;
  std::optional<MailAddress> sender;
  std::vector<std::pair<RecipientType, MailAddress>> recipients;
  std::optional<std::int64_t> dateSent;
  std::int64_t dateReceived = 0;
  std::int64_t dateLastViewed = 0;
  std::int64_t flags = 0;
  std::int64_t size = 0;
  std::int64_t conversationID = 0;
  std::optional<std::int64_t> remoteID;
  std::vector<std::pair<std::string, std::string>> attachments;  // part number, name
  std::string digest;
};

class EnvelopeIndex {
 public:
  // Opens or creates the database and its schema.
  static foundation::Result<std::unique_ptr<EnvelopeIndex>> open(const std::filesystem::path& path);

  foundation::Status begin();  // takes the write lock at once (BEGIN IMMEDIATE)
  foundation::Status commit();
  void rollback();
  // Savepoints, so that one message of a batch can be undone alone.
  foundation::Status savepoint();
  foundation::Status releaseSavepoint();
  void rollbackToSavepoint();

  // The mailbox with that URL, created (with storeUUID) when it does not exist yet.
  foundation::Result<MailboxRecord> ensureMailbox(const std::string& url,
                                                  const std::string& storeUUID);

  // The message already stored with these exact bytes, if any.
  foundation::Result<std::optional<std::int64_t>> findByDigest(const std::string& digest);

  // Inserts the row and its recipients, attachments and digest; gives the new library ID.
  foundation::Result<std::int64_t> insertMessage(const MessageRecord& record);

  // Deletes the row and everything that hangs off it; a missing row is not an error.
  foundation::Status deleteMessage(std::int64_t libraryID);

  foundation::Status updateFlags(std::int64_t libraryID, std::int64_t flags);

  // Counts a message with these flags into (direction 1) or out of (-1) its mailbox's totals.
  foundation::Status adjustCounts(std::int64_t mailboxID, std::int64_t flags, int direction);

  // Brings total_count and unread_count of the mailbox in line with its messages.
  foundation::Status recountMailbox(std::int64_t mailboxID);

  SqliteDatabase& database() { return *database_; }

 private:
  explicit EnvelopeIndex(std::unique_ptr<SqliteDatabase> database)
      : database_(std::move(database)) {}
  foundation::Status prepareStatements();
  foundation::Result<std::int64_t> subjectID(const std::string& subject);
  foundation::Result<std::int64_t> addressID(const MailAddress& address);
  foundation::Result<std::int64_t> globalMessageID(std::int64_t messageIDHash);

  // The statements of the write path, prepared once.
  struct Statements {
    SqliteStatement insertSubject, selectSubject, insertAddress, selectAddress;
    SqliteStatement insertGlobal, selectGlobal, insertMessage, insertRecipient;
    SqliteStatement insertAttachment, insertDigest, selectDigest, deleteMessage, updateFlags;
    SqliteStatement insertMailbox, selectMailbox, adjustCounts, recountMailbox;
  };

  std::unique_ptr<SqliteDatabase> database_;
  Statements statements_;
  // Rows known to exist; subjects and addresses are never deleted, so entries stay valid.
  std::map<std::string, std::int64_t, std::less<>> subjectIDs_;
  std::map<std::pair<std::string, std::string>, std::int64_t> addressIDs_;
};

// The database's file inside a V10 folder: MailData/Envelope Index.
std::filesystem::path envelopeIndexPath(const std::filesystem::path& v10Folder);

}  // namespace trovadex::mailstore
