#include "companion/message_lookup.hpp"

#include <filesystem>
#include <optional>

namespace trovadex::companion {

using foundation::Error;
using foundation::Result;

bool isLibraryID(const std::string& word) {
  // At most 18 digits: every such number fits a signed 64-bit library ID.
  return !word.empty() && word.size() <= 18 &&
         word.find_first_not_of("0123456789") == std::string::npos;
}

std::string libraryIDQuery(const std::string& libraryID) {
  return "_kMDItemExternalID == " + libraryID;
}

Result<std::string> locateMessage(Client* client, const std::string& word,
                                  std::chrono::milliseconds timeout) {
  if (!isLibraryID(word)) {
    std::error_code error;
    if (!std::filesystem::is_regular_file(word, error)) {
      return Error{kMessageLookupErrorDomain, kNoSuchMessage, "No message file at " + word};
    }
    return word;
  }
  if (client == nullptr) {
    return Error{kMessageLookupErrorDomain, kLookupNoPlugin, "No client to ask the plug-in"};
  }
  auto plugin = client->connect(timeout, /*checkVersion=*/false);
  if (!plugin) {
    return Error{kMessageLookupErrorDomain, kLookupNoPlugin, plugin.error().localizedDescription};
  }
  std::optional<std::string> path;
  SearchEvents events;
  events.found = [&](const BatchReport& batch) {
    for (const auto& message : batch.messages) {
      if (!path && message.path) path = *message.path;
    }
  };
  SearchRequest request;
  request.queryString = libraryIDQuery(word);
  request.limit = 1;
  const auto summary = client->runSearch(std::move(request), std::move(events), timeout);
  switch (summary.outcome) {
    case SearchOutcome::Completed:
    case SearchOutcome::LimitReached:
      break;
    case SearchOutcome::Failed:
      return Error{kMessageLookupErrorDomain, kLookupNoPlugin,
                   "The search failed: " + summary.failure->message};
    default:
      return Error{kMessageLookupErrorDomain, kLookupNoPlugin,
                   "The plug-in did not finish the search"};
  }
  if (!path) {
    return Error{kMessageLookupErrorDomain, kNoSuchMessage, "No message has the ID " + word};
  }
  return *path;
}

}  // namespace trovadex::companion
