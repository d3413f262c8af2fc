#include "library/mailbox_lookup.hpp"

#include <sqlite3.h>

#include "foundation/format.hpp"

namespace trovadex::plugin {

namespace {

constexpr std::string_view kBatchStatementFormat =
    "SELECT rowid, mailbox FROM messages where rowid in (%@)";
constexpr std::string_view kSingleStatementFormat =
    "SELECT rowid, mailbox FROM messages where rowid = %ld";
constexpr std::string_view kIDListElementFormat = ",%lld";

constexpr int kRowIDColumn = 0;
constexpr int kMailboxColumn = 1;

// Owns one prepared statement; null when preparation failed.
class Statement {
 public:
  Statement(sqlite3* database, const std::string& text) {
    if (database) sqlite3_prepare_v2(database, text.c_str(), -1, &statement_, nullptr);
  }
  ~Statement() { sqlite3_finalize(statement_); }
  Statement(const Statement&) = delete;
  Statement& operator=(const Statement&) = delete;

  // True while the next step yields a row; false at the end and on any error.
  bool stepToRow() { return statement_ && sqlite3_step(statement_) == SQLITE_ROW; }
  std::int64_t int64At(int column) { return sqlite3_column_int64(statement_, column); }

 private:
  sqlite3_stmt* statement_ = nullptr;
};

}  // namespace

std::string batchMailboxStatement(const std::vector<std::int64_t>& libraryIDs) {
  std::string idList;
  for (std::int64_t libraryID : libraryIDs) {
    idList += foundation::formatString(kIDListElementFormat, {libraryID});
  }
  if (!idList.empty()) idList.erase(0, 1);  // the leading comma
  return foundation::formatString(kBatchStatementFormat, {idList});
}

std::string singleMailboxStatement(std::int64_t libraryID) {
  return foundation::formatString(kSingleStatementFormat, {libraryID});
}

void readMailboxes(sqlite3* database, const std::string& statement,
                   std::map<std::int64_t, std::int64_t>& mailboxesByID) {
  Statement rows(database, statement);
  while (rows.stepToRow()) {
    mailboxesByID[rows.int64At(kRowIDColumn)] = rows.int64At(kMailboxColumn);
  }
}

std::int64_t readFirstMailbox(sqlite3* database, const std::string& statement) {
  Statement rows(database, statement);
  return rows.stepToRow() ? rows.int64At(kMailboxColumn) : 0;
}

}  // namespace trovadex::plugin
