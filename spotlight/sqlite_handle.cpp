#include "spotlight/sqlite_handle.hpp"

namespace trovadex::spotlight {

foundation::Result<std::unique_ptr<Database>> Database::open(const std::string& path) {
  sqlite3* db = nullptr;
  const int flags =
      SQLITE_OPEN_READWRITE | SQLITE_OPEN_CREATE | SQLITE_OPEN_NOMUTEX | SQLITE_OPEN_URI;
  const int rc = sqlite3_open_v2(path.c_str(), &db, flags, nullptr);
  if (rc != SQLITE_OK) {
    foundation::Error error{
        std::string(kIndexErrorDomain), rc,
        "cannot open the index at " + path + ": " + (db ? sqlite3_errmsg(db) : sqlite3_errstr(rc))};
    sqlite3_close(db);
    return error;
  }
  sqlite3_busy_timeout(db, 10000);
  return std::unique_ptr<Database>(new Database(db));
}

Database::~Database() { sqlite3_close(db_); }

foundation::Status Database::execute(std::string_view sql) {
  char* message = nullptr;
  const int rc = sqlite3_exec(db_, std::string(sql).c_str(), nullptr, nullptr, &message);
  if (rc == SQLITE_OK) return {};
  foundation::Error error{std::string(kIndexErrorDomain), rc,
                          std::string(message ? message : sqlite3_errstr(rc))};
  sqlite3_free(message);
  return error;
}

foundation::Error Database::lastError(std::string_view what) const {
  return foundation::Error{std::string(kIndexErrorDomain), sqlite3_extended_errcode(db_),
                           std::string(what) + ": " + sqlite3_errmsg(db_)};
}

Statement::Statement(Database& database, std::string_view sql) : database_(database) {
  if (sqlite3_prepare_v3(database.handle(), sql.data(), static_cast<int>(sql.size()),
                         SQLITE_PREPARE_PERSISTENT, &statement_, nullptr) != SQLITE_OK) {
    statement_ = nullptr;
    failed_ = true;
  }
}

Statement::~Statement() { sqlite3_finalize(statement_); }

Statement& Statement::bind(int index, std::int64_t value) {
  if (statement_) sqlite3_bind_int64(statement_, index, value);
  return *this;
}
Statement& Statement::bind(int index, double value) {
  if (statement_) sqlite3_bind_double(statement_, index, value);
  return *this;
}
Statement& Statement::bind(int index, std::string_view text) {
  if (statement_) {
    sqlite3_bind_text64(statement_, index, text.data(), text.size(), SQLITE_TRANSIENT, SQLITE_UTF8);
  }
  return *this;
}
Statement& Statement::bindBlob(int index, std::string_view bytes) {
  if (statement_) {
    sqlite3_bind_blob64(statement_, index, bytes.empty() ? "" : bytes.data(), bytes.size(),
                        SQLITE_TRANSIENT);
  }
  return *this;
}
Statement& Statement::bindNull(int index) {
  if (statement_) sqlite3_bind_null(statement_, index);
  return *this;
}

bool Statement::step() {
  if (!statement_) return false;
  const int rc = sqlite3_step(statement_);
  if (rc == SQLITE_ROW) return true;
  if (rc != SQLITE_DONE) failed_ = true;
  return false;
}

bool Statement::run() {
  step();
  const bool ok = !failed_;
  reset();
  return ok;
}

void Statement::reset() {
  if (!statement_) return;
  sqlite3_reset(statement_);
  sqlite3_clear_bindings(statement_);
  failed_ = false;
}

std::int64_t Statement::columnInt(int column) const {
  return sqlite3_column_int64(statement_, column);
}
double Statement::columnDouble(int column) const {
  return sqlite3_column_double(statement_, column);
}
std::string_view Statement::columnText(int column) const {
  const auto* text = reinterpret_cast<const char*>(sqlite3_column_text(statement_, column));
  return text ? std::string_view(text,
                                 static_cast<std::size_t>(sqlite3_column_bytes(statement_, column)))
              : std::string_view();
}
std::string_view Statement::columnBlob(int column) const {
  const auto* blob = static_cast<const char*>(sqlite3_column_blob(statement_, column));
  return blob ? std::string_view(blob,
                                 static_cast<std::size_t>(sqlite3_column_bytes(statement_, column)))
              : std::string_view();
}
bool Statement::columnIsNull(int column) const {
  return sqlite3_column_type(statement_, column) == SQLITE_NULL;
}

}  // namespace trovadex::spotlight
