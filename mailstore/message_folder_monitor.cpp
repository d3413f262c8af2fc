#include "mailstore/message_folder_monitor.hpp"

#include <array>
#include <exception>
#include <string_view>
#include <system_error>

namespace trovadex::mailstore {
namespace {

constexpr std::array<std::string_view, 2> kUnwatchedFolders{"MailData", "Attachments"};
// CHANGED events of one file come at most this often; other events are never held back.
constexpr int kChangeRateLimitMs = 100;

bool isFolder(const std::filesystem::path& path) {
  std::error_code error;
  return std::filesystem::is_directory(std::filesystem::symlink_status(path, error));
}

std::filesystem::path pathOf(GFile* file) {
  if (file == nullptr) return {};
  gchar* path = g_file_get_path(file);
  if (path == nullptr) return {};
  std::filesystem::path result(path);
  g_free(path);
  return result;
}

}  // namespace

bool isUnwatchedFolderName(const std::string& name) {
  if (name.empty() || name[0] == '.') return true;
  for (std::string_view unwatched : kUnwatchedFolders) {
    if (name == unwatched) return true;
  }
  return false;
}

void MessageFolderMonitor::MonitorUnref::operator()(GFileMonitor* monitor) const {
  g_file_monitor_cancel(monitor);
  g_object_unref(monitor);
}

MessageFolderMonitor::MessageFolderMonitor(std::filesystem::path root, Handlers handlers,
                                           std::shared_ptr<platform::Console> console)
    : root_(std::move(root)), handlers_(std::move(handlers)), console_(std::move(console)) {}

MessageFolderMonitor::~MessageFolderMonitor() {
  for (auto& [folder, monitor] : monitors_) {
    g_signal_handlers_disconnect_by_data(monitor.get(), this);
  }
}

void MessageFolderMonitor::start() { watchTree(root_, false); }

void MessageFolderMonitor::onEvent(GFileMonitor*, GFile* file, GFile* other,
                                   GFileMonitorEvent event, gpointer self) {
  // Nothing may unwind into GIO's signal emission.
  try {
    static_cast<MessageFolderMonitor*>(self)->handle(file, other, event);
  } catch (const std::exception& exception) {
    auto* monitor = static_cast<MessageFolderMonitor*>(self);
    if (monitor->console_) {
      monitor->console_->writeLine(std::string("Indexer: a file event failed: ") +
                                   exception.what());
    }
  } catch (...) {
  }
}

void MessageFolderMonitor::handle(GFile* file, GFile* other, GFileMonitorEvent event) {
  const std::filesystem::path path = pathOf(file);
  if (path.empty()) return;
  switch (event) {
    case G_FILE_MONITOR_EVENT_CREATED:
      // A file created in place is reported once its writer is done with it (GIO reports the
      // close, or after a while without one, that the changes are done).
      if (isFolder(path)) {
        appeared(path);
      } else {
        filesBeingWritten_.insert(path);
      }
      break;
    case G_FILE_MONITOR_EVENT_MOVED_IN:
      appeared(path);
      break;
    case G_FILE_MONITOR_EVENT_DELETED:
    case G_FILE_MONITOR_EVENT_MOVED_OUT:
      filesBeingWritten_.erase(path);
      disappeared(path);
      break;
    case G_FILE_MONITOR_EVENT_RENAMED:
      filesBeingWritten_.erase(path);
      disappeared(path);
      if (auto target = pathOf(other); !target.empty()) appeared(target);
      break;
    case G_FILE_MONITOR_EVENT_CHANGES_DONE_HINT:
      filesBeingWritten_.erase(path);
      if (!monitors_.count(path)) handlers_.fileChanged(path);
      break;
    case G_FILE_MONITOR_EVENT_CHANGED:
    case G_FILE_MONITOR_EVENT_ATTRIBUTE_CHANGED:
      if (!monitors_.count(path) && !filesBeingWritten_.count(path)) handlers_.fileChanged(path);
      break;
    default:
      break;  // mount events concern no message
  }
}

void MessageFolderMonitor::appeared(const std::filesystem::path& path) {
  if (isFolder(path)) {
    if (!isUnwatchedFolderName(path.filename().string())) watchTree(path, true);
  } else {
    handlers_.fileChanged(path);
  }
}

void MessageFolderMonitor::disappeared(const std::filesystem::path& path) {
  if (monitors_.count(path)) {
    unwatchTree(path);
    handlers_.folderGone(path);
  } else {
    handlers_.fileChanged(path);
  }
}

void MessageFolderMonitor::watchTree(const std::filesystem::path& folder, bool reportFiles) {
  if (monitors_.count(folder)) return;
  GFile* file = g_file_new_for_path(folder.c_str());
  GError* error = nullptr;
  GFileMonitor* monitor =
      g_file_monitor_directory(file, G_FILE_MONITOR_WATCH_MOVES, nullptr, &error);
  g_object_unref(file);
  if (monitor == nullptr) {
    if (console_) {
      console_->writeLine("Indexer: cannot watch " + folder.string() + ": " +
                          (error ? error->message : "unknown error"));
    }
    if (error) g_error_free(error);
    return;
  }
  g_file_monitor_set_rate_limit(monitor, kChangeRateLimitMs);
  g_signal_connect(monitor, "changed", G_CALLBACK(&MessageFolderMonitor::onEvent), this);
  monitors_.emplace(folder, MonitorPtr(monitor));

  std::error_code listError;
  for (std::filesystem::directory_iterator entry(folder, listError), end;
       !listError && entry != end; entry.increment(listError)) {
    std::error_code typeError;
    if (entry->is_directory(typeError) && !entry->is_symlink(typeError)) {
      if (!isUnwatchedFolderName(entry->path().filename().string())) {
        watchTree(entry->path(), reportFiles);
      }
    } else if (reportFiles) {
      handlers_.fileChanged(entry->path());
    }
  }
}

void MessageFolderMonitor::unwatchTree(const std::filesystem::path& folder) {
  const std::string prefix = folder.string() + "/";
  std::erase_if(filesBeingWritten_, [&](const std::filesystem::path& file) {
    return file.string().compare(0, prefix.size(), prefix) == 0;
  });
  for (auto it = monitors_.begin(); it != monitors_.end();) {
    const std::string watched = it->first.string();
    if (it->first == folder || watched.compare(0, prefix.size(), prefix) == 0) {
      g_signal_handlers_disconnect_by_data(it->second.get(), this);
      g_file_monitor_cancel(it->second.get());
      retired_.push_back(std::move(it->second));
      it = monitors_.erase(it);
    } else {
      ++it;
    }
  }
}

}  // namespace trovadex::mailstore
