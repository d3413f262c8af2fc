#include "platform/fake/fake_user_defaults.hpp"

namespace trovadex::platform::fake {

FakeUserDefaults::FakeUserDefaults() = default;
FakeUserDefaults::~FakeUserDefaults() = default;

foundation::Value FakeUserDefaults::objectForKey(const std::string& key) const {
  std::lock_guard lock(mutex_);
  auto found = entries_.find(key);
  return found == entries_.end() ? foundation::Value() : found->second;
}

void FakeUserDefaults::setObject(const foundation::Value& value, const std::string& key) {
  std::lock_guard lock(mutex_);
  ++writes_;
  if (value.isNil()) {
    entries_.erase(key);
  } else {
    entries_.insert_or_assign(key, value);
  }
}

void FakeUserDefaults::removeObjectForKey(const std::string& key) {
  std::lock_guard lock(mutex_);
  ++writes_;
  entries_.erase(key);
}

foundation::Value::Dictionary FakeUserDefaults::dictionary() const {
  std::lock_guard lock(mutex_);
  return entries_;
}

std::size_t FakeUserDefaults::writeCount() const {
  std::lock_guard lock(mutex_);
  return writes_;
}

}  // namespace trovadex::platform::fake
