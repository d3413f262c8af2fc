// The state a running query's result handlers share with the commands, reached under the state
// lock: whether the query is still alive, which messages it has delivered, which batches are
// pending.
#include <mutex>

#include "plugin/td_mail_plugin.hpp"
#include "protocol/message_names.hpp"
#include "search/td_mail_plugin_query.hpp"

namespace trovadex::plugin {

using foundation::Value;

bool TDMailPlugin::isQueryAliveLocked(const TDMailPluginQuery& record) const {
  auto filed = queriesByName_.find(record.queryName());
  if (filed == queriesByName_.end() || filed->second.get() != &record) return false;
  const auto& searchQuery = record.searchQuery();
  return searchQuery && !searchQuery->isCancelled();
}

bool TDMailPlugin::isQueryAlive(const TDMailPluginQuery& record) const {
  std::lock_guard lock(stateMutex_);
  return isQueryAliveLocked(record);
}

TDMailPlugin::Admission TDMailPlugin::admitFoundItem(TDMailPluginQuery& record,
                                                     std::optional<std::int64_t> libraryID) {
  std::lock_guard lock(stateMutex_);
  if (!isQueryAliveLocked(record)) return Admission::QueryGone;
  if (libraryID && !record.messageIDs().insert(*libraryID).second) return Admission::Duplicate;
  return Admission::Admitted;
}

std::optional<Value> TDMailPlugin::addPendingBatch(TDMailPluginQuery& record,
                                                   protocol::PendingBatch batch) {
  std::lock_guard lock(stateMutex_);
  if (!isQueryAliveLocked(record)) return std::nullopt;
  Value::Array summary;
  summary.reserve(record.pendingBatches().size());
  for (const auto& pending : record.pendingBatches()) {
    summary.emplace_back(Value::Dictionary{
        {std::string(protocol::key::kBatchNumber), Value::unsignedInteger(pending.batchNumber)},
        {std::string(protocol::key::kBatchName), Value(pending.batchName)},
    });
  }
  record.pendingBatches().push_back(std::move(batch));
  return Value(std::move(summary));
}

}  // namespace trovadex::plugin
