// InfoDictionaryBundle: the Bundle port over an info dictionary, and the reading of a bundle's
// Contents/Info.plist.
//
// The host hands each loaded bundle one of these made from its own Info.plist, and the host's
// main bundle one made from the host's built-in info. Bundles on this platform carry no
// translation tables, so a localized string is the given value, or the key when the value is
// empty. Immutable after construction: safe from any thread.
#pragma once

#include <filesystem>

#include "foundation/error.hpp"
#include "foundation/value.hpp"
#include "platform/bundle.hpp"

namespace trovadex::host {

class InfoDictionaryBundle final : public platform::Bundle {
 public:
  explicit InfoDictionaryBundle(foundation::Value::Dictionary info) : info_(std::move(info)) {}

  foundation::Value objectForInfoDictionaryKey(const std::string& key) const override;
  std::string localizedStringForKey(const std::string& key,
                                    const std::string& value) const override;

  const foundation::Value::Dictionary& info() const { return info_; }

 private:
  const foundation::Value::Dictionary info_;
};

// The info dictionary of the bundle folder (its Contents/Info.plist). Fails when the file is
// missing or unreadable, or holds no dictionary.
foundation::Result<foundation::Value::Dictionary> readBundleInfo(
    const std::filesystem::path& bundleFolder);

// The host's own info: its identifier, name and the project's version.
foundation::Value::Dictionary hostInfoDictionary();

}  // namespace trovadex::host
