#include "platform/fake/fake_mail_library.hpp"

#include <sqlite3.h>

#include <cstdio>
#include <cstdlib>
#include <fstream>
#include <system_error>
#include <utility>

namespace trovadex::platform::fake {
namespace {

namespace fs = std::filesystem;

constexpr const char* kSchema =
    "CREATE TABLE mailboxes (ROWID INTEGER PRIMARY KEY, url TEXT);"
    "CREATE TABLE messages (ROWID INTEGER PRIMARY KEY, mailbox INTEGER NOT NULL, subject TEXT);";

// The error domain of the fake's own arranging failures.
constexpr const char* kFakeMailLibraryErrorDomain = "FakeMailLibraryErrorDomain";

foundation::Error sqliteError(sqlite3* db, int code) {
  return foundation::Error{kFakeMailLibraryErrorDomain, code,
                           db != nullptr ? sqlite3_errmsg(db) : sqlite3_errstr(code)};
}

// A message file as the store keeps it: the byte count of the message on the first line, the
// message, then a property list of its flags.
std::string emlxContents(std::int64_t libraryID) {
  const std::string id = std::to_string(libraryID);
  const std::string message =
      "From: sender@example.com\r\nTo: reader@example.com\r\n"
      "Subject: Message " +
      id + "\r\nMessage-ID: <" + id + "@fake.invalid>\r\n\r\nBody of message " + id + ".\r\n";
  return std::to_string(message.size()) + "\n" + message +
         "<?xml version=\"1.0\" encoding=\"UTF-8\"?>\n"
         "<plist version=\"1.0\">\n<dict>\n\t<key>flags</key>\n\t<integer>0</integer>\n"
         "</dict>\n</plist>\n";
}

bool writeFile(const fs::path& path, const std::string& contents) {
  std::error_code error;
  fs::create_directories(path.parent_path(), error);
  std::ofstream out(path, std::ios::binary | std::ios::trunc);
  out << contents;
  return static_cast<bool>(out);
}

}  // namespace

FakeMailLibrary::FakeMailLibrary() {
  const std::string path = databasePath().string();
  int code =
      sqlite3_open_v2(path.c_str(), &writer_,
                      SQLITE_OPEN_READWRITE | SQLITE_OPEN_CREATE | SQLITE_OPEN_FULLMUTEX, nullptr);
  if (code == SQLITE_OK) code = sqlite3_exec(writer_, kSchema, nullptr, nullptr, nullptr);
  if (code != SQLITE_OK) {
    std::fprintf(stderr, "FakeMailLibrary: cannot create %s: %s\n", path.c_str(),
                 sqlite3_errstr(code));
    std::abort();
  }
  database_ = std::make_shared<FakeMailDatabase>(path);
}

FakeMailLibrary::~FakeMailLibrary() {
  database_.reset();
  sqlite3_close_v2(writer_);
}

std::shared_ptr<MailDatabase> FakeMailLibrary::libraryDatabase() {
  if (!respondsToLibraryDatabase()) {
    unsupportedCalls_.fetch_add(1);
    return nullptr;
  }
  return database_;
}

fs::path FakeMailLibrary::messageFilePath(std::int64_t libraryID, std::int64_t mailboxID,
                                          int type) const {
  const char* extension = type == 1 ? ".partial.emlx" : ".emlx";
  return root() / std::to_string(mailboxID) / "Messages" / (std::to_string(libraryID) + extension);
}

std::optional<std::string> FakeMailLibrary::dataPathForMessage(std::int64_t libraryID,
                                                               std::int64_t mailboxID, int type) {
  if (!respondsToDataPathForMessage()) {
    unsupportedCalls_.fetch_add(1);
    return std::nullopt;
  }
  {
    std::lock_guard lock(mutex_);
    dataPathRequests_.push_back(DataPathRequest{libraryID, mailboxID, type});
  }
  if (type != 0 && type != 1) return std::nullopt;
  return messageFilePath(libraryID, mailboxID, type).string();
}

std::shared_ptr<MailMessage> FakeMailLibrary::messageWithLibraryID(std::int64_t libraryID) {
  std::lock_guard lock(mutex_);
  messageRequests_.push_back(libraryID);
  auto found = messagePaths_.find(libraryID);
  if (found == messagePaths_.end()) return nullptr;
  return std::make_shared<FakeMailMessage>(found->second);
}

foundation::Status FakeMailLibrary::addMessage(std::int64_t libraryID, std::int64_t mailboxID,
                                               MessageFiles files) {
  {
    std::lock_guard lock(mutex_);
    sqlite3_stmt* statement = nullptr;
    int code =
        sqlite3_prepare_v2(writer_, "INSERT OR IGNORE INTO mailboxes (ROWID, url) VALUES (?1, ?2)",
                           -1, &statement, nullptr);
    if (code == SQLITE_OK) {
      const std::string url = "fake-mailbox://" + std::to_string(mailboxID);
      sqlite3_bind_int64(statement, 1, mailboxID);
      sqlite3_bind_text(statement, 2, url.c_str(), -1, SQLITE_TRANSIENT);
      code = sqlite3_step(statement) == SQLITE_DONE ? SQLITE_OK : sqlite3_errcode(writer_);
    }
    sqlite3_finalize(statement);
    if (code != SQLITE_OK) return sqliteError(writer_, code);

    statement = nullptr;
    code = sqlite3_prepare_v2(writer_,
                              "INSERT INTO messages (ROWID, mailbox, subject) VALUES (?1, ?2, ?3)",
                              -1, &statement, nullptr);
    if (code == SQLITE_OK) {
      const std::string subject = "Message " + std::to_string(libraryID);
      sqlite3_bind_int64(statement, 1, libraryID);
      sqlite3_bind_int64(statement, 2, mailboxID);
      sqlite3_bind_text(statement, 3, subject.c_str(), -1, SQLITE_TRANSIENT);
      code = sqlite3_step(statement) == SQLITE_DONE ? SQLITE_OK : sqlite3_errcode(writer_);
    }
    sqlite3_finalize(statement);
    if (code != SQLITE_OK) return sqliteError(writer_, code);
  }

  const bool whole = files == MessageFiles::Whole || files == MessageFiles::WholeAndPartial;
  const bool partial = files == MessageFiles::Partial || files == MessageFiles::WholeAndPartial;
  for (auto [wanted, type] : {std::pair{whole, 0}, std::pair{partial, 1}}) {
    if (!wanted) continue;
    const fs::path path = messageFilePath(libraryID, mailboxID, type);
    if (!writeFile(path, emlxContents(libraryID))) {
      return foundation::Error{kFakeMailLibraryErrorDomain, 1, "cannot write " + path.string()};
    }
  }
  return {};
}

void FakeMailLibrary::setMessagePath(std::int64_t libraryID, std::optional<std::string> path) {
  std::lock_guard lock(mutex_);
  messagePaths_.insert_or_assign(libraryID, std::move(path));
}

foundation::Status FakeMailLibrary::executeSql(const std::string& sql) {
  std::lock_guard lock(mutex_);
  int code = sqlite3_exec(writer_, sql.c_str(), nullptr, nullptr, nullptr);
  if (code != SQLITE_OK) return sqliteError(writer_, code);
  return {};
}

std::vector<DataPathRequest> FakeMailLibrary::dataPathRequests() const {
  std::lock_guard lock(mutex_);
  return dataPathRequests_;
}

std::vector<std::int64_t> FakeMailLibrary::messageRequests() const {
  std::lock_guard lock(mutex_);
  return messageRequests_;
}

}  // namespace trovadex::platform::fake
