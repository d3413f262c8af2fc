// UserDefaults: the host's persistent key-value store of property-list values.
//
// Reads and writes work on an in-memory copy and never wait on the disk; the adapter persists
// changes on its own schedule. Safe from any thread.
#pragma once

#include <string>

#include "foundation/value.hpp"

namespace trovadex::platform {

class UserDefaults {
 public:
  virtual ~UserDefaults();
  // The value under key, or nil.
  virtual foundation::Value objectForKey(const std::string& key) const = 0;
  // Stores value under key; a nil value removes the key.
  virtual void setObject(const foundation::Value& value, const std::string& key) = 0;
  virtual void removeObjectForKey(const std::string& key) = 0;
};

}  // namespace trovadex::platform
