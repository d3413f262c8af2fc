// postDistributedNotificationName: the one way out of the plug-in.
#include <mutex>

#include "plugin/td_mail_plugin.hpp"
#include "protocol/message_names.hpp"
#include "search/td_mail_plugin_query.hpp"

namespace trovadex::plugin {

using foundation::Value;

void TDMailPlugin::postDistributedNotificationName(const std::string& name, const Value& object,
                                                   const Value& userInfo, bool deliverImmediately) {
  if (userInfo[protocol::key::kUniqueName].isNil()) {
    postChecked(name, object, userInfo, deliverImmediately);
    return;
  }
  // The lock is held across the check and the emit (which only queues the message), so that a
  // query cancelled on another thread posts nothing once its cancellation has taken effect.
  std::lock_guard lock(stateMutex_);
  postChecked(name, object, userInfo, deliverImmediately);
}

void TDMailPlugin::postChecked(const std::string& name, const Value& object, const Value& userInfo,
                               bool deliverImmediately) {
  const Value& uniqueName = userInfo[protocol::key::kUniqueName];
  if (!uniqueName.isNil()) {
    auto found = queriesByName_.find(uniqueName);
    if (found == queriesByName_.end()) return;
    const auto& searchQuery = found->second->searchQuery();
    if (!searchQuery || searchQuery->isCancelled()) return;
  }

  Value::Dictionary message;
  if (const Value::Dictionary* entries = userInfo.asDictionary()) message = *entries;
  message.insert_or_assign(std::string(protocol::key::kVersion), Value(version_));
  message.insert_or_assign(std::string(protocol::key::kCompatibilityVersion),
                           Value::integer(protocol::kCompatibilityVersion));
  context_.ports().distributedCenter->postNotification(name, object, Value(std::move(message)),
                                                       deliverImmediately);
}

}  // namespace trovadex::plugin
