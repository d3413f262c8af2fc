#include "platform/fake/fake_bundle.hpp"

#include <utility>

namespace trovadex::platform::fake {

FakeBundle::FakeBundle(foundation::Value::Dictionary infoDictionary)
    : info_(std::move(infoDictionary)) {}

FakeBundle::~FakeBundle() = default;

foundation::Value FakeBundle::objectForInfoDictionaryKey(const std::string& key) const {
  std::lock_guard lock(mutex_);
  auto found = info_.find(key);
  return found == info_.end() ? foundation::Value() : found->second;
}

std::string FakeBundle::localizedStringForKey(const std::string& key,
                                              const std::string& value) const {
  std::lock_guard lock(mutex_);
  if (auto found = translations_.find(key); found != translations_.end()) return found->second;
  return value.empty() ? key : value;
}

void FakeBundle::setInfo(const std::string& key, const foundation::Value& value) {
  std::lock_guard lock(mutex_);
  if (value.isNil()) {
    info_.erase(key);
  } else {
    info_.insert_or_assign(key, value);
  }
}

void FakeBundle::setLocalizedString(const std::string& key, const std::string& translation) {
  std::lock_guard lock(mutex_);
  translations_.insert_or_assign(key, translation);
}

}  // namespace trovadex::platform::fake
