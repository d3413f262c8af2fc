#include "platform/fake/fake_mail_database.hpp"

#include <sqlite3.h>

#include <utility>

namespace trovadex::platform::fake {
namespace {

class Connection final : public MailDatabaseConnection {
 public:
  explicit Connection(sqlite3* db) : db_(db) {}
  sqlite3* sqlDB() override { return db_; }

 private:
  sqlite3* db_;
};

// SQLITE_TRACE_STMT hook: context is the FakeMailDatabase, statement the prepared statement.
// A text starting with "--" marks a trigger, not a statement of the caller's.
int traceStatement(unsigned type, void* context, void* statement, void* text) {
  if (type != SQLITE_TRACE_STMT) return 0;
  const char* comment = static_cast<const char*>(text);
  if (comment != nullptr && comment[0] == '-' && comment[1] == '-') return 0;
  const char* sql = sqlite3_sql(static_cast<sqlite3_stmt*>(statement));
  if (sql != nullptr) static_cast<FakeMailDatabase*>(context)->recordStatement(sql);
  return 0;
}

}  // namespace

FakeMailDatabase::FakeMailDatabase(std::string path) : path_(std::move(path)) {}

FakeMailDatabase::~FakeMailDatabase() {
  std::lock_guard lock(connectionsMutex_);
  for (sqlite3* connection : idleConnections_) sqlite3_close_v2(connection);
}

sqlite3* FakeMailDatabase::takeConnection() {
  {
    std::lock_guard lock(connectionsMutex_);
    if (!idleConnections_.empty()) {
      sqlite3* connection = idleConnections_.back();
      idleConnections_.pop_back();
      return connection;
    }
  }
  sqlite3* connection = nullptr;
  if (sqlite3_open_v2(path_.c_str(), &connection, SQLITE_OPEN_READONLY | SQLITE_OPEN_FULLMUTEX,
                      nullptr) != SQLITE_OK) {
    sqlite3_close_v2(connection);
    return nullptr;
  }
  sqlite3_trace_v2(connection, SQLITE_TRACE_STMT, traceStatement, this);
  return connection;
}

void FakeMailDatabase::returnConnection(sqlite3* connection) {
  std::lock_guard lock(connectionsMutex_);
  idleConnections_.push_back(connection);
}

void FakeMailDatabase::performReadBlock(const ReadBlock& block) {
  if (!respondsToPerformReadBlock()) {
    unsupportedCalls_.fetch_add(1);
    return;
  }
  readBlocks_.fetch_add(1);
  sqlite3* db = takeConnection();
  if (db == nullptr) return;
  Connection connection(db);
  if (block) block(connection);
  returnConnection(db);
}

void FakeMailDatabase::recordStatement(std::string sql) {
  std::lock_guard lock(statementsMutex_);
  statements_.push_back(std::move(sql));
}

std::vector<std::string> FakeMailDatabase::executedStatements() const {
  std::lock_guard lock(statementsMutex_);
  return statements_;
}

void FakeMailDatabase::clearExecutedStatements() {
  std::lock_guard lock(statementsMutex_);
  statements_.clear();
}

}  // namespace trovadex::platform::fake
