// The host's default mail library, cached for the life of the process, and synchronous read
// access to its database.
#include <mutex>

#include "plugin/td_mail_plugin.hpp"

namespace trovadex::plugin {

std::shared_ptr<platform::MailLibrary> TDMailPlugin::library(PluginContext& context) {
  {
    std::lock_guard lock(context.libraryMutex);
    if (context.library) return context.library;
  }
  // The look-up runs outside the lock: it calls into the host. Two threads filling the cache at
  // once would only store the same default library twice.
  const auto& hostClasses = context.ports().hostClasses;
  if (!hostClasses) return nullptr;
  std::shared_ptr<platform::MailLibraryClass> libraryClass = hostClasses->mailLibraryClass();
  if (!libraryClass) return nullptr;
  std::shared_ptr<platform::MailLibrary> found = libraryClass->defaultLibrary();
  if (!found) return nullptr;
  std::lock_guard lock(context.libraryMutex);
  if (!context.library) context.library = std::move(found);
  return context.library;
}

bool TDMailPlugin::scPerformSynchronousSqliteBlock(PluginContext& context,
                                                   const std::function<void(sqlite3*)>& block) {
  std::shared_ptr<platform::MailLibrary> mailLibrary = library(context);
  if (!mailLibrary || !mailLibrary->respondsToLibraryDatabase()) return false;
  std::shared_ptr<platform::MailDatabase> database = mailLibrary->libraryDatabase();
  if (!database || !database->respondsToPerformReadBlock()) return false;
  // performReadBlock returns only after the wrapper has run, so callers may read what their block
  // wrote as soon as this returns.
  database->performReadBlock([&block](platform::MailDatabaseConnection& connection) {
    block(connection.sqlDB());
    return true;
  });
  return true;
}

}  // namespace trovadex::plugin
