// Thin RAII owners of SQLite connections and statements, and the edge where SQLite result codes
// become foundation::Error values.
//
// A Database is one connection; a Statement belongs to the Database that prepared it and must
// not outlive it. Neither is safe to use from two threads at once; each owner keeps its own.
#pragma once

#include <sqlite3.h>

#include <cstdint>
#include <memory>
#include <optional>
#include <string>
#include <string_view>

#include "foundation/error.hpp"

namespace trovadex::spotlight {

// The domain of storage errors raised inside the engine.
inline constexpr std::string_view kIndexErrorDomain = "TrovadexSpotlightIndexErrorDomain";

class Database {
 public:
  static foundation::Result<std::unique_ptr<Database>> open(const std::string& path);
  ~Database();
  Database(const Database&) = delete;
  Database& operator=(const Database&) = delete;

  sqlite3* handle() const { return db_; }
  foundation::Status execute(std::string_view sql);
  foundation::Error lastError(std::string_view what) const;

 private:
  explicit Database(sqlite3* db) : db_(db) {}
  sqlite3* db_;
};

class Statement {
 public:
  Statement(Database& database, std::string_view sql);
  ~Statement();
  Statement(const Statement&) = delete;
  Statement& operator=(const Statement&) = delete;

  bool valid() const { return statement_ != nullptr; }
  Statement& bind(int index, std::int64_t value);
  Statement& bind(int index, double value);
  Statement& bind(int index, std::string_view text);
  Statement& bindBlob(int index, std::string_view bytes);
  Statement& bindNull(int index);

  // Steps once: true when a row is ready, false when done or failed (see failed()).
  bool step();
  bool failed() const { return failed_; }
  // Runs a statement that returns no rows; false on failure.
  bool run();
  void reset();

  std::int64_t columnInt(int column) const;
  double columnDouble(int column) const;
  std::string_view columnText(int column) const;
  std::string_view columnBlob(int column) const;
  bool columnIsNull(int column) const;

 private:
  Database& database_;
  sqlite3_stmt* statement_ = nullptr;
  bool failed_ = false;
};

}  // namespace trovadex::spotlight
