#include "host/info_dictionary_bundle.hpp"

#include <fstream>
#include <sstream>

#include "foundation/property_list.hpp"

namespace trovadex::host {
namespace {

foundation::Error bundleError(std::string message) {
  return foundation::Error{"TrovadexBundleErrorDomain", 1, std::move(message)};
}

}  // namespace

foundation::Value InfoDictionaryBundle::objectForInfoDictionaryKey(const std::string& key) const {
  auto found = info_.find(key);
  return found == info_.end() ? foundation::Value() : found->second;
}

std::string InfoDictionaryBundle::localizedStringForKey(const std::string& key,
                                                        const std::string& value) const {
  return value.empty() ? key : value;
}

foundation::Result<foundation::Value::Dictionary> readBundleInfo(
    const std::filesystem::path& bundleFolder) {
  const std::filesystem::path infoPath = bundleFolder / "Contents" / "Info.plist";
  std::ifstream file(infoPath, std::ios::binary);
  if (!file) return bundleError(infoPath.string() + " cannot be read");
  std::ostringstream bytes;
  bytes << file.rdbuf();
  if (file.bad()) return bundleError(infoPath.string() + " cannot be read");
  auto decoded = foundation::decodePropertyList(bytes.str());
  if (!decoded) {
    return bundleError(infoPath.string() +
                       " is no property list: " + decoded.error().localizedDescription);
  }
  const foundation::Value::Dictionary* info = decoded.value().asDictionary();
  if (info == nullptr) return bundleError(infoPath.string() + " holds no dictionary");
  return *info;
}

foundation::Value::Dictionary hostInfoDictionary() {
  return {
      {"CFBundleIdentifier", "org.trovadex.mailhost"},  {"CFBundleName", "trovadex-mailhost"},
      {"CFBundleExecutable", "trovadex-mailhost"},      {"CFBundleVersion", TROVADEX_VERSION},
      {"CFBundleShortVersionString", TROVADEX_VERSION},
  };
}

}  // namespace trovadex::host
