// TDMailPlugin: the plug-in object, created once per host process.
//
// Its class side (static members, each given the PluginContext) carries the stateless
// operations: start-up, logging, query construction, the search-text translator, path resolution
// and self-removal. Its instance carries the registry of running queries and the pasteboard pool,
// and handles the companion's commands. The members are implemented in the folder of the
// subsystem they belong to (plugin/, protocol/, search/, library/).
//
// Threads: command handlers, init, the workspace observer and applicationWillTerminate run on the
// main thread; the search result handlers run on the engine's handler threads. Shared state is
// reached only under stateMutex_ (the registry maps, and each record's searchQuery, messageIDs and
// pendingBatches) and poolMutex_ (the pool, and the creation and giving up of pasteboards), always
// taken in that order, before the log history lock of the context.
#pragma once

#include <cstdint>
#include <functional>
#include <initializer_list>
#include <map>
#include <memory>
#include <mutex>
#include <optional>
#include <string>
#include <string_view>
#include <vector>

#include "foundation/error.hpp"
#include "foundation/format.hpp"
#include "foundation/value.hpp"
#include "platform/notification_center.hpp"
#include "platform/pasteboard.hpp"
#include "platform/search_query.hpp"
#include "platform/subscription.hpp"
#include "plugin/plugin_context.hpp"
#include "protocol/name_order.hpp"
#include "protocol/pending_batch.hpp"

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
  foundation::Value toValue() const&;
  foundation::Value toValue() &&;  // moves the attributes into the result
};

class TDMailPlugin : public std::enable_shared_from_this<TDMailPlugin> {
 public:
  // ---- Class side -----------------------------------------------------------------------------

  // Bundle start-up, in the order the host triggers it. initialize registers the bundle with the
  // host and schedules createInstance on a later pass of the main loop; without the host's bundle
  // class it logs one line and the plug-in stays inert. Main thread only.
  static void load(PluginContext& context);
  static void initialize(PluginContext& context);
  static void createInstance(PluginContext& context);

  // The one logging operation: a console line prefixed "TrovadexMailPlugin - <name> - " and an
  // entry [date, name, message] in the log history. queryName nil or empty logs as "none".
  // Safe from any thread.
  static void logQueryName(PluginContext& context, const foundation::Value& queryName,
                           std::string_view format,
                           std::initializer_list<foundation::FormatArgument> arguments = {});

  // Query construction: a new, unstarted query for queryString, fetching the fetched-attribute
  // list when fetchAllAttributes is set. Null when the engine refuses the query. Safe from any
  // thread.
  static std::shared_ptr<platform::SearchQuery> buildQueryWithString(PluginContext& context,
                                                                     const std::string& queryString,
                                                                     bool fetchAllAttributes);
  // The fetched-attribute list (built once, on first use). Safe from any thread.
  static const std::vector<std::string>& fetchedAttributes(PluginContext& context);

  // The search-text translator: a query string for a user's plain text, or nothing when the
  // trimmed text is empty. fuzzyThreshold nil means the default. Safe from any thread.
  static std::optional<std::string> queryStringWithSearchString(
      const foundation::Value& searchString, const foundation::Value& fuzzyThreshold);

  // Mail library access.
  static std::shared_ptr<platform::MailLibrary> library(PluginContext& context);
  static bool scPerformSynchronousSqliteBlock(PluginContext& context,
                                              const std::function<void(sqlite3*)>& block);
  // Resolves the records' paths and numbers them, changing the caller's records in place; the
  // result points at those of them that got a path, in their order.
  static std::vector<MessageRecord*> loadFilePaths(PluginContext& context,
                                                   std::vector<MessageRecord>& records,
                                                   std::uint64_t* foundItemIndex);
  static std::optional<std::string> emlxPathForMessageWithLibraryID(PluginContext& context,
                                                                    std::int64_t libraryID);

  // Self-removal: moves the installed bundle to the Trash. Success when it was moved or was not
  // there; otherwise the Trash's error. Main thread only.
  static foundation::Status uninstallPlugin(PluginContext& context);

  // ---- Instance side --------------------------------------------------------------------------

  // init: sets up the collections and the version, registers the observers, posts PluginReady.
  // The instance is owned by a shared_ptr before it registers observers, which hold it weakly.
  // Main thread only.
  static std::shared_ptr<TDMailPlugin> make(PluginContext& context);
  // dealloc: removes the observers, then clears the tags of every pasteboard ever made and gives
  // each up. Main thread only.
  ~TDMailPlugin();
  TDMailPlugin(const TDMailPlugin&) = delete;
  TDMailPlugin& operator=(const TDMailPlugin&) = delete;

  // Properties. version and logLevel never change after construction.
  const std::string& version() const { return version_; }
  std::uint64_t logLevel() const { return logLevel_; }
  // Query and client names are the values the companion sent, of whatever kind (see
  // protocol/name_order.hpp); a client's names are kept in starting order.
  using QueryNamesByClient =
      std::map<foundation::Value, std::vector<foundation::Value>, protocol::NameOrder>;

