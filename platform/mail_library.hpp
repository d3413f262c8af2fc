// MailLibrary: the host's message library and its database.
//
// The plug-in resolves a message's library ID (its rowid in the messages table) to the path of
// its .emlx file: by reading the message's mailbox through a read connection and asking the
// library for the data path, or by asking the library for the message object. Optional
// operations are probed with the responds... queries first. Safe from any thread; a read block
// runs synchronously on the calling thread.
#pragma once

#include <cstdint>
#include <functional>
#include <memory>
#include <optional>
#include <string>

struct sqlite3;

namespace trovadex::platform {

class MailDatabaseConnection {
 public:
  virtual ~MailDatabaseConnection();
  // The raw SQLite handle, valid for the length of the read block.
  virtual sqlite3* sqlDB() = 0;
};

class MailDatabase {
 public:
  using ReadBlock = std::function<bool(MailDatabaseConnection& connection)>;
  virtual ~MailDatabase();
  virtual bool respondsToPerformReadBlock() const = 0;
  // Runs block with a read connection and returns when it has finished.
  virtual void performReadBlock(const ReadBlock& block) = 0;
};

class MailMessage {
 public:
  virtual ~MailMessage();
  // The message's file, or nothing.
  virtual std::optional<std::string> path() const = 0;
};

class MailLibrary {
 public:
  virtual ~MailLibrary();
  virtual bool respondsToLibraryDatabase() const = 0;
  virtual std::shared_ptr<MailDatabase> libraryDatabase() = 0;
  virtual bool respondsToDataPathForMessage() const = 0;
  // Where the data of kind type (0: the whole message, 1: the partial message) of a message in a
  // mailbox is kept; empty or nothing when unknown. The file need not exist.
  virtual std::optional<std::string> dataPathForMessage(std::int64_t libraryID,
                                                        std::int64_t mailboxID, int type) = 0;
  // The message with that library ID, or null.
  virtual std::shared_ptr<MailMessage> messageWithLibraryID(std::int64_t libraryID) = 0;
};

// The library class of the host, found by name.
class MailLibraryClass {
 public:
  virtual ~MailLibraryClass();
  virtual std::shared_ptr<MailLibrary> defaultLibrary() = 0;
};

}  // namespace trovadex::platform
