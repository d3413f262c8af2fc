// FakeBundle: a bundle whose info dictionary and translations the test sets.
//
// localizedStringForKey answers the translation set for the key, else value when it is not
// empty, else the key itself. The test usually fills the bundle before handing it over, but
// setters and readers are safe from any thread.
#pragma once

#include <map>
#include <mutex>
#include <string>

#include "platform/bundle.hpp"

namespace trovadex::platform::fake {

class FakeBundle final : public Bundle {
 public:
  explicit FakeBundle(foundation::Value::Dictionary infoDictionary = {});
  ~FakeBundle() override;

  foundation::Value objectForInfoDictionaryKey(const std::string& key) const override;
  std::string localizedStringForKey(const std::string& key,
                                    const std::string& value) const override;

  // A nil value removes the entry.
  void setInfo(const std::string& key, const foundation::Value& value);
  void setLocalizedString(const std::string& key, const std::string& translation);

 private:
  mutable std::mutex mutex_;
  // Guarded by mutex_.
  foundation::Value::Dictionary info_;
  std::map<std::string, std::string> translations_;
};

}  // namespace trovadex::platform::fake
