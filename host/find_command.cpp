// The find command: a query string run straight against the store's index, without the plug-in.
//
// Matches are printed in library-ID order: "<library ID>\t<path of the .emlx file>" per line,
// or with --attr one JSON object per line holding "libraryID", "path" and each chosen attribute
// (null when the message has none). --count prints the number of matches only; --explain prints
// the plan the engine would follow instead of running the query. The index is only read.
#include <algorithm>
#include <array>
#include <condition_variable>
#include <cstdio>
#include <mutex>
#include <optional>
#include <vector>

#include "host/command_line.hpp"
#include "host/commands.hpp"
#include "host/exit_status.hpp"
#include "host/json_text.hpp"
#include "host/library_layout.hpp"
#include "mailstore/store.hpp"
#include "platform/search_query.hpp"
#include "spotlight/engine.hpp"

namespace trovadex::host {
namespace {

struct Match {
  std::int64_t libraryID = 0;
  foundation::Value::Dictionary attributes;
};

struct Outcome {
  std::mutex mutex;
  std::condition_variable completed;
  std::vector<Match> matches;              // Guarded by mutex.
  bool done = false;                       // Guarded by mutex.
  std::optional<foundation::Error> error;  // Guarded by mutex.
};

std::optional<std::int64_t> libraryIDOf(const platform::SearchableItem& item) {
  try {
    std::size_t used = 0;
    const long long id = std::stoll(item.uniqueIdentifier, &used);
    if (used == item.uniqueIdentifier.size() && id > 0) return id;
  } catch (const std::exception&) {
  }
  return std::nullopt;
}

// Runs the query to its completion and gathers its matches.
std::shared_ptr<Outcome> runQuery(spotlight::Engine& engine, const std::string& queryString,
                                  const std::vector<std::string>& attributes) {
  auto outcome = std::make_shared<Outcome>();
  auto query = engine.queryFactory()->makeQuery(
      queryString, attributes.empty() ? std::nullopt : std::optional(attributes));
  if (!query) {
    outcome->error = foundation::Error{std::string(platform::kSearchQueryErrorDomain),
                                       platform::kSearchQueryErrorInvalidQuery,
                                       "the search engine refused the query"};
    return outcome;
  }
  query->setFoundItemsHandler([outcome](const platform::SearchableItems& items) {
    std::lock_guard lock(outcome->mutex);
    for (const auto& item : items) {
      if (auto id = libraryIDOf(item)) {
        outcome->matches.push_back({*id, item.attributeSet.attributes});
      }
    }
  });
  query->setCompletionHandler([outcome](const std::optional<foundation::Error>& error) {
    std::lock_guard lock(outcome->mutex);
    outcome->error = error;
    outcome->done = true;
    outcome->completed.notify_all();
  });
  query->start();
  std::unique_lock lock(outcome->mutex);
  outcome->completed.wait(lock, [&] { return outcome->done; });
  return outcome;
}

std::string messagePath(mailstore::Store& store, std::int64_t libraryID) {
  auto message = store.message(libraryID);
  if (!message || !message.value().path) return {};
  return message.value().path->string();
}

}  // namespace

int findCommand(std::span<const std::string> arguments) {
  static constexpr std::array<OptionSpec, 4> kOptions{{
      {"library", true, false},
      {"attr", true, true},
      {"count", false, false},
      {"explain", false, false},
  }};
  auto parsed = parseCommandLine(arguments, kOptions);
  if (!parsed) return usageFailure("find", parsed.error().localizedDescription);
  const ParsedCommandLine& line = parsed.value();
  if (line.operands.size() != 1) return usageFailure("find", "give exactly one query string");
  const std::string& queryString = line.operands.front();
  const std::vector<std::string> attributes = line.values("attr");

  const std::filesystem::path library = libraryFolder(line.value("library"));
  const std::filesystem::path indexPath = searchIndexPath(library);
  std::error_code missing;
  if (!std::filesystem::exists(indexPath, missing)) {
    return commandFailure("find", "there is no search index at " + indexPath.string() +
                                      "; trovadex-mailhost run builds it");
  }
  auto engine = spotlight::Engine::open(indexPath.string());
  if (!engine) {
    return commandFailure("find", "cannot open the search index " + indexPath.string() + ": " +
                                      engine.error().localizedDescription);
  }

  if (line.has("explain")) {
    auto plan = engine.value()->explain(queryString);
    engine.value()->shutdown();
    if (!plan) {
      std::fprintf(stderr, "trovadex-mailhost find: %s\n",
                   plan.error().localizedDescription.c_str());
      return plan.error().code == platform::kSearchQueryErrorInvalidQuery ? kExitMalformedQuery
                                                                          : kExitFailure;
    }
    std::printf("%s\n", plan.value().c_str());
    return kExitSuccess;
  }

  auto outcome = runQuery(*engine.value(), queryString, attributes);
  engine.value()->shutdown();
  if (outcome->error) {
    std::fprintf(stderr, "trovadex-mailhost find: %s\n",
                 outcome->error->localizedDescription.c_str());
    return outcome->error->code == platform::kSearchQueryErrorInvalidQuery ? kExitMalformedQuery
                                                                           : kExitFailure;
  }
  std::vector<Match>& matches = outcome->matches;
  std::sort(matches.begin(), matches.end(),
            [](const Match& a, const Match& b) { return a.libraryID < b.libraryID; });
  matches.erase(
      std::unique(matches.begin(), matches.end(),
                  [](const Match& a, const Match& b) { return a.libraryID == b.libraryID; }),
      matches.end());
  if (line.has("count")) {
    std::printf("%zu\n", matches.size());
    return kExitSuccess;
  }

  auto store = mailstore::Store::open(library);
  if (!store) {
    return commandFailure("find", "cannot open the store in " + library.string() + ": " +
                                      store.error().localizedDescription);
  }
  for (const Match& match : matches) {
    const std::string path = messagePath(*store.value(), match.libraryID);
    if (attributes.empty()) {
      std::printf("%lld\t%s\n", static_cast<long long>(match.libraryID), path.c_str());
      continue;
    }
    std::string object = "{\"libraryID\":" + std::to_string(match.libraryID) +
                         ",\"path\":" + (path.empty() ? "null" : jsonString(path));
    for (const auto& name : attributes) {
      auto found = match.attributes.find(name);
      object += "," + jsonString(name) + ":" +
                (found == match.attributes.end() ? "null" : jsonText(found->second));
    }
    object += "}";
    std::printf("%s\n", object.c_str());
  }
  return kExitSuccess;
}

}  // namespace trovadex::host
