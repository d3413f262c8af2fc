#include "mailstore/store_mail_library.hpp"

#include <system_error>

namespace trovadex::mailstore {
namespace {

class StoreConnection final : public platform::MailDatabaseConnection {
 public:
  explicit StoreConnection(SqliteDatabase& database) : database_(database) {}
  sqlite3* sqlDB() override { return database_.handle(); }

 private:
  SqliteDatabase& database_;
};

class StoreDatabase final : public platform::MailDatabase {
 public:
  explicit StoreDatabase(std::shared_ptr<Store> store) : store_(std::move(store)) {}
  bool respondsToPerformReadBlock() const override { return true; }
  // A database that cannot be opened runs no block, which a caller sees as nothing read.
  void performReadBlock(const ReadBlock& block) override {
    (void)store_->performRead([&](SqliteDatabase& database) {
      StoreConnection connection(database);
      block(connection);
    });
  }

 private:
  const std::shared_ptr<Store> store_;
};

class StoreMessage final : public platform::MailMessage {
 public:
  explicit StoreMessage(std::optional<std::string> path) : path_(std::move(path)) {}
  std::optional<std::string> path() const override { return path_; }

 private:
  const std::optional<std::string> path_;
};

}  // namespace

StoreMailLibrary::StoreMailLibrary(std::shared_ptr<Store> store)
    : store_(std::move(store)), database_(std::make_shared<StoreDatabase>(store_)) {}

std::shared_ptr<platform::MailDatabase> StoreMailLibrary::libraryDatabase() { return database_; }

std::optional<std::string> StoreMailLibrary::dataPathForMessage(std::int64_t libraryID,
                                                                std::int64_t mailboxID, int type) {
  if (libraryID <= 0 || (type != 0 && type != 1)) return std::nullopt;
  auto mailbox = store_->mailboxWithID(mailboxID);
  if (!mailbox) return std::nullopt;
  return Store::dataPath(mailbox.value(), libraryID, static_cast<MessageDataKind>(type)).string();
}

std::shared_ptr<platform::MailMessage> StoreMailLibrary::messageWithLibraryID(
    std::int64_t libraryID) {
  auto found = store_->message(libraryID);
  if (!found) return nullptr;
  std::optional<std::string> path;
  if (found.value().path) path = found.value().path->string();
  return std::make_shared<StoreMessage>(std::move(path));
}

}  // namespace trovadex::mailstore
