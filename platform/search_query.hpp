// SearchQuery: one query over a searchable index, in the Spotlight query-string language.
//
// A query is made unstarted by a SearchQueryFactory, given its handlers, started, and then
// delivers found items (in several deliveries), removed items and gather-ended (live queries
// only), and finally a completion that carries an error or none. Handlers of one query are
// called serially, never on the main thread. Handler setters are safe from any thread; the
// engine calls a copy of the handler and keeps the query alive for the call, so a handler may
// detach handlers or cancel its own query. cancel() never blocks: once it returns no found-items,
// removed-items or gather-ended call starts, and a completion handler still installed receives
// the cancelled error. Dropping the last reference to a running query cancels it.
#pragma once

#include <cstdint>
#include <functional>
#include <memory>
#include <optional>
#include <string>
#include <string_view>
#include <vector>

#include "foundation/error.hpp"
#include "foundation/value.hpp"
#include "platform/searchable_item.hpp"

namespace trovadex::platform {

inline constexpr std::string_view kSearchQueryErrorDomain = "CSSearchQueryErrorDomain";
inline constexpr std::int64_t kSearchQueryErrorInvalidQuery = -2002;
inline constexpr std::int64_t kSearchQueryErrorCancelled = -2003;

// The optional live context of a query.
class SearchQueryContext {
 public:
  virtual ~SearchQueryContext();
  // Whether the context offers the live switch at all.
  virtual bool respondsToSetLive() const = 0;
  virtual void setLive(bool live) = 0;
  virtual bool live() const = 0;
};

class SearchQuery {
 public:
  // The items are the handler's own: it may move from them.
  using FoundItemsHandler = std::function<void(SearchableItems items)>;
  using CompletionHandler = std::function<void(const std::optional<foundation::Error>& error)>;
  // The argument should be an Array of item identifier strings; a handler must cope with any
  // Value.
  using RemovedItemsHandler = std::function<void(const foundation::Value& identifiers)>;
  using GatherEndedHandler = std::function<void()>;

  virtual ~SearchQuery();

  virtual void setFoundItemsHandler(FoundItemsHandler handler) = 0;
  virtual void setCompletionHandler(CompletionHandler handler) = 0;

  // Optional facilities: a query answers whether it has them before they are used.
  virtual bool respondsToSetRemovedItemsHandler() const = 0;
  virtual void setRemovedItemsHandler(RemovedItemsHandler handler) = 0;
  virtual bool respondsToSetGatherEndedHandler() const = 0;
  virtual void setGatherEndedHandler(GatherEndedHandler handler) = 0;
  // The query's context; null when the query has none.
  virtual std::shared_ptr<SearchQueryContext> queryContext() = 0;

  // Starts the work and returns at once.
  virtual void start() = 0;
  virtual void cancel() = 0;
  virtual bool isCancelled() const = 0;
  // How many items the query has found so far; it grows before each delivery.
  virtual std::uint64_t foundItemCount() const = 0;

  // What the query was made with, for tracing.
  virtual std::string queryString() const = 0;
  // The attribute names to fetch as an Array of strings, or nil when none were given.
  virtual foundation::Value fetchAttributes() const = 0;
  virtual foundation::Value options() const { return {}; }
  virtual foundation::Value scopes() const { return {}; }
  // How %@ shows the query.
  virtual std::string description() const = 0;
};

class SearchQueryFactory {
 public:
  virtual ~SearchQueryFactory();
  // A new, unstarted query; attributes are the names to fetch (none: no attribute list). May
  // return null when the platform refuses to make the query. Safe from any thread.
  virtual std::shared_ptr<SearchQuery> makeQuery(
      const std::string& queryString,
      const std::optional<std::vector<std::string>>& attributes) = 0;
  // Whether found items expose their attribute dictionaries (the platform's attribute-set
  // "attributes" facility).
  virtual bool attributeSetsRespondToAttributes() const = 0;
};

}  // namespace trovadex::platform
