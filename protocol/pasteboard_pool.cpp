// The pasteboard pool: idle result pasteboards kept for reuse, oldest first, at most five.
#include <mutex>

#include "plugin/td_mail_plugin.hpp"
#include "protocol/message_names.hpp"

namespace trovadex::plugin {

using foundation::Value;

namespace {

// Idle pasteboards kept after a return; the surplus is given back to the server.
constexpr std::size_t kPoolBound = 5;

}  // namespace

std::shared_ptr<platform::Pasteboard> TDMailPlugin::pasteboardFromPool() {
  std::lock_guard lock(poolMutex_);
  if (!pasteboardPool_.empty()) {
    auto reused = std::move(pasteboardPool_.front());
    pasteboardPool_.erase(pasteboardPool_.begin());
    return reused;
  }
  auto made = context_.ports().pasteboardServer->pasteboardWithUniqueName();
  if (made) pasteboards_.push_back(made);
  return made;
}

void TDMailPlugin::pasteboardToPool(const std::shared_ptr<platform::Pasteboard>& pasteboard) {
  if (pasteboard) pasteboard->clearContents();
  std::lock_guard lock(poolMutex_);
  if (pasteboard) {
    pasteboard->setTag(protocol::pasteboardTypeName(protocol::PasteboardType::ResultsBatch),
                       Value());
    pasteboard->setTag(protocol::key::kUniqueName, Value());
    pasteboard->setTag(protocol::key::kClientName, Value());
    pasteboardPool_.push_back(pasteboard);
  }
  while (pasteboardPool_.size() > kPoolBound) {
    auto surplus = std::move(pasteboardPool_.front());
    pasteboardPool_.erase(pasteboardPool_.begin());
    surplus->releaseGlobally();
  }
}

std::vector<std::shared_ptr<platform::Pasteboard>> TDMailPlugin::pasteboards() const {
  std::lock_guard lock(poolMutex_);
  return pasteboards_;
}

std::vector<std::shared_ptr<platform::Pasteboard>> TDMailPlugin::pasteboardPool() const {
  std::lock_guard lock(poolMutex_);
  return pasteboardPool_;
}

}  // namespace trovadex::plugin
