#include "platform/fake/fake_pasteboard.hpp"

#include <algorithm>

namespace trovadex::platform::fake {

struct PasteboardContents {
  mutable std::mutex mutex;
  // Guarded by mutex.
  std::vector<std::string> declaredTypes;
  const void* owner = nullptr;
  std::map<std::string, foundation::Value> propertyLists;
  std::size_t clearCount = 0;
  std::size_t releaseCount = 0;
};

namespace {

constexpr std::size_t kMaximumNameLength = 200;

bool isNameCharacter(char c) {
  return (c >= 'A' && c <= 'Z') || (c >= 'a' && c <= 'z') || (c >= '0' && c <= '9') || c == '.' ||
         c == '_' || c == '-';
}

}  // namespace

FakePasteboard::FakePasteboard(std::string name, std::shared_ptr<PasteboardContents> contents)
    : name_(std::move(name)), contents_(std::move(contents)) {}

FakePasteboard::~FakePasteboard() = default;

void FakePasteboard::clearContents() {
  if (!contents_) return;
  std::lock_guard lock(contents_->mutex);
  contents_->declaredTypes.clear();
  contents_->owner = nullptr;
  contents_->propertyLists.clear();
  ++contents_->clearCount;
}

void FakePasteboard::declareTypes(const std::vector<std::string>& types, const void* owner) {
  if (!contents_) return;
  std::lock_guard lock(contents_->mutex);
  // Declaring starts a new set of contents, as on the platform.
  contents_->declaredTypes = types;
  contents_->owner = owner;
  contents_->propertyLists.clear();
}

bool FakePasteboard::setPropertyList(const foundation::Value& propertyList,
                                     const std::string& type) {
  if (!contents_ || propertyList.isNil()) return false;
  std::lock_guard lock(contents_->mutex);
  const auto& declared = contents_->declaredTypes;
  if (std::find(declared.begin(), declared.end(), type) == declared.end()) return false;
  contents_->propertyLists.insert_or_assign(type, propertyList);
  return true;
}

foundation::Value FakePasteboard::propertyListForType(const std::string& type) const {
  if (!contents_) return {};
  std::lock_guard lock(contents_->mutex);
  auto found = contents_->propertyLists.find(type);
  return found == contents_->propertyLists.end() ? foundation::Value() : found->second;
}

void FakePasteboard::releaseGlobally() {
  if (!contents_) return;
  std::lock_guard lock(contents_->mutex);
  contents_->declaredTypes.clear();
  contents_->owner = nullptr;
  contents_->propertyLists.clear();
  ++contents_->releaseCount;
}

std::vector<std::string> FakePasteboard::declaredTypes() const {
  if (!contents_) return {};
  std::lock_guard lock(contents_->mutex);
  return contents_->declaredTypes;
}

const void* FakePasteboard::declaredOwner() const {
  if (!contents_) return nullptr;
  std::lock_guard lock(contents_->mutex);
  return contents_->owner;
}

std::size_t FakePasteboard::clearContentsCount() const {
  if (!contents_) return 0;
  std::lock_guard lock(contents_->mutex);
  return contents_->clearCount;
}

std::size_t FakePasteboard::releaseGloballyCount() const {
  if (!contents_) return 0;
  std::lock_guard lock(contents_->mutex);
  return contents_->releaseCount;
}

FakePasteboardServer::FakePasteboardServer() = default;
FakePasteboardServer::~FakePasteboardServer() = default;

bool FakePasteboardServer::isUsableName(const std::string& name) {
  return !name.empty() && name.size() <= kMaximumNameLength && name.front() != '.' &&
         std::all_of(name.begin(), name.end(), isNameCharacter);
}

std::shared_ptr<FakePasteboard> FakePasteboardServer::pasteboardLocked(const std::string& name) {
  if (auto live = live_[name].lock()) return live;
  auto& contents = contents_[name];
  if (!contents) {
    contents = std::make_shared<PasteboardContents>();
    namesMade_.push_back(name);
  }
  auto pasteboard = std::make_shared<FakePasteboard>(name, contents);
  live_[name] = pasteboard;
  return pasteboard;
}

std::shared_ptr<Pasteboard> FakePasteboardServer::pasteboardWithUniqueName() {
  std::lock_guard lock(mutex_);
  // A name is unique when the server has never seen it, so a later look-up by name cannot meet
  // an older pasteboard's contents.
  std::string name;
  do {
    name = "fake-" + std::to_string(nextUnique_++);
  } while (contents_.count(name) != 0);
  return pasteboardLocked(name);
}

std::shared_ptr<Pasteboard> FakePasteboardServer::pasteboardWithName(const std::string& name) {
  if (!isUsableName(name)) return std::make_shared<FakePasteboard>(name, nullptr);
  std::lock_guard lock(mutex_);
  return pasteboardLocked(name);
}

std::vector<std::string> FakePasteboardServer::namesMade() const {
  std::lock_guard lock(mutex_);
  return namesMade_;
}

std::shared_ptr<FakePasteboard> FakePasteboardServer::livePasteboard(
    const std::string& name) const {
  std::lock_guard lock(mutex_);
  auto found = live_.find(name);
  return found == live_.end() ? nullptr : found->second.lock();
}

std::size_t FakePasteboardServer::clearContentsCount(const std::string& name) const {
  std::lock_guard lock(mutex_);
  auto found = contents_.find(name);
  if (found == contents_.end()) return 0;
  std::lock_guard contentsLock(found->second->mutex);
  return found->second->clearCount;
}

std::size_t FakePasteboardServer::releaseGloballyCount(const std::string& name) const {
  std::lock_guard lock(mutex_);
  auto found = contents_.find(name);
  if (found == contents_.end()) return 0;
  std::lock_guard contentsLock(found->second->mutex);
  return found->second->releaseCount;
}

foundation::Value FakePasteboardServer::propertyList(const std::string& name,
                                                     const std::string& type) const {
  std::lock_guard lock(mutex_);
  auto found = contents_.find(name);
  if (found == contents_.end()) return {};
  std::lock_guard contentsLock(found->second->mutex);
  auto list = found->second->propertyLists.find(type);
  return list == found->second->propertyLists.end() ? foundation::Value() : list->second;
}

}  // namespace trovadex::platform::fake
