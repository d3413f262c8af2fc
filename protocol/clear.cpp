// clear: the companion hands a results batch's pasteboard back.
//
// The pasteboard's tags must name the client and the query that send the command, and exactly one
// pending batch of that query must hold the very pasteboard; only then does it go back to the
// pool. A pasteboard that fails a check stays out of the pool until its query is cancelled or the
// host quits, and a removal batch, which is never pending, never comes back.
//
// The names are compared as the command carried them, whatever their kind. Pasteboards are named
// by strings only, so a "batchName" of another kind names no pasteboard: like a name the plug-in
// never handed out, it meets the client check with no tag and logs the client mismatch.
#include <mutex>

#include "plugin/td_mail_plugin.hpp"
#include "protocol/message_names.hpp"
#include "search/td_mail_plugin_query.hpp"

namespace trovadex::plugin {

using foundation::Value;
namespace key = protocol::key;

namespace {

// The platform's [tagged isEqual:received]: a missing tag equals nothing, not even a missing name.
bool tagMatches(const Value& tagged, const Value& received) {
  return !tagged.isNil() && tagged.isEqual(received);
}

}  // namespace

void TDMailPlugin::clear(const platform::Notification& notification) {
  const Value& userInfo = notification.userInfo;
  const Value& uniqueName = userInfo[key::kUniqueName];
  const Value& clientName = userInfo[key::kClientName];
  const Value& batchName = userInfo[key::kBatchName];
  logQueryName(context_, uniqueName, "TDMailPlugin received %@ / %@ - %@",
               {Value(notification.name), clientName, batchName});

  if (uniqueName.isNil() || batchName.isNil()) return;

  const std::string* pasteboardName = batchName.asString();
  auto pasteboard = pasteboardName != nullptr
                        ? context_.ports().pasteboardServer->pasteboardWithName(*pasteboardName)
                        : nullptr;
  const Value taggedClient = pasteboard ? pasteboard->tag(key::kClientName) : Value();
  if (!tagMatches(taggedClient, clientName)) {
    logQueryName(context_, uniqueName,
                 "TDMailPlugin PASTEBOARD USE ERROR. Pasteboard client mismatch: %@ - %@",
                 {taggedClient, clientName});
    return;
  }
  const Value taggedQuery = pasteboard->tag(key::kUniqueName);
  if (!tagMatches(taggedQuery, uniqueName)) {
    logQueryName(context_, uniqueName,
                 "TDMailPlugin PASTEBOARD USE ERROR. Pasteboard query mismatch: %@ - %@",
                 {taggedQuery, uniqueName});
    return;
  }

  std::optional<std::size_t> removed;
  {
    std::lock_guard lock(stateMutex_);
    auto found = queriesByName_.find(uniqueName);
    if (found != queriesByName_.end()) {
      auto& pending = found->second->pendingBatches();
      removed = std::erase_if(pending, [&](const protocol::PendingBatch& batch) {
        return batch.pasteboard.get() == pasteboard.get();
      });
    }
  }
  if (!removed) {
    logQueryName(context_, uniqueName, "TDMailPlugin PASTEBOARD CLEAR ERROR. Missing query");
    return;
  }
  if (*removed == 1) {
    pasteboardToPool(pasteboard);
    return;
  }
  logQueryName(context_, uniqueName,
               "TDMailPlugin PASTEBOARD USE ERROR. Pasteboard mismatch: %@ - %@",
               {batchName, Value::unsignedInteger(*removed)});
}

}  // namespace trovadex::plugin
