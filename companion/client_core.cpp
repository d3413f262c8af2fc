#include "companion/client_core.hpp"

#include <utility>

#include "foundation/format.hpp"

namespace trovadex::companion {

using foundation::Value;

bool PluginInfo::isCompatible() const {
  return compatibilityVersion == Value::integer(kCompatibilityVersion);
}

ClientCore::ClientCore(std::string clientName, pid_t pid, std::string companionVersion,
                       linux_platform::PasteboardFolder pasteboards, CommandPoster post,
                       ClientEvents events)
    : clientName_(std::move(clientName)),
      pid_(pid),
      companionVersion_(std::move(companionVersion)),
      pasteboards_(std::move(pasteboards)),
      post_(std::move(post)),
      events_(std::move(events)) {}

void ClientCore::connect(bool checkVersion) {
  post_(Command::Connect,
        Value::Dictionary{
            {std::string(key::kClientName), clientName_},
            {std::string(key::kVersion), companionVersion_},
            {std::string(key::kCompatibilityVersion), Value::integer(kCompatibilityVersion)},
            {std::string(key::kCheckVersion), Value::boolean(checkVersion)}});
}

std::shared_ptr<SearchSession> ClientCore::startSearch(SearchRequest request, SearchEvents events) {
  if (!request.lineageName.empty()) {
    for (const auto& name : activeNames()) {
      auto session = searches_[name];
      if (session->request().lineageName == request.lineageName) session->replace();
    }
  }
  forgetEndedSearches();
  const std::string uniqueName = foundation::formatString(
      "%@-%d-%llu", {clientName_, static_cast<std::int64_t>(pid_), ++searchCounter_});
  auto session =
      std::make_shared<SearchSession>(uniqueName, clientName_, companionVersion_,
                                      std::move(request), pasteboards_, post_, std::move(events));
  searches_[uniqueName] = session;
  session->start();
  return session;
}

void ClientCore::receive(std::string_view notificationName, const Value& userInfo) {
  const auto answer = answerForName(notificationName);
  if (!answer) return;
  switch (*answer) {
    case Answer::PluginReady: {
      const std::string* client = stringForKey(userInfo, key::kClientName);
      if (client == nullptr) {
        // Only a plug-in that has just started speaks unasked: whatever ran before is gone.
        pluginWentAway();
        if (events_.pluginStarted) events_.pluginStarted();
      } else if (*client == clientName_) {
        const std::string* version = stringForKey(userInfo, key::kVersion);
        plugin_ = PluginInfo{version != nullptr ? *version : std::string(),
                             userInfo[key::kCompatibilityVersion]};
        ++connectAnswers_;
        if (events_.connected) events_.connected(*plugin_);
      }
      break;
    }
    case Answer::PluginQuit:
      plugin_.reset();
      pluginWentAway();
      if (events_.pluginQuit) events_.pluginQuit(userInfo[key::kActiveNames]);
      break;
    default: {
      const std::string* uniqueName = stringForKey(userInfo, key::kUniqueName);
      if (uniqueName == nullptr) return;
      auto found = searches_.find(*uniqueName);
      if (found == searches_.end()) return;
      auto session = found->second;  // the session's events may start or end searches
      session->receive(*answer, userInfo);
      break;
    }
  }
  forgetEndedSearches();
}

std::vector<std::string> ClientCore::activeNames() const {
  std::vector<std::string> names;
  for (const auto& [name, session] : searches_) {
    if (!session->ended()) names.push_back(name);
  }
  return names;
}

void ClientCore::interrupt() {
  const auto names = activeNames();
  for (const auto& name : names) {
    if (auto found = searches_.find(name); found != searches_.end()) {
      auto session = found->second;
      session->interrupt();
    }
  }
  postTerminate(names);
}

void ClientCore::terminate() {
  const auto names = activeNames();
  for (const auto& name : names) {
    if (auto found = searches_.find(name); found != searches_.end()) {
      auto session = found->second;
      session->abandon();
    }
  }
  postTerminate(names);
}

void ClientCore::postTerminate(const std::vector<std::string>& names) {
  post_(Command::Terminate, Value::Dictionary{{std::string(key::kClientName), clientName_},
                                              {std::string(key::kActiveNames),
                                               Value::Array(names.begin(), names.end())}});
  forgetEndedSearches();
}

void ClientCore::pluginWentAway() {
  for (const auto& name : activeNames()) {
    if (auto found = searches_.find(name); found != searches_.end()) {
      auto session = found->second;
      session->pluginWentAway();
    }
  }
}

void ClientCore::forgetEndedSearches() {
  std::erase_if(searches_, [](const auto& entry) { return entry.second->ended(); });
}

}  // namespace trovadex::companion
