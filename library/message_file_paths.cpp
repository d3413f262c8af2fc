// Message file paths: a batch of message records resolved with one statement, and the
// single-message form.
//
// The database route reads each message's mailbox and asks the library for a data path whose file
// exists; whatever it leaves unresolved falls to the object route (the library's message object
// and its path). In the batch form a mailbox of 0 read from the database is used as it stands,
// while the single form takes 0 to mean that no mailbox was found; both behaviours are intended.
#include <cassert>
#include <map>

#include "library/data_path.hpp"
#include "library/mailbox_lookup.hpp"
#include "library/message_record_keys.hpp"
#include "plugin/td_mail_plugin.hpp"

namespace trovadex::plugin {

namespace {

using foundation::Value;

// The path of the library's message object for libraryID, or nothing (also without a library).
std::optional<std::string> objectRoutePath(platform::MailLibrary* library, std::int64_t libraryID) {
  if (!library) return std::nullopt;
  std::shared_ptr<platform::MailMessage> message = library->messageWithLibraryID(libraryID);
  return message ? message->path() : std::nullopt;
}

// Resolves the listed IDs through the database route. IDs it cannot resolve are simply absent.
std::map<std::int64_t, std::string> databaseRoutePaths(
    PluginContext& context, const std::vector<std::int64_t>& libraryIDs) {
  std::map<std::int64_t, std::string> pathsByID;
  if (libraryIDs.empty()) return pathsByID;

  const std::string statement = batchMailboxStatement(libraryIDs);
  std::map<std::int64_t, std::int64_t> mailboxesByID;
  const bool ran = TDMailPlugin::scPerformSynchronousSqliteBlock(
      context, [&](sqlite3* database) { readMailboxes(database, statement, mailboxesByID); });
  if (!ran) return pathsByID;

  std::shared_ptr<platform::MailLibrary> library = TDMailPlugin::library(context);
  if (!library || !library->respondsToDataPathForMessage()) return pathsByID;
  const platform::FileManager* fileManager = context.ports().fileManager.get();
  for (std::int64_t libraryID : libraryIDs) {
    auto mailbox = mailboxesByID.find(libraryID);
    if (mailbox == mailboxesByID.end()) continue;
    if (auto path = existingDataPath(*library, fileManager, libraryID, mailbox->second)) {
      pathsByID[libraryID] = std::move(*path);
    }
  }
  return pathsByID;
}

// Sets the record's display name from its file, unless the record already has one.
void fillDisplayName(MessageRecord& record, const platform::FileManager* fileManager) {
  if (!fileManager || record.attributes.contains(kMDItemDisplayName)) return;
  record.attributes.insert_or_assign(std::string(kMDItemDisplayName),
                                     Value(fileManager->displayNameAtPath(*record.path)));
}

}  // namespace

std::vector<MessageRecord*> TDMailPlugin::loadFilePaths(PluginContext& context,
                                                        std::vector<MessageRecord>& records,
                                                        std::uint64_t* foundItemIndex) {
  assert(foundItemIndex != nullptr);
  std::vector<std::int64_t> libraryIDs;
  for (const MessageRecord& record : records) {
    if (!record.path && record.libraryID) libraryIDs.push_back(*record.libraryID);
  }
  const std::map<std::int64_t, std::string> resolved = databaseRoutePaths(context, libraryIDs);

  std::shared_ptr<platform::MailLibrary> library =
      libraryIDs.empty() ? nullptr : TDMailPlugin::library(context);
  const platform::FileManager* fileManager = context.ports().fileManager.get();
  std::vector<MessageRecord*> delivered;
  delivered.reserve(records.size());
  for (MessageRecord& record : records) {
    if (!record.path) {
      if (!record.libraryID) continue;
      auto found = resolved.find(*record.libraryID);
      std::optional<std::string> path = found != resolved.end()
                                            ? std::optional<std::string>(found->second)
                                            : objectRoutePath(library.get(), *record.libraryID);
      if (!path) continue;
      record.path = std::move(path);
      fillDisplayName(record, fileManager);
    }
    record.index = *foundItemIndex;
    ++*foundItemIndex;
    delivered.push_back(&record);
  }
  return delivered;
}

std::optional<std::string> TDMailPlugin::emlxPathForMessageWithLibraryID(PluginContext& context,
                                                                         std::int64_t libraryID) {
  std::shared_ptr<platform::MailLibrary> mailLibrary = library(context);
  if (libraryID != 0) {
    std::int64_t mailboxID = 0;
    const bool ran = scPerformSynchronousSqliteBlock(context, [&](sqlite3* database) {
      mailboxID = readFirstMailbox(database, singleMailboxStatement(libraryID));
    });
    if (ran && mailboxID != 0 && mailLibrary && mailLibrary->respondsToDataPathForMessage()) {
      if (auto path = existingDataPath(*mailLibrary, context.ports().fileManager.get(), libraryID,
                                       mailboxID)) {
        return path;
      }
    }
  }
  return objectRoutePath(mailLibrary.get(), libraryID);
}

}  // namespace trovadex::plugin
