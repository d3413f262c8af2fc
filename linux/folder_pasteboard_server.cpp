#include "linux/folder_pasteboard_server.hpp"

#include <unistd.h>

#include <algorithm>
#include <vector>

#include "linux/pasteboard_name.hpp"

namespace trovadex::linux_platform {
namespace {

using foundation::Status;
using foundation::Value;

// A pasteboard backed by its folder.
class FolderPasteboard final : public platform::Pasteboard {
 public:
  FolderPasteboard(std::string name, std::shared_ptr<const PasteboardFolder> folder,
                   std::shared_ptr<platform::Console> console)
      : name_(std::move(name)), folder_(std::move(folder)), console_(std::move(console)) {}

  std::string name() const override { return name_; }

  void clearContents() override {
    {
      std::lock_guard lock(mutex_);
      declaredTypes_.clear();
    }
    report(folder_->clear(name_), "clear");
  }

  void declareTypes(const std::vector<std::string>& types, const void* /*owner*/) override {
    {
      std::lock_guard lock(mutex_);
      declaredTypes_ = types;
    }
    report(folder_->clear(name_), "clear");
  }

  bool setPropertyList(const Value& propertyList, const std::string& type) override {
    {
      std::lock_guard lock(mutex_);
      if (std::find(declaredTypes_.begin(), declaredTypes_.end(), type) == declaredTypes_.end()) {
        return false;
      }
    }
    return report(folder_->writePropertyList(name_, type, propertyList), "write");
  }

  Value propertyListForType(const std::string& type) const override {
    auto read = folder_->readPropertyList(name_, type);
    return read ? read.value() : Value();
  }

  void releaseGlobally() override {
    {
      std::lock_guard lock(mutex_);
      declaredTypes_.clear();
    }
    report(folder_->remove(name_), "release");
  }

 private:
  bool report(const Status& status, const char* operation) const {
    if (!status && console_) {
      console_->writeLine("Pasteboard " + name_ + ": could not " + operation + ": " +
                          status.error().localizedDescription);
    }
    return status.ok();
  }

  // Immutable after construction.
  const std::string name_;
  const std::shared_ptr<const PasteboardFolder> folder_;
  const std::shared_ptr<platform::Console> console_;

  mutable std::mutex mutex_;
  std::vector<std::string> declaredTypes_;  // Guarded by mutex_.
};

// The pasteboard of a name that breaks the rules: it holds and stores nothing.
class UnusablePasteboard final : public platform::Pasteboard {
 public:
  explicit UnusablePasteboard(std::string name) : name_(std::move(name)) {}
  std::string name() const override { return name_; }
  void clearContents() override {}
  void declareTypes(const std::vector<std::string>&, const void*) override {}
  bool setPropertyList(const Value&, const std::string&) override { return false; }
  Value propertyListForType(const std::string&) const override { return {}; }
  void releaseGlobally() override {}

 private:
  const std::string name_;
};

}  // namespace

FolderPasteboardServer::FolderPasteboardServer(PasteboardFolder folder,
                                               std::shared_ptr<platform::Console> console)
    : folder_(std::make_shared<const PasteboardFolder>(std::move(folder))),
      console_(std::move(console)),
      random_(std::random_device{}()) {}

std::size_t FolderPasteboardServer::removeStaleFolders() {
  const auto removed = folder_->removeStaleFolders(processIsAlive);
  if (console_) {
    for (const auto& name : removed) {
      console_->writeLine("Removed the pasteboard " + name + " of a process that no longer runs");
    }
  }
  return removed.size();
}

std::shared_ptr<platform::Pasteboard> FolderPasteboardServer::pasteboardWithUniqueName() {
  std::lock_guard lock(mutex_);
  for (;;) {
    std::string name =
        makeUniquePasteboardName(::getpid(), nextCounter_++, static_cast<std::uint32_t>(random_()));
    // A folder of that name on disk belongs to someone else, even when no handle is live here.
    if (::access(folder_->pathOf(name).c_str(), F_OK) == 0) continue;
    auto& slot = live_[name];
    if (!slot.expired()) continue;
    auto pasteboard = std::make_shared<FolderPasteboard>(name, folder_, console_);
    slot = pasteboard;
    return pasteboard;
  }
}

std::shared_ptr<platform::Pasteboard> FolderPasteboardServer::pasteboardWithName(
    const std::string& name) {
  if (!isValidPasteboardName(name)) return std::make_shared<UnusablePasteboard>(name);
  std::lock_guard lock(mutex_);
  // Forget handles that nobody holds any more, so the map stays as small as the live set.
  std::erase_if(live_, [](const auto& entry) { return entry.second.expired(); });
  auto& slot = live_[name];
  if (auto existing = slot.lock()) return existing;
  auto pasteboard = std::make_shared<FolderPasteboard>(name, folder_, console_);
  slot = pasteboard;
  return pasteboard;
}

}  // namespace trovadex::linux_platform
