// Engine: the search engine that stands in for the platform's search service. It owns the
// index database (opened from a path), the threads that run queries and index changes, and
// hands out the two factories the plug-in and the store use.
//
// Shutdown, in order: mark the engine stopped, cancel every query (completions still
// installed receive the cancelled error), let queued index changes and query work finish, join
// every thread, close the database. The destructor shuts down. Factories, queries and indexes
// handed out stay safe to call afterwards and do nothing more. Safe from any thread, except
// that shutdown (and so the destructor) must not run on one of the engine's own threads.
#pragma once

#include <memory>
#include <string>

#include "foundation/error.hpp"
#include "platform/search_query.hpp"
#include "platform/searchable_index.hpp"
#include "spotlight/engine_options.hpp"

namespace trovadex::spotlight {

class EngineCore;

class Engine {
 public:
  // Opens or creates the index database at path.
  static foundation::Result<std::unique_ptr<Engine>> open(const std::string& path,
                                                          EngineOptions options = {});
  ~Engine();
  Engine(const Engine&) = delete;
  Engine& operator=(const Engine&) = delete;

  std::shared_ptr<platform::SearchQueryFactory> queryFactory() const { return queries_; }
  std::shared_ptr<platform::SearchableIndexFactory> indexFactory() const { return indexes_; }

  // The plan the engine would use for a query string now, e.g.
  //   and(value[kMDItemContentType = "public.email-message"], words[kMDItemSubject:"lunch"*])
  // or the -2002 error a malformed string gets. For tests and tools.
  foundation::Result<std::string> explain(const std::string& queryString) const;

  void shutdown();

 private:
  explicit Engine(std::shared_ptr<EngineCore> core);

  const std::shared_ptr<EngineCore> core_;
  const std::shared_ptr<platform::SearchQueryFactory> queries_;
  const std::shared_ptr<platform::SearchableIndexFactory> indexes_;
};

}  // namespace trovadex::spotlight
