// Bundle: what a loaded bundle knows about itself.
//
// The plug-in reads its own info dictionary (its version strings); it reads the host's main
// bundle for localized alert texts. Immutable after loading: safe from any thread.
#pragma once

#include <string>

#include "foundation/value.hpp"

namespace trovadex::platform {

class Bundle {
 public:
  virtual ~Bundle();
  // The entry of the bundle's info dictionary under key (such as "CFBundleVersion"), or nil.
  virtual foundation::Value objectForInfoDictionaryKey(const std::string& key) const = 0;
  // The bundle's translation of key; value when it has none and value is not empty; else key.
  virtual std::string localizedStringForKey(const std::string& key,
                                            const std::string& value) const = 0;
};

}  // namespace trovadex::platform
