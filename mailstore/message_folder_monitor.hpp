// MessageFolderMonitor: watches the folders of a message store, recursively, with GIO, and
// reports the message files that changed and the folders that went away.
//
// Construct, start, use and destroy on one thread: the events are delivered to the
// thread-default main context of that thread at start(), and the handlers run there.
#pragma once

#include <gio/gio.h>

#include <cstddef>
#include <filesystem>
#include <functional>
#include <map>
#include <memory>
#include <set>
#include <vector>

#include "platform/console.hpp"

namespace trovadex::mailstore {

// GIO watches one folder at a time, so the monitor keeps one watch per folder below the root and
// follows the tree as it grows: a folder that appears is watched at once and every file already
// in it is reported, since it may have been filled before the watch began. Each file event
// (changed, deleted, moved in or out, renamed: both names) reports the file's path; a file
// created in place is reported when its writer has finished with it, not while it is half
// written; a watched folder that disappears is reported as gone, because the files it held are
// not reported one by one when a folder is moved away. Folders named MailData (the databases)
// and Attachments, and hidden ones, are not watched.
class MessageFolderMonitor {
 public:
  struct Handlers {
    std::function<void(const std::filesystem::path& file)> fileChanged;
    std::function<void(const std::filesystem::path& folder)> folderGone;
  };

  MessageFolderMonitor(std::filesystem::path root, Handlers handlers,
                       std::shared_ptr<platform::Console> console);
  ~MessageFolderMonitor();
  MessageFolderMonitor(const MessageFolderMonitor&) = delete;
  MessageFolderMonitor& operator=(const MessageFolderMonitor&) = delete;

  // Watches the root and every folder below it; files already there are not reported.
  void start();
  std::size_t watchedFolders() const { return monitors_.size(); }

  // Frees the watches of folders that went away. A watch may not be freed inside its own event,
  // so the owner calls this from outside any event.
  void releaseRetiredWatches() { retired_.clear(); }

 private:
  struct MonitorUnref {
    void operator()(GFileMonitor* monitor) const;
  };
  using MonitorPtr = std::unique_ptr<GFileMonitor, MonitorUnref>;

  static void onEvent(GFileMonitor* monitor, GFile* file, GFile* other, GFileMonitorEvent event,
                      gpointer self);
  void handle(GFile* file, GFile* other, GFileMonitorEvent event);
  void appeared(const std::filesystem::path& path);
  void disappeared(const std::filesystem::path& path);
  void watchTree(const std::filesystem::path& folder, bool reportFiles);
  void unwatchTree(const std::filesystem::path& folder);

  // Immutable after construction.
  const std::filesystem::path root_;
  const Handlers handlers_;
  const std::shared_ptr<platform::Console> console_;

  // The monitor's thread only.
  std::map<std::filesystem::path, MonitorPtr> monitors_;
  std::vector<MonitorPtr> retired_;
  std::set<std::filesystem::path> filesBeingWritten_;  // created, not yet reported done
};

// Whether the monitor leaves a folder of this name alone.
bool isUnwatchedFolderName(const std::string& name);

}  // namespace trovadex::mailstore
