#include "companion/search_session.hpp"

#include <algorithm>
#include <utility>
#include <vector>

#include "foundation/format.hpp"

namespace trovadex::companion {

using foundation::formatString;
using foundation::Value;

namespace {

bool hasErrorKeys(const Value& userInfo) {
  return !userInfo[key::kErrorCode].isNil() || !userInfo[key::kErrorDomain].isNil() ||
         !userInfo[key::kErrorMessage].isNil();
}

std::string stringOr(const Value& value, std::string fallback) {
  const std::string* text = value.asString();
  return text != nullptr ? *text : std::move(fallback);
}

}  // namespace

SearchSession::SearchSession(std::string uniqueName, std::string clientName,
                             std::string companionVersion, SearchRequest request,
                             linux_platform::PasteboardFolder pasteboards, CommandPoster post,
                             SearchEvents events)
    : uniqueName_(std::move(uniqueName)),
      clientName_(std::move(clientName)),
      companionVersion_(std::move(companionVersion)),
      request_(std::move(request)),
      pasteboards_(std::move(pasteboards)),
      post_(std::move(post)),
      events_(std::move(events)) {}

Value SearchSession::searchUserInfo() const {
  Value::Dictionary userInfo{
      {std::string(key::kUniqueName), uniqueName_},
      {std::string(key::kClientName), clientName_},
      {std::string(key::kVersion), companionVersion_},
      {std::string(key::kQueryString), request_.queryString},
      {std::string(key::kSortAscending), Value::boolean(request_.sortAscending)},
  };
  if (!request_.lineageName.empty()) {
    userInfo.emplace(std::string(key::kLineageName), request_.lineageName);
  }
  if (!request_.sortingAttribute.empty()) {
    userInfo.emplace(std::string(key::kSortingAttribute), request_.sortingAttribute);
  }
  return userInfo;
}

void SearchSession::start() { post_(Command::Search, searchUserInfo()); }

void SearchSession::receive(Answer answer, const Value& userInfo) {
  if (ended()) return;
  const std::string* name = stringForKey(userInfo, key::kUniqueName);
  if (name == nullptr || *name != uniqueName_) return;
  // Events may end the search or drop the caller's last reference to it.
  auto keepAlive = weak_from_this().lock();
  ++summary_.answers;
  switch (answer) {
    case Answer::QueryDidStart:
      summary_.started = true;
      if (events_.started) events_.started();
      break;
    case Answer::QueryHasUpdates:
      queryHasUpdates(userInfo);
      break;
    case Answer::QueryHasRemovals:
      queryHasRemovals(userInfo);
      break;
    case Answer::QueryDidComplete:
      queryDidComplete(userInfo);
      break;
    case Answer::PluginReady:
    case Answer::PluginQuit:
      break;
  }
}

void SearchSession::queryHasUpdates(const Value& userInfo) {
  const std::string* batchName = stringForKey(userInfo, key::kBatchName);
  const Value& batchNumber = userInfo[key::kBatchNumber];
  if (batchName == nullptr || !batchNumber.isNumber()) {
    report("An update without a batch name or number was ignored");
    return;
  }
  const std::uint64_t foundItemCount = userInfo[key::kFoundItemCount].unsignedLongLongValue();

  // Batches the plug-in still holds for this search and that were never read (their own
  // announcement was missed) come first, in number order.
  std::vector<std::pair<std::uint64_t, std::string>> pending;
  if (const auto* entries = userInfo[key::kPendingBatches].asArray()) {
    for (const Value& entry : *entries) {
      const std::string* name = stringForKey(entry, key::kBatchName);
      const Value& number = entry[key::kBatchNumber];
      if (name == nullptr || !number.isNumber()) continue;
      pending.emplace_back(number.unsignedLongLongValue(), *name);
    }
  }
  std::sort(pending.begin(), pending.end());
  for (const auto& [number, name] : pending) {
    if (ended()) return;
    readResultsBatch(number, name, foundItemCount);
  }
  if (ended()) return;
  readResultsBatch(batchNumber.unsignedLongLongValue(), *batchName, foundItemCount);
}

void SearchSession::readResultsBatch(std::uint64_t batchNumber, const std::string& batchName,
                                     std::uint64_t foundItemCount) {
  if (!readResultBatches_.insert(batchNumber).second) return;
  bool ours = true;
  auto payload = readPayload(BatchKind::Results, batchNumber, batchName, ours);
  // The pasteboard goes back to the plug-in as soon as it is read, or found unreadable.
  if (ours) {
    post_(Command::Clear, Value::Dictionary{{std::string(key::kUniqueName), uniqueName_},
                                            {std::string(key::kClientName), clientName_},
                                            {std::string(key::kBatchName), batchName}});
  }
  if (!payload) return;

  BatchReport batch{batchNumber, batchName, foundItemCount, {}};
  if (const auto* records = (*payload)[key::kMessages].asArray()) {
    for (const Value& record : *records) {
      if (request_.limit && summary_.messages + batch.messages.size() >= *request_.limit) break;
      if (auto message = FoundMessage::fromRecord(record)) {
        batch.messages.push_back(std::move(*message));
      }
    }
  }
  ++summary_.resultBatches;
  summary_.messages += batch.messages.size();
  summary_.foundItemCount = foundItemCount;
  if (request_.live) {
    for (const auto& message : batch.messages) {
      if (auto identifier = message.itemIdentifier()) liveMessages_[*identifier] = message;
    }
  }
  if (events_.found) events_.found(batch);
  if (!ended() && request_.limit && summary_.messages >= *request_.limit) {
    postCancel();
    finish(SearchOutcome::LimitReached);
  }
}

void SearchSession::queryHasRemovals(const Value& userInfo) {
  const std::string* batchName = stringForKey(userInfo, key::kBatchName);
  const Value& batchNumber = userInfo[key::kBatchNumber];
  if (batchName == nullptr || !batchNumber.isNumber()) {
    report("A removal without a batch name or number was ignored");
    return;
  }
  if (!readRemovalBatches_.insert(batchNumber.unsignedLongLongValue()).second) return;
  bool ours = true;
  auto payload =
      readPayload(BatchKind::Removals, batchNumber.unsignedLongLongValue(), *batchName, ours);
  if (!payload) return;

  RemovalReport removal{batchNumber.unsignedLongLongValue(), *batchName, {}, {}};
  if (const auto* identifiers = (*payload)[key::kMessageIDs].asArray()) {
    for (const Value& identifier : *identifiers) {
      const std::string* text = identifier.asString();
      if (text == nullptr) continue;
      removal.identifiers.push_back(*text);
      if (auto known = liveMessages_.find(*text); known != liveMessages_.end()) {
        removal.knownMessages.push_back(std::move(known->second));
        liveMessages_.erase(known);
      }
    }
  }
  ++summary_.removalBatches;
  summary_.removedMessages += removal.identifiers.size();
  if (events_.removed) events_.removed(removal);
}

std::optional<Value> SearchSession::readPayload(BatchKind kind, std::uint64_t batchNumber,
                                                const std::string& batchName, bool& ours) {
  const char* what = kind == BatchKind::Results ? "batch" : "removal batch";
  auto payload = pasteboards_.readPropertyList(batchName, pasteboardTypeName(kind));
  if (!payload) {
    report(formatString("Could not read %s %@ (%@): %@",
                        {what, batchNumber, batchName, payload.error().localizedDescription}));
    return std::nullopt;
  }
  if (!payload.value().isDictionary()) {
    report(formatString("The %s %@ (%@) holds no dictionary", {what, batchNumber, batchName}));
    return std::nullopt;
  }
  // A pasteboard that names another search is not ours to report or to clear.
  if (const std::string* owner = stringForKey(payload.value(), key::kUniqueName);
      owner != nullptr && *owner != uniqueName_) {
    ours = false;
    report(formatString("The %s %@ (%@) belongs to the search %@",
                        {what, batchNumber, batchName, *owner}));
    return std::nullopt;
  }
  return std::move(payload).value();
}

void SearchSession::queryDidComplete(const Value& userInfo) {
  if (hasErrorKeys(userInfo)) {
    summary_.failure = QueryFailure{userInfo[key::kErrorCode].integerValue(),
                                    stringOr(userInfo[key::kErrorDomain], ""),
                                    stringOr(userInfo[key::kErrorMessage], "unknown error")};
    finish(SearchOutcome::Failed);
    return;
  }
  if (request_.live && !summary_.gathered) {
    summary_.gathered = true;
    if (events_.gathered) events_.gathered();
    return;
  }
  // The plug-in keeps a query whose engine runs it live registered after its first gathering;
  // a search that wanted only that gathering stops it.
  if (!request_.live) postCancel();
  finish(SearchOutcome::Completed);
}

void SearchSession::interrupt() {
  if (ended()) return;
  postCancel();
  finish(SearchOutcome::Interrupted);
}

void SearchSession::abandon() { finish(SearchOutcome::Interrupted); }

void SearchSession::replace() { finish(SearchOutcome::Replaced); }

void SearchSession::giveUp() {
  if (ended()) return;
  postCancel();
  finish(SearchOutcome::NoAnswer);
}

void SearchSession::pluginWentAway() { finish(SearchOutcome::PluginQuit); }

void SearchSession::postCancel() {
  post_(Command::Cancel, Value::Dictionary{{std::string(key::kUniqueName), uniqueName_},
                                           {std::string(key::kClientName), clientName_}});
}

void SearchSession::finish(SearchOutcome outcome) {
  if (ended()) return;
  auto keepAlive = weak_from_this().lock();
  summary_.outcome = outcome;
  liveMessages_.clear();
  if (events_.ended) events_.ended();
}

void SearchSession::report(const std::string& problem) const {
  if (events_.problem) events_.problem(problem);
}

}  // namespace trovadex::companion
