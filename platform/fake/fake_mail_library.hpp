// FakeMailLibrary: a message library over a real SQLite database and real message files in a
// temporary folder.
//
// The database has a `messages` table (ROWID, mailbox, subject) and a `mailboxes` table (ROWID,
// url). A test adds messages, and the fake writes their .emlx files where dataPathForMessage
// says they are: <root>/<mailbox>/Messages/<id>.emlx for type 0 and <id>.partial.emlx for type 1,
// paths it answers whether or not the file exists. messageWithLibraryID answers a message only
// for IDs the test gave a message path (possibly none); adding a message does not. The database,
// its read blocks and the data paths can each be taken away. Safe from any thread.
#pragma once

#include <atomic>
#include <cstddef>
#include <cstdint>
#include <filesystem>
#include <map>
#include <memory>
#include <mutex>
#include <optional>
#include <string>
#include <vector>

#include "foundation/error.hpp"
#include "platform/fake/fake_mail_database.hpp"
#include "platform/fake/temporary_folder.hpp"
#include "platform/mail_library.hpp"

namespace trovadex::platform::fake {

// Which of a message's files addMessage writes.
enum class MessageFiles { None, Whole, Partial, WholeAndPartial };

struct DataPathRequest {
  std::int64_t libraryID = 0;
  std::int64_t mailboxID = 0;
  int type = 0;
  friend bool operator==(const DataPathRequest&, const DataPathRequest&) = default;
};

class FakeMailMessage final : public MailMessage {
 public:
  explicit FakeMailMessage(std::optional<std::string> path) : path_(std::move(path)) {}
  std::optional<std::string> path() const override { return path_; }

 private:
  const std::optional<std::string> path_;  // Immutable after construction.
};

class FakeMailLibrary final : public MailLibrary {
 public:
  FakeMailLibrary();
  ~FakeMailLibrary() override;
  FakeMailLibrary(const FakeMailLibrary&) = delete;
  FakeMailLibrary& operator=(const FakeMailLibrary&) = delete;

  bool respondsToLibraryDatabase() const override { return respondsToLibraryDatabase_.load(); }
  std::shared_ptr<MailDatabase> libraryDatabase() override;
  bool respondsToDataPathForMessage() const override { return respondsToDataPath_.load(); }
  std::optional<std::string> dataPathForMessage(std::int64_t libraryID, std::int64_t mailboxID,
                                                int type) override;
  std::shared_ptr<MailMessage> messageWithLibraryID(std::int64_t libraryID) override;

  // --- Arranging ---
  // Adds the row (and its mailbox) and writes the chosen files. Fails when the row exists.
  foundation::Status addMessage(std::int64_t libraryID, std::int64_t mailboxID,
                                MessageFiles files = MessageFiles::Whole);
  // From now on messageWithLibraryID(libraryID) answers a message with this path (which may be
  // nothing: a message without a file).
  void setMessagePath(std::int64_t libraryID, std::optional<std::string> path);
  // Runs SQL on the library's own writing connection (to break the schema, say).
  foundation::Status executeSql(const std::string& sql);
  // Taking a facility away makes its responds... query answer false; a call made anyway answers
  // null and is counted as unsupported.
  void setRespondsToLibraryDatabase(bool responds) { respondsToLibraryDatabase_.store(responds); }
  void setRespondsToDataPathForMessage(bool responds) { respondsToDataPath_.store(responds); }

  // --- Inspecting ---
  const std::filesystem::path& root() const { return folder_.path(); }
  std::filesystem::path databasePath() const { return root() / "Envelope Index"; }
  // Where type's file of a message lies, whether or not it exists (types 0 and 1).
  std::filesystem::path messageFilePath(std::int64_t libraryID, std::int64_t mailboxID,
                                        int type) const;
  FakeMailDatabase& database() { return *database_; }
  std::vector<DataPathRequest> dataPathRequests() const;
  std::vector<std::int64_t> messageRequests() const;
  std::size_t unsupportedCallCount() const { return unsupportedCalls_.load(); }

 private:
  TemporaryFolder folder_;     // Immutable after construction; declared first, removed last.
  sqlite3* writer_ = nullptr;  // Guarded by mutex_; open for the life of the library.
  std::shared_ptr<FakeMailDatabase> database_;  // Immutable after construction.

  std::atomic<bool> respondsToLibraryDatabase_{true};
  std::atomic<bool> respondsToDataPath_{true};
  std::atomic<std::size_t> unsupportedCalls_{0};

  mutable std::mutex mutex_;
  // Guarded by mutex_.
  std::map<std::int64_t, std::optional<std::string>> messagePaths_;
  std::vector<DataPathRequest> dataPathRequests_;
  std::vector<std::int64_t> messageRequests_;
};

}  // namespace trovadex::platform::fake
