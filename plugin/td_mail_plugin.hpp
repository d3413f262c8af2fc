// TDMailPlugin: the plug-in object, created once per host process.
//
// Its class side (static members, each given the PluginContext) carries the stateless
// operations: start-up, logging, query construction, the search-text translator and path
// resolution. Its instance carries the registry of running queries and the pasteboard pool, and
// handles the companion's commands. The members are implemented in the folder of the subsystem
// they belong to (plugin/, protocol/, search/, library/).
//
// Threads: command handlers, init, the workspace observer and applicationWillTerminate run on the
// main thread; the search result handlers run on the engine's handler threads and reach the
// shared state only under stateMutex_ (registry maps, each record's messageIDs and
// pendingBatches) and poolMutex_ (the pool and the creation of pasteboards), always taken in that
// order, before the log history lock.
#pragma once

#include <cstdint>
#include <functional>
#include <map>
#include <memory>
#include <mutex>
#include <optional>
#include <string>
#include <vector>

#include "foundation/error.hpp"
#include "foundation/format.hpp"
#include "foundation/value.hpp"
#include "platform/notification_center.hpp"
#include "platform/pasteboard.hpp"
#include "platform/search_query.hpp"
#include "platform/subscription.hpp"
#include "plugin/plugin_context.hpp"

struct sqlite3;

namespace trovadex::plugin {

class TDMailPluginQuery;

// One found message on its way to the companion: the "attributes", "kMDItemPath", "libraryID"
// and "index" of a message record, filled in by the found-items handler and by loadFilePaths.
struct MessageRecord {
  foundation::Value::Dictionary attributes;
  std::optional<std::string> path;        // "kMDItemPath"
  std::optional<std::int64_t> libraryID;  // "libraryID"
  std::optional<std::uint64_t> index;     // "index"

  // The record as it travels in a ResultsBatch payload; absent fields are absent keys.
  foundation::Value toValue() const;
};

class TDMailPlugin : public std::enable_shared_from_this<TDMailPlugin> {
 public:
  // ---- Class side -----------------------------------------------------------------------------

  // Bundle start-up, in the order the host triggers it.
  static void load(PluginContext& context);
  static void initialize(PluginContext& context);
  static void createInstance(PluginContext& context);

  // The one logging operation: a console line prefixed "TrovadexMailPlugin - <name> - " and an
  // entry in the log history. queryName nil or empty logs as "none". Safe from any thread.
  static void logQueryName(PluginContext& context, const foundation::Value& queryName,
                           std::string_view format,
                           std::initializer_list<foundation::FormatArgument> arguments = {});

  // Query construction: a new, unstarted query for queryString, fetching the fetched-attribute
  // list when fetchAllAttributes is set. Null when the engine refuses the query.
  static std::shared_ptr<platform::SearchQuery> buildQueryWithString(PluginContext& context,
                                                                     const std::string& queryString,
                                                                     bool fetchAllAttributes);
  // The fetched-attribute list (built on first use).
  static const std::vector<std::string>& fetchedAttributes(PluginContext& context);

  // The search-text translator: a query string for a user's plain text, or nothing when the
  // trimmed text is empty. fuzzyThreshold nil means the default. Safe from any thread.
  static std::optional<std::string> queryStringWithSearchString(
      const foundation::Value& searchString, const foundation::Value& fuzzyThreshold);

  // Mail library access.
  static std::shared_ptr<platform::MailLibrary> library(PluginContext& context);
  static bool scPerformSynchronousSqliteBlock(PluginContext& context,
                                              const std::function<void(sqlite3*)>& block);
  static std::vector<MessageRecord> loadFilePaths(PluginContext& context,
                                                  std::vector<MessageRecord>& records,
                                                  std::uint64_t* foundItemIndex);
  static std::optional<std::string> emlxPathForMessageWithLibraryID(PluginContext& context,
                                                                    std::int64_t libraryID);

  // Self-removal: moves the installed bundle to the Trash. Success when it was moved or was not
  // there; otherwise the Trash's error.
  static foundation::Status uninstallPlugin(PluginContext& context);

  // ---- Instance side --------------------------------------------------------------------------

  // init: sets up the collections and the version, registers the observers, posts PluginReady.
  // Use make(); the instance must be owned by a shared_ptr before it registers observers.
  static std::shared_ptr<TDMailPlugin> make(PluginContext& context);
  ~TDMailPlugin();  // dealloc
  TDMailPlugin(const TDMailPlugin&) = delete;
  TDMailPlugin& operator=(const TDMailPlugin&) = delete;

  // Properties.
  const std::string& version() const { return version_; }
  std::uint64_t logLevel() const { return logLevel_; }
  // Snapshots for inspection; the live maps are guarded by stateMutex_.
  std::vector<std::string> queryNames() const;
  std::shared_ptr<TDMailPluginQuery> queryNamed(const std::string& name) const;
  std::map<std::string, std::vector<std::string>> queryNamesByClient() const;
  std::vector<std::shared_ptr<platform::Pasteboard>> pasteboards() const;
  std::vector<std::shared_ptr<platform::Pasteboard>> pasteboardPool() const;

  // Command handlers (main thread).
  void connect(const platform::Notification& notification);
  void search(const platform::Notification& notification);
  void cancel(const platform::Notification& notification);
  void clear(const platform::Notification& notification);
  void terminate(const platform::Notification& notification);
  void workspaceDidTerminateApplicationNotification(const platform::Notification& notification);
  void applicationWillTerminate(const platform::Notification& notification);

  // The one posting operation; drops a message about a query that is gone or cancelled.
  void postDistributedNotificationName(const std::string& name, const foundation::Value& object,
                                       const foundation::Value& userInfo, bool deliverImmediately);

  // Registry.
  void cancelQuery(const std::string& name, const foundation::Value& clientName);
  void terminateClient(const std::string& clientName, const foundation::Value& queryNames);

  // Pasteboard pool.
  std::shared_ptr<platform::Pasteboard> pasteboardFromPool();
  void pasteboardToPool(const std::shared_ptr<platform::Pasteboard>& pasteboard);

  PluginContext& context() const { return context_; }

 private:
  explicit TDMailPlugin(PluginContext& context);
  void registerObservers();

  PluginContext& context_;
  std::string version_;             // Immutable after construction.
  std::uint64_t logLevel_ = 1;      // Immutable after construction.

  mutable std::mutex stateMutex_;
  // Guarded by stateMutex_.
  std::map<std::string, std::shared_ptr<TDMailPluginQuery>> queriesByName_;
  std::map<std::string, std::vector<std::string>> queryNamesByClient_;

  mutable std::mutex poolMutex_;
  // Guarded by poolMutex_.
  std::vector<std::shared_ptr<platform::Pasteboard>> pasteboards_;
  std::vector<std::shared_ptr<platform::Pasteboard>> pasteboardPool_;

  // Observer registrations; main thread only.
  std::vector<platform::Subscription> subscriptions_;
};

}  // namespace trovadex::plugin
