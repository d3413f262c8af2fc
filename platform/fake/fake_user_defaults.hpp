// FakeUserDefaults: the host's defaults as an in-memory map that a test can read back whole.
//
// Nothing is persisted. Safe from any thread.
#pragma once

#include <cstddef>
#include <mutex>
#include <string>

#include "platform/user_defaults.hpp"

namespace trovadex::platform::fake {

class FakeUserDefaults final : public UserDefaults {
 public:
  FakeUserDefaults();
  ~FakeUserDefaults() override;

  foundation::Value objectForKey(const std::string& key) const override;
  void setObject(const foundation::Value& value, const std::string& key) override;
  void removeObjectForKey(const std::string& key) override;

  // Every entry, as a Dictionary.
  foundation::Value::Dictionary dictionary() const;
  // How many setObject and removeObjectForKey calls were made.
  std::size_t writeCount() const;

 private:
  mutable std::mutex mutex_;
  // Guarded by mutex_.
  foundation::Value::Dictionary entries_;
  std::size_t writes_ = 0;
};

}  // namespace trovadex::platform::fake
