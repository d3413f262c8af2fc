// Store: the message store of one library folder, laid out as the mail library lays out its own.
//
// <library>/Mail/V10/ holds one folder per account, one <Box>.mbox folder per mailbox with a
// UUID-named store folder inside, one .emlx (or .partial.emlx) file per message, and the
// Envelope Index database in MailData/. A message's library ID is its messages.ROWID and its file
// name; ids are never reused. Adding a message writes its row and its file in one transaction,
// so a reader sees both or neither once the batch is committed.
//
// What an indexer needs: forEachMessage enumerates every stored message with its library ID,
// mailbox, flags and the state of its file (which kind exists, its size and modification time);
// parseMessagePath (message_path.hpp) turns a file event's path back into a library ID. A message
// is changed only by rewriting its file (setFlags), so file size and modification time are its
// modification state.
//
// Safe from any thread: writes are serialised by one lock, reads use connections of their own.
// Several processes may open the same library; SQLite's locking keeps their writes apart.
#pragma once

#include <cstdint>
#include <filesystem>
#include <functional>
#include <map>
#include <memory>
#include <mutex>
#include <optional>
#include <span>
#include <string>
#include <vector>

#include "foundation/clock.hpp"
#include "foundation/error.hpp"
#include "mailstore/envelope_index.hpp"
#include "mailstore/mailbox_url.hpp"
#include "mailstore/message_path.hpp"
#include "mailstore/read_connections.hpp"

namespace trovadex::mailstore {

struct Mailbox {
  std::int64_t mailboxID = 0;
  MailboxAddress address;
  std::string url;
  std::filesystem::path storeFolder;  // <Box>.mbox/<UUID>
};

// A message to add. bytes may use CRLF or LF line endings; the store keeps LF.
struct NewMessage {
  std::string bytes;
  // Flag bits to store. The attachment count is always filled in by the store; the priority is
  // taken from X-Priority (else normal) unless flags already carry one.
  std::int64_t flags = 0;
  // Unix seconds; default: the Date field, else the newest Received field, else now.
  std::optional<std::int64_t> dateReceived;
  std::int64_t dateLastViewed = 0;  // 0: never viewed
  std::optional<std::int64_t> remoteID;
  // Partial keeps the message as .partial.emlx with its attachment bodies beside it; a message
  // without attachments is always kept whole.
  MessageDataKind kind = MessageDataKind::Whole;
};

enum class AddResult { Added, Duplicate, Failed };

struct AddOutcome {
  AddResult result = AddResult::Failed;
  std::int64_t libraryID = 0;              // the new message, or the one it duplicates
  std::optional<foundation::Error> error;  // why it failed
};

// One stored message as an indexer sees it.
struct StoredMessage {
  std::int64_t libraryID = 0;
  std::int64_t mailboxID = 0;
  std::int64_t flags = 0;
  std::int64_t dateReceived = 0;
  std::int64_t size = 0;  // the message's size in bytes
  // The file that exists, whole preferred; nothing when neither does.
  std::optional<std::filesystem::path> path;
  MessageDataKind kind = MessageDataKind::Whole;
  std::int64_t fileSize = 0;
  std::int64_t fileModificationNanoseconds = 0;  // since the Unix epoch
};

class Store {
 public:
  // Opens the store of libraryFolder, creating its folders and database when missing. clock gives
  // the received date of messages that carry none; by default the system clock.
  static foundation::Result<std::shared_ptr<Store>> open(
      const std::filesystem::path& libraryFolder,
      std::shared_ptr<const foundation::Clock> clock = nullptr);

  const std::filesystem::path& libraryFolder() const { return libraryFolder_; }
  const std::filesystem::path& v10Folder() const { return v10Folder_; }
  std::filesystem::path databasePath() const { return envelopeIndexPath(v10Folder_); }

  // The mailbox at that address, created with its folders when it does not exist yet.
  foundation::Result<Mailbox> mailbox(const MailboxAddress& address);
  // The mailbox with that ID; NotFound when there is none.
  foundation::Result<Mailbox> mailboxWithID(std::int64_t mailboxID);
  foundation::Result<std::vector<Mailbox>> mailboxes();

  // Adds the messages to the mailbox in one transaction and reports each one's outcome, in order.
  // A message with the same bytes as one already stored (after line-ending conversion) is not
  // stored again. The whole call fails only when the database cannot commit; then nothing of it
  // is kept.
  foundation::Result<std::vector<AddOutcome>> addMessages(const Mailbox& mailbox,
                                                          std::span<const NewMessage> messages);
  // The same, each message into the mailbox at its position in mailboxes (same length).
  foundation::Result<std::vector<AddOutcome>> addMessages(std::span<const Mailbox* const> mailboxes,
                                                          std::span<const NewMessage> messages);

  // Removes the message's row and files; NotFound when there is no such message.
  foundation::Status deleteMessage(std::int64_t libraryID);

  // Replaces the message's flag word in its file and its row.
  foundation::Status setFlags(std::int64_t libraryID, std::int64_t flags);

  // The message's row and file state; NotFound when there is no such row.
  foundation::Result<StoredMessage> message(std::int64_t libraryID);

  // Calls visit for every stored message in library-ID order until it returns false.
  foundation::Status forEachMessage(const std::function<bool(const StoredMessage&)>& visit);

  // Where the data of that kind of a message in that mailbox is kept (the file need not exist).
  static std::filesystem::path dataPath(const Mailbox& mailbox, std::int64_t libraryID,
                                        MessageDataKind kind);

  // Runs read with a read-only connection to the Envelope Index.
  foundation::Status performRead(const std::function<void(SqliteDatabase& connection)>& read) {
    return readConnections_.withConnection(read);
  }

 private:
  struct PreparedMessage;

  Store(std::filesystem::path libraryFolder, std::unique_ptr<EnvelopeIndex> index,
        std::shared_ptr<const foundation::Clock> clock);
  foundation::Result<PreparedMessage> prepare(const NewMessage& message) const;
  AddOutcome store(const Mailbox& mailbox, PreparedMessage& message);
  Mailbox mailboxFromRecord(std::int64_t mailboxID, const MailboxAddress& address,
                            const std::string& storeUUID) const;
  void fillFileState(const Mailbox& mailbox, StoredMessage& message) const;

  // Immutable after construction.
  const std::filesystem::path libraryFolder_;
  const std::filesystem::path v10Folder_;
  const std::shared_ptr<const foundation::Clock> clock_;

  std::mutex writeMutex_;
  std::unique_ptr<EnvelopeIndex> index_;  // guarded by writeMutex_

  std::mutex mailboxesMutex_;
  std::map<std::int64_t, Mailbox> mailboxesByID_;  // guarded by mailboxesMutex_

  ReadConnections readConnections_;
};

}  // namespace trovadex::mailstore
