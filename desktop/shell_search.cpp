#include "desktop/shell_search.hpp"

#include "search/query_string_translator.hpp"

namespace trovadex::desktop {

using foundation::Error;
using foundation::Result;
using foundation::Status;

namespace {

// Results are remembered up to this many; beyond, only the latest search's are kept.
constexpr std::size_t kRememberedBound = 2000;

// Every search of the shell replaces the one before.
constexpr const char* kShellLineage = "shell";

}  // namespace

std::string joinedTerms(const std::vector<std::string>& terms) {
  std::string text;
  for (const auto& term : terms) {
    if (term.empty()) continue;
    if (!text.empty()) text += ' ';
    text += term;
  }
  return text;
}

ShellSearch::~ShellSearch() = default;

Status ShellSearch::connect() {
  if (client_ && client_->core().plugin()) return {};
  if (!client_) {
    auto client = companion::Client::open();
    if (!client) return client.error();
    client_ = std::move(client).value();
  }
  auto plugin = client_->connect(timeout_, /*checkVersion=*/false);
  if (!plugin) {
    return Error{kShellSearchErrorDomain, kNoPlugin, plugin.error().localizedDescription};
  }
  return {};
}

Result<std::vector<ShellResult>> ShellSearch::find(const std::vector<std::string>& terms) {
  auto queryString = plugin::translateSearchString(joinedTerms(terms), std::nullopt);
  if (!queryString) return std::vector<ShellResult>{};
  if (auto connected = connect(); !connected) return connected.error();

  companion::SearchRequest request;
  request.queryString = std::move(*queryString);
  request.sortingAttribute = kResultDateAttribute;
  request.sortAscending = false;
  request.lineageName = kShellLineage;
  NewestResults newest(kShellResultCount);
  companion::SearchEvents events;
  events.found = [&](const companion::BatchReport& batch) {
    for (const auto& message : batch.messages) newest.add(message);
  };
  const auto summary = client_->runSearch(std::move(request), std::move(events), timeout_);
  switch (summary.outcome) {
    case companion::SearchOutcome::Completed:
    case companion::SearchOutcome::LimitReached:
      break;
    case companion::SearchOutcome::Failed:
      return Error{kShellSearchErrorDomain, kQueryFailed, summary.failure->message};
    case companion::SearchOutcome::NoAnswer:
    case companion::SearchOutcome::PluginQuit:
    case companion::SearchOutcome::Running:
    case companion::SearchOutcome::Interrupted:
    case companion::SearchOutcome::Replaced:
      return Error{kShellSearchErrorDomain, kNoPlugin,
                   "The mail plug-in did not finish the search"};
  }
  remember(newest.results());
  return newest.results();
}

const ShellResult* ShellSearch::remembered(const std::string& identifier) const {
  auto found = remembered_.find(identifier);
  return found != remembered_.end() ? &found->second : nullptr;
}

void ShellSearch::remember(const std::vector<ShellResult>& results) {
  if (remembered_.size() + results.size() > kRememberedBound) remembered_.clear();
  for (const auto& result : results) remembered_[result.identifier] = result;
}

}  // namespace trovadex::desktop
