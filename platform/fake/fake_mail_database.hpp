// FakeMailDatabase: the library's database, over a real SQLite file, recording what it runs.
//
// performReadBlock takes an idle read-only connection (opening one when none is idle), runs the
// block on the calling thread and gives the connection back, so read blocks on several threads
// at once each get their own. Every connection reports each statement it starts executing to
// the database, which keeps the statements' SQL texts, in order, for the test to check. The
// read-block facility can be taken away. Safe from any thread.
#pragma once

#include <atomic>
#include <cstddef>
#include <mutex>
#include <string>
#include <vector>

#include "platform/mail_library.hpp"

namespace trovadex::platform::fake {

class FakeMailDatabase final : public MailDatabase {
 public:
  explicit FakeMailDatabase(std::string path);
  ~FakeMailDatabase() override;
  FakeMailDatabase(const FakeMailDatabase&) = delete;
  FakeMailDatabase& operator=(const FakeMailDatabase&) = delete;

  bool respondsToPerformReadBlock() const override { return respondsToPerformReadBlock_.load(); }
  // Ignored (and counted as unsupported) while the facility is taken away; the block then does
  // not run. A connection that cannot be opened also leaves the block unrun.
  void performReadBlock(const ReadBlock& block) override;

  void setRespondsToPerformReadBlock(bool responds) { respondsToPerformReadBlock_.store(responds); }

  // The SQL text of every statement that read connections began to execute, oldest first.
  std::vector<std::string> executedStatements() const;
  void clearExecutedStatements();
  std::size_t readBlockCount() const { return readBlocks_.load(); }
  std::size_t unsupportedCallCount() const { return unsupportedCalls_.load(); }

  // Called by the connections' trace hook.
  void recordStatement(std::string sql);

 private:
  sqlite3* takeConnection();
  void returnConnection(sqlite3* connection);

  const std::string path_;  // Immutable after construction.
  std::atomic<bool> respondsToPerformReadBlock_{true};
  std::atomic<std::size_t> readBlocks_{0};
  std::atomic<std::size_t> unsupportedCalls_{0};

  std::mutex connectionsMutex_;
  std::vector<sqlite3*> idleConnections_;  // Guarded by connectionsMutex_.

  mutable std::mutex statementsMutex_;
  std::vector<std::string> statements_;  // Guarded by statementsMutex_.
};

}  // namespace trovadex::platform::fake
