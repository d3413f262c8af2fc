// DefaultsFile: the host's user defaults, one XML property-list file kept in memory.
//
// Reads and writes never wait on the disk: a writer thread gathers the changes of up to a second
// into one write to a temporary file renamed over the old one, so a crash mid-write leaves the
// previous file whole. shutdown() flushes and joins the writer. Safe from any thread.
#pragma once

#include <chrono>
#include <condition_variable>
#include <cstdint>
#include <memory>
#include <mutex>
#include <string>
#include <thread>

#include "foundation/error.hpp"
#include "foundation/value.hpp"
#include "platform/console.hpp"
#include "platform/user_defaults.hpp"

namespace trovadex::linux_platform {

class DefaultsFile final : public platform::UserDefaults {
 public:
  // $XDG_CONFIG_HOME/trovadex-mailhost/defaults.plist (XDG_CONFIG_HOME defaults to ~/.config).
  static std::string defaultPath();

  // console (may be null) receives a line for each failed read or write. A file that cannot be
  // read is set aside as <path>.unreadable and the store starts empty. Changes reach the file
  // within writeDelay.
  explicit DefaultsFile(std::string path, std::shared_ptr<platform::Console> console,
                        std::chrono::milliseconds writeDelay = std::chrono::seconds(1));
  ~DefaultsFile() override;
  DefaultsFile(const DefaultsFile&) = delete;
  DefaultsFile& operator=(const DefaultsFile&) = delete;

  foundation::Value objectForKey(const std::string& key) const override;
  void setObject(const foundation::Value& value, const std::string& key) override;
  void removeObjectForKey(const std::string& key) override;

  // Writes pending changes now; the file keeps its previous contents when this fails.
  foundation::Status flush();
  // Flushes and stops the writer thread; changes made afterwards wait for the next flush().
  void shutdown();

  const std::string& path() const { return path_; }

 private:
  void load();
  void writerLoop();

  // Immutable after construction.
  const std::string path_;
  const std::shared_ptr<platform::Console> console_;
  const std::chrono::milliseconds writeDelay_;

  mutable std::mutex mutex_;
  std::condition_variable changed_;
  foundation::Value::Dictionary values_;  // Guarded by mutex_.
  bool dirty_ = false;                    // Guarded by mutex_.
  std::uint64_t changes_ = 0;             // Guarded by mutex_.
  bool stopping_ = false;                 // Guarded by mutex_.

  std::mutex writeMutex_;  // Serialises writes, so snapshots land in the order they were taken.
  std::mutex joinMutex_;   // Serialises shutdown().
  std::thread writer_;     // Last: started once everything above exists.
};

}  // namespace trovadex::linux_platform