  // Snapshots for inspection, taken under the lock that guards the live state.
  std::vector<foundation::Value> queryNames() const;
  std::shared_ptr<TDMailPluginQuery> queryNamed(const foundation::Value& name) const;
  QueryNamesByClient queryNamesByClient() const;
  std::vector<protocol::PendingBatch> pendingBatchesOf(const foundation::Value& name) const;
  std::vector<std::shared_ptr<platform::Pasteboard>> pasteboards() const;
  std::vector<std::shared_ptr<platform::Pasteboard>> pasteboardPool() const;

  // Command handlers. Main thread only.
  void connect(const platform::Notification& notification);
  void search(const platform::Notification& notification);
  void cancel(const platform::Notification& notification);
  void clear(const platform::Notification& notification);
  void terminate(const platform::Notification& notification);
  void workspaceDidTerminateApplicationNotification(const platform::Notification& notification);
  void applicationWillTerminate(const platform::Notification& notification);

  // The one posting operation. Adds "version" and "compatibilityVersion"; drops, silently, a
  // message whose userInfo names a query that is not filed, has no search query, or is cancelled.
  // For such a message the state lock is held across the check and the post, so the centre must
  // only queue the message, never call back into the plug-in from inside the post. Safe from any
  // thread.
  void postDistributedNotificationName(const std::string& name, const foundation::Value& object,
                                       const foundation::Value& userInfo, bool deliverImmediately);

  // Registry. cancelQuery detaches and cancels the query, unregisters it, hands its pending
  // batches back to the pool and strikes the name from clientName's list; safe from any thread
  // (a query's completion handler calls it). terminateClient cancels every query the client
  // started and every name in queryNames (an Array, or nil), then forgets the client. Names of
  // any kind are used as they came; nil names nothing.
  void cancelQuery(const foundation::Value& name, const foundation::Value& clientName);
  void terminateClient(const foundation::Value& clientName, const foundation::Value& queryNames);

  // Pasteboard pool. pasteboardFromPool reuses the oldest idle pasteboard or makes a new one (null
  // only when the server makes none); pasteboardToPool clears one, untags it and keeps at most
  // five idle ones. Safe from any thread.
  std::shared_ptr<platform::Pasteboard> pasteboardFromPool();
  void pasteboardToPool(const std::shared_ptr<platform::Pasteboard>& pasteboard);

  // ---- Used by the result handlers of a running query (any thread) ----------------------------

  // Whether the record is still the one filed under its name, keeps its search query, and that
  // query is not cancelled.
  bool isQueryAlive(const TDMailPluginQuery& record) const;

  enum class Admission { QueryGone, Duplicate, Admitted };
  // The liveness test and, for a message with a library ID, its claim in the record's messageIDs,
  // in one step.
  Admission admitFoundItem(TDMailPluginQuery& record, std::optional<std::int64_t> libraryID);

  // Appends a results batch to the record's pendingBatches if the query is alive, returning the
  // summary of the batches pending before it ([{batchNumber, batchName}, ...]); nothing when the
  // query is gone, in which case the caller still owns the pasteboard.
  std::optional<foundation::Value> addPendingBatch(TDMailPluginQuery& record,
                                                   protocol::PendingBatch batch);

  PluginContext& context() const { return context_; }

 private:
  explicit TDMailPlugin(PluginContext& context);
  void registerObservers();
  // The posting operation proper; the caller holds stateMutex_ whenever userInfo names a query.
  void postChecked(const std::string& name, const foundation::Value& object,
                   const foundation::Value& userInfo, bool deliverImmediately);
  bool isQueryAliveLocked(const TDMailPluginQuery& record) const;

  // The start-up installation check (global queue) and the offer to remove the plug-in (main
  // queue), both class-side.
  static void installationCheck(PluginContext& context);
  static void removalOffer(PluginContext& context);
  // The alert for an incompatible companion (main queue).
  static void versionAlert(PluginContext& context);

  PluginContext& context_;
  // Immutable after construction.
  std::string version_;
  std::uint64_t logLevel_ = 1;

  mutable std::mutex stateMutex_;
  // Guarded by stateMutex_, as are every filed record's searchQuery, messageIDs and
  // pendingBatches.
  std::map<foundation::Value, std::shared_ptr<TDMailPluginQuery>, protocol::NameOrder>
      queriesByName_;
  QueryNamesByClient queryNamesByClient_;

  mutable std::mutex poolMutex_;
  // Guarded by poolMutex_.
  std::vector<std::shared_ptr<platform::Pasteboard>> pasteboards_;
  std::vector<std::shared_ptr<platform::Pasteboard>> pasteboardPool_;

  // Observer registrations. Main thread only.
  std::vector<platform::Subscription> subscriptions_;
};

}  // namespace trovadex::plugin
