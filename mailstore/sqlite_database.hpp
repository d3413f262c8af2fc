// SqliteDatabase and SqliteStatement: thin owners of a SQLite connection and a prepared statement.
//
// They exist so that every handle is finalized or closed on every path and every SQLite failure
// becomes a store error (domain TrovadexMailStoreErrorDomain, code Database) carrying SQLite's own
// message. A connection and its statements belong to one thread at a time.
#pragma once

#include <sqlite3.h>

#include <cstdint>
#include <filesystem>
#include <memory>
#include <optional>
#include <string>
#include <string_view>

#include "foundation/error.hpp"

namespace trovadex::mailstore {

class SqliteStatement {
 public:
  SqliteStatement() = default;
  SqliteStatement(SqliteStatement&& other) noexcept;
  SqliteStatement& operator=(SqliteStatement&& other) noexcept;
  SqliteStatement(const SqliteStatement&) = delete;
  SqliteStatement& operator=(const SqliteStatement&) = delete;
  ~SqliteStatement();

  // Parameters count from 1. Text and blobs are copied by SQLite.
  SqliteStatement& bind(int index, std::int64_t number);
  SqliteStatement& bind(int index, std::string_view text);
  SqliteStatement& bindBlob(int index, std::string_view bytes);
  SqliteStatement& bindNull(int index);
  SqliteStatement& bind(int index, const std::optional<std::int64_t>& number);

  // True for a row, false when done; an error for a failure.
  foundation::Result<bool> step();
  // Runs to completion, for statements that return no rows of interest.
  foundation::Status run();
  // Makes the statement ready to run again and clears its bindings.
  void reset();

  std::int64_t int64Column(int index) const;
  std::string textColumn(int index) const;
  bool isNullColumn(int index) const;

 private:
  friend class SqliteDatabase;
  SqliteStatement(sqlite3* database, sqlite3_stmt* statement)
      : database_(database), statement_(statement) {}

  sqlite3* database_ = nullptr;
  sqlite3_stmt* statement_ = nullptr;
};

class SqliteDatabase {
 public:
  enum class Mode { ReadWriteCreate, ReadOnly };

  static foundation::Result<std::unique_ptr<SqliteDatabase>> open(const std::filesystem::path& path,
                                                                  Mode mode);
  SqliteDatabase(const SqliteDatabase&) = delete;
  SqliteDatabase& operator=(const SqliteDatabase&) = delete;
  ~SqliteDatabase();

  sqlite3* handle() const { return database_; }
  // Runs one or more statements that return nothing.
  foundation::Status execute(std::string_view sql);
  foundation::Result<SqliteStatement> prepare(std::string_view sql);
  std::int64_t lastInsertRowID() const;
  // An error of the store's domain with SQLite's latest message for this connection.
  foundation::Error lastError(std::string_view what) const;

 private:
  explicit SqliteDatabase(sqlite3* database) : database_(database) {}
  sqlite3* database_;
};

}  // namespace trovadex::mailstore
