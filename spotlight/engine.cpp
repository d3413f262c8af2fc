#include "spotlight/engine.hpp"

#include "spotlight/compiled_query.hpp"
#include "spotlight/engine_core.hpp"
#include "spotlight/engine_search_query.hpp"
#include "spotlight/engine_searchable_index.hpp"
#include "spotlight/query_parser.hpp"
#include "spotlight/query_plan.hpp"

namespace trovadex::spotlight {

foundation::Result<std::unique_ptr<Engine>> Engine::open(const std::string& path,
                                                         EngineOptions options) {
  auto core = EngineCore::open(path, std::move(options));
  if (!core) return core.error();
  return std::unique_ptr<Engine>(new Engine(std::move(core.value())));
}

Engine::Engine(std::shared_ptr<EngineCore> core)
    : core_(std::move(core)),
      queries_(std::make_shared<EngineSearchQueryFactory>(core_)),
      indexes_(std::make_shared<EngineSearchableIndexFactory>(core_)) {}

Engine::~Engine() { shutdown(); }

void Engine::shutdown() { core_->shutdown(); }

foundation::Result<std::string> Engine::explain(const std::string& queryString) const {
  ParseResult parsed = parseQuery(queryString);
  if (!parsed.ok()) {
    return foundation::Error{std::string(platform::kSearchQueryErrorDomain),
                             platform::kSearchQueryErrorInvalidQuery,
                             describeParseError(parsed.error())};
  }
  const Predicate compiled = compileQuery(parsed.tree(), core_->queryTime());
  auto reader = core_->acquireReader();
  if (!reader) return reader.error();
  std::unique_ptr<IndexReader> connection = std::move(reader.value());
  if (foundation::Status begun = connection->begin(); !begun) return begun.error();
  std::string explanation = explainPlan(planQuery(compiled, connection->codes()));
  connection->end();
  core_->releaseReader(std::move(connection));
  return explanation;
}

}  // namespace trovadex::spotlight
