#include "mailstore/sqlite_database.hpp"

#include <utility>

#include "mailstore/store_error.hpp"

namespace trovadex::mailstore {
namespace {

// How long a statement waits for another connection (or process) to finish writing.
constexpr int kBusyTimeoutMilliseconds = 10000;

foundation::Error databaseError(sqlite3* database, std::string_view what) {
  std::string text(what);
  text += ": ";
  text += database ? sqlite3_errmsg(database) : "out of memory";
  return storeError(StoreErrorCode::Database, std::move(text));
}

}  // namespace

SqliteStatement::SqliteStatement(SqliteStatement&& other) noexcept
    : database_(std::exchange(other.database_, nullptr)),
      statement_(std::exchange(other.statement_, nullptr)) {}

SqliteStatement& SqliteStatement::operator=(SqliteStatement&& other) noexcept {
  if (this != &other) {
    sqlite3_finalize(statement_);
    database_ = std::exchange(other.database_, nullptr);
    statement_ = std::exchange(other.statement_, nullptr);
  }
  return *this;
}

SqliteStatement::~SqliteStatement() { sqlite3_finalize(statement_); }

SqliteStatement& SqliteStatement::bind(int index, std::int64_t number) {
  sqlite3_bind_int64(statement_, index, number);
  return *this;
}

SqliteStatement& SqliteStatement::bind(int index, std::string_view text) {
  sqlite3_bind_text64(statement_, index, text.data(), text.size(), SQLITE_TRANSIENT, SQLITE_UTF8);
  return *this;
}

SqliteStatement& SqliteStatement::bindBlob(int index, std::string_view bytes) {
  sqlite3_bind_blob64(statement_, index, bytes.data(), bytes.size(), SQLITE_TRANSIENT);
  return *this;
}

SqliteStatement& SqliteStatement::bindNull(int index) {
  sqlite3_bind_null(statement_, index);
  return *this;
}

SqliteStatement& SqliteStatement::bind(int index, const std::optional<std::int64_t>& number) {
  return number ? bind(index, *number) : bindNull(index);
}

foundation::Result<bool> SqliteStatement::step() {
  const int status = sqlite3_step(statement_);
  if (status == SQLITE_ROW) return true;
  if (status == SQLITE_DONE) return false;
  return databaseError(database_, sqlite3_sql(statement_));
}

foundation::Status SqliteStatement::run() {
  for (;;) {
    auto row = step();
    if (!row) {
      sqlite3_reset(statement_);
      return row.error();
    }
    if (!row.value()) break;
  }
  sqlite3_reset(statement_);
  return {};
}

void SqliteStatement::reset() {
  sqlite3_reset(statement_);
  sqlite3_clear_bindings(statement_);
}

std::int64_t SqliteStatement::int64Column(int index) const {
  return sqlite3_column_int64(statement_, index);
}

std::string SqliteStatement::textColumn(int index) const {
  const auto* text = sqlite3_column_text(statement_, index);
  if (!text) return {};
  return std::string(reinterpret_cast<const char*>(text),
                     static_cast<std::size_t>(sqlite3_column_bytes(statement_, index)));
}

bool SqliteStatement::isNullColumn(int index) const {
  return sqlite3_column_type(statement_, index) == SQLITE_NULL;
}

foundation::Result<std::unique_ptr<SqliteDatabase>> SqliteDatabase::open(
    const std::filesystem::path& path, Mode mode) {
  const int flags =
      (mode == Mode::ReadOnly ? SQLITE_OPEN_READONLY : SQLITE_OPEN_READWRITE | SQLITE_OPEN_CREATE) |
      SQLITE_OPEN_NOMUTEX;
  sqlite3* handle = nullptr;
  const int status = sqlite3_open_v2(path.c_str(), &handle, flags, nullptr);
  std::unique_ptr<SqliteDatabase> database(new SqliteDatabase(handle));
  if (status != SQLITE_OK) return databaseError(handle, "cannot open " + path.string());
  sqlite3_busy_timeout(handle, kBusyTimeoutMilliseconds);
  sqlite3_extended_result_codes(handle, 1);
  return database;
}

SqliteDatabase::~SqliteDatabase() { sqlite3_close_v2(database_); }

foundation::Status SqliteDatabase::execute(std::string_view sql) {
  char* message = nullptr;
  const std::string text(sql);
  if (sqlite3_exec(database_, text.c_str(), nullptr, nullptr, &message) != SQLITE_OK) {
    std::string description = text.substr(0, 80) + ": " + (message ? message : "failed");
    sqlite3_free(message);
    return storeError(StoreErrorCode::Database, std::move(description));
  }
  return {};
}

foundation::Result<SqliteStatement> SqliteDatabase::prepare(std::string_view sql) {
  sqlite3_stmt* statement = nullptr;
  if (sqlite3_prepare_v3(database_, sql.data(), static_cast<int>(sql.size()),
                         SQLITE_PREPARE_PERSISTENT, &statement, nullptr) != SQLITE_OK) {
    return databaseError(database_, std::string(sql.substr(0, 80)));
  }
  return SqliteStatement(database_, statement);
}

std::int64_t SqliteDatabase::lastInsertRowID() const {
  return sqlite3_last_insert_rowid(database_);
}

foundation::Error SqliteDatabase::lastError(std::string_view what) const {
  return databaseError(database_, what);
}

}  // namespace trovadex::mailstore
