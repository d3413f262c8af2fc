// ReadConnections: a small pool of read-only connections to the Envelope Index.
//
// Each read takes a connection of its own for its length, so reads on different threads run side
// by side and never wait for the store's writer (the database is in WAL mode). Connections are
// opened on demand and kept for reuse. Safe from any thread.
#pragma once

#include <filesystem>
#include <functional>
#include <memory>
#include <mutex>
#include <vector>

#include "foundation/error.hpp"
#include "mailstore/sqlite_database.hpp"

namespace trovadex::mailstore {

class ReadConnections {
 public:
  explicit ReadConnections(std::filesystem::path databasePath);

  // Runs read with a connection and returns when it has finished; fails only when no connection
  // can be opened (then read is not called).
  foundation::Status withConnection(const std::function<void(SqliteDatabase& connection)>& read);

 private:
  const std::filesystem::path databasePath_;  // immutable after construction
  std::mutex idleMutex_;
  std::vector<std::unique_ptr<SqliteDatabase>> idle_;  // guarded by idleMutex_
};

}  // namespace trovadex::mailstore
