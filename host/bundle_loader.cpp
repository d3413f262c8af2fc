#include "host/bundle_loader.hpp"

#include <dlfcn.h>

#include <algorithm>
#include <system_error>

#include "host/info_dictionary_bundle.hpp"
#include "host/library_layout.hpp"

namespace trovadex::host {
namespace {

using LoadEntry = bool (*)(const platform::Ports*);

std::string stringEntry(const foundation::Value::Dictionary& info, const char* key) {
  auto found = info.find(key);
  if (found == info.end() || !found->second.isString()) return {};
  return *found->second.asString();
}

// An executable name must name a file inside Contents/Linux, nothing else.
bool isPlainFileName(const std::string& name) {
  return !name.empty() && name != "." && name != ".." && name.find('/') == std::string::npos;
}

}  // namespace

std::vector<std::filesystem::path> findBundles(const std::filesystem::path& folder) {
  std::vector<std::filesystem::path> bundles;
  std::error_code error;
  for (std::filesystem::directory_iterator entry(folder, error), end; !error && entry != end;
       entry.increment(error)) {
    if (entry->path().extension() == kBundleExtension) bundles.push_back(entry->path());
  }
  std::sort(bundles.begin(), bundles.end());
  return bundles;
}

BundleLoader::BundleLoader(platform::Ports sharedPorts,
                           std::shared_ptr<platform::MailLibraryClass> mailLibraryClass,
                           std::shared_ptr<LoadedBundles> loadedBundles,
                           std::shared_ptr<platform::Console> console)
    : sharedPorts_(std::move(sharedPorts)),
      mailLibraryClass_(std::move(mailLibraryClass)),
      loadedBundles_(std::move(loadedBundles)),
      console_(std::move(console)) {}

std::vector<BundleLoadReport> BundleLoader::loadBundles(
    const std::vector<std::filesystem::path>& folders) {
  std::vector<BundleLoadReport> reports;
  for (const auto& folder : folders) {
    reports.push_back(loadBundle(folder));
    report(reports.back());
  }
  return reports;
}

BundleLoadReport BundleLoader::loadBundle(const std::filesystem::path& folder) {
  BundleLoadReport outcome;
  outcome.folder = folder;
  outcome.identity.folder = folder.string();
  auto info = readBundleInfo(folder);
  if (!info) {
    outcome.problem = info.error().localizedDescription;
    return outcome;
  }
  outcome.identity.identifier = stringEntry(info.value(), "CFBundleIdentifier");
  outcome.identity.version = stringEntry(info.value(), "CFBundleVersion");
  const std::string executable = stringEntry(info.value(), "CFBundleExecutable");
  if (outcome.identity.identifier.empty()) {
    outcome.problem = "its Info.plist has no CFBundleIdentifier";
    return outcome;
  }
  if (!isPlainFileName(executable)) {
    outcome.problem = "its Info.plist has no usable CFBundleExecutable";
    return outcome;
  }
  if (std::find(identifiersSeen_.begin(), identifiersSeen_.end(), outcome.identity.identifier) !=
      identifiersSeen_.end()) {
    outcome.problem =
        "a bundle with the identifier " + outcome.identity.identifier + " was loaded already";
    return outcome;
  }
  identifiersSeen_.push_back(outcome.identity.identifier);

  const std::filesystem::path library = folder / "Contents" / "Linux" / (executable + ".so");
  // RTLD_LOCAL keeps each bundle's symbols to itself; the handle is never closed, since a bundle
  // is never unloaded.
  void* handle = dlopen(library.c_str(), RTLD_NOW | RTLD_LOCAL);
  if (handle == nullptr) {
    const char* why = dlerror();
    outcome.problem = why ? why : (library.string() + " cannot be opened");
    return outcome;
  }
  auto entry = reinterpret_cast<LoadEntry>(dlsym(handle, kBundleLoadSymbol));
  if (entry == nullptr) {
    outcome.problem = library.string() + " does not export " + kBundleLoadSymbol;
    return outcome;
  }

  auto ports = std::make_unique<platform::Ports>(sharedPorts_);
  ports->pluginBundle = std::make_shared<InfoDictionaryBundle>(info.value());
  ports->hostClasses =
      std::make_shared<BundleHostClasses>(loadedBundles_, outcome.identity, mailLibraryClass_);
  outcome.loaded = entry(ports.get());
  portsHandedOut_.push_back(std::move(ports));
  if (!outcome.loaded) outcome.problem = "its loading entry refused to load";
  return outcome;
}

void BundleLoader::report(const BundleLoadReport& outcome) const {
  if (!console_) return;
  if (outcome.loaded) {
    console_->writeLine("Loaded bundle " + outcome.identity.identifier + " " +
                        outcome.identity.version + " from " + outcome.folder.string());
  } else {
    console_->writeLine("Bundle " + outcome.folder.string() + " not loaded: " + outcome.problem);
  }
}

}  // namespace trovadex::host
