// BundleLoader: finds mail bundles and loads them into the host, the way the mail host does.
//
// Every failure is reported, never fatal: the host runs on without that bundle. Libraries are
// never closed again. Main thread only (a bundle's loading entry expects the main thread).
#pragma once

#include <filesystem>
#include <memory>
#include <string>
#include <vector>

#include "host/loaded_bundles.hpp"
#include "platform/console.hpp"
#include "platform/ports.hpp"

namespace trovadex::host {

inline constexpr const char* kBundleLoadSymbol = "trovadex_mailbundle_load";

struct BundleLoadReport {
  std::filesystem::path folder;
  bool loaded = false;
  BundleIdentity identity;  // as far as it could be read
  std::string problem;      // why it did not load; empty when it did
};

// The *.mailbundle entries directly inside folder, sorted by name; none when there is no folder.
std::vector<std::filesystem::path> findBundles(const std::filesystem::path& folder);

// A bundle is a folder X.mailbundle with Contents/Info.plist (CFBundleIdentifier,
// CFBundleExecutable, CFBundleVersion, CFBundleShortVersionString) and the shared library
// Contents/Linux/<CFBundleExecutable>.so, which exports the C function trovadex_mailbundle_load.
// Loading opens the library, finds the function and calls it with ports of the bundle's own (its
// Info.plist as pluginBundle, host classes that register it under its identifier); the function
// answers whether the bundle loaded. The ports handed to a bundle are kept for the life of the
// loader, which the host keeps for the life of the process.
class BundleLoader {
 public:
  // sharedPorts are handed to every bundle, with pluginBundle and hostClasses made per bundle;
  // console (may be null) receives one line per bundle, loaded or not.
  BundleLoader(platform::Ports sharedPorts,
               std::shared_ptr<platform::MailLibraryClass> mailLibraryClass,
               std::shared_ptr<LoadedBundles> loadedBundles,
               std::shared_ptr<platform::Console> console);
  BundleLoader(const BundleLoader&) = delete;
  BundleLoader& operator=(const BundleLoader&) = delete;

  // Loads the bundles in order. A bundle whose identifier an earlier one of this loader already
  // had is skipped and reported, so a bundle named on the command line wins over an installed
  // copy of itself.
  std::vector<BundleLoadReport> loadBundles(const std::vector<std::filesystem::path>& folders);

 private:
  BundleLoadReport loadBundle(const std::filesystem::path& folder);
  void report(const BundleLoadReport& outcome) const;

  // Immutable after construction.
  const platform::Ports sharedPorts_;
  const std::shared_ptr<platform::MailLibraryClass> mailLibraryClass_;
  const std::shared_ptr<LoadedBundles> loadedBundles_;
  const std::shared_ptr<platform::Console> console_;

  // Main thread only.
  std::vector<std::string> identifiersSeen_;
  std::vector<std::unique_ptr<platform::Ports>> portsHandedOut_;
};

}  // namespace trovadex::host
