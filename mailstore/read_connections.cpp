#include "mailstore/read_connections.hpp"

namespace trovadex::mailstore {
namespace {

// More idle connections than this are closed rather than kept.
constexpr std::size_t kMaximumIdle = 4;

}  // namespace

ReadConnections::ReadConnections(std::filesystem::path databasePath)
    : databasePath_(std::move(databasePath)) {}

foundation::Status ReadConnections::withConnection(
    const std::function<void(SqliteDatabase& connection)>& read) {
  std::unique_ptr<SqliteDatabase> connection;
  {
    std::lock_guard lock(idleMutex_);
    if (!idle_.empty()) {
      connection = std::move(idle_.back());
      idle_.pop_back();
    }
  }
  if (!connection) {
    auto opened = SqliteDatabase::open(databasePath_, SqliteDatabase::Mode::ReadOnly);
    if (!opened) return opened.error();
    connection = std::move(opened).value();
  }
  read(*connection);
  // A reader that left a statement or a transaction open would pin an old snapshot for whoever
  // reads next; such a connection is closed instead of kept.
  sqlite3* handle = connection->handle();
  if (!sqlite3_get_autocommit(handle) || sqlite3_next_stmt(handle, nullptr) != nullptr) return {};
  std::lock_guard lock(idleMutex_);
  if (idle_.size() < kMaximumIdle) idle_.push_back(std::move(connection));
  return {};
}

}  // namespace trovadex::mailstore
