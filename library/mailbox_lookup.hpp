// Reading messages' mailboxes from the host's message database: the statement texts and the two
// ways of running them (one statement for a whole batch, or one message).
//
// The readers take the raw handle of a read connection and are called inside a read block; a
// statement that does not prepare or a step that fails simply yields fewer rows. Called on the
// thread that runs the read block.
#pragma once

#include <cstdint>
#include <map>
#include <string>
#include <vector>

struct sqlite3;

namespace trovadex::plugin {

// "SELECT rowid, mailbox FROM messages where rowid in (5,7,9)" for the IDs 5, 7 and 9, in list
// order, duplicates kept. The list must not be empty.
std::string batchMailboxStatement(const std::vector<std::int64_t>& libraryIDs);

// "SELECT rowid, mailbox FROM messages where rowid = 5" for the ID 5.
std::string singleMailboxStatement(std::int64_t libraryID);

// Runs statement and adds every row's mailbox (column 1) under its rowid (column 0) to
// mailboxesByID. A null handle or a statement that does not prepare adds nothing.
void readMailboxes(sqlite3* database, const std::string& statement,
                   std::map<std::int64_t, std::int64_t>& mailboxesByID);

// Runs statement and returns the mailbox (column 1) of its first row only; 0 when there is no
// row, the handle is null or the statement does not prepare.
std::int64_t readFirstMailbox(sqlite3* database, const std::string& statement);

}  // namespace trovadex::plugin
