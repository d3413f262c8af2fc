// LoadedBundles: the host's list of loaded bundles, and the host classes a bundle looks up.
//
// A bundle that calls registerBundle on the "MVMailBundle" class it was handed is recorded here
// under its identifier and folder; the "MFLibrary" class answers with the store's library. Each
// bundle gets host classes of its own so that registration knows which bundle is calling. Safe
// from any thread.
#pragma once

#include <memory>
#include <mutex>
#include <string>
#include <vector>

#include "platform/console.hpp"
#include "platform/host_classes.hpp"
#include "platform/mail_library.hpp"

namespace trovadex::host {

struct BundleIdentity {
  std::string identifier;  // CFBundleIdentifier
  std::string version;     // CFBundleVersion
  std::string folder;
};

class LoadedBundles {
 public:
  // console (may be null) receives one line per registration.
  explicit LoadedBundles(std::shared_ptr<platform::Console> console)
      : console_(std::move(console)) {}

  void recordRegistration(const BundleIdentity& bundle);
  std::vector<BundleIdentity> registered() const;
  bool isRegistered(const std::string& identifier) const;

 private:
  const std::shared_ptr<platform::Console> console_;  // Immutable after construction.
  mutable std::mutex mutex_;
  std::vector<BundleIdentity> registered_;  // Guarded by mutex_.
};

// The host classes handed to one bundle.
class BundleHostClasses final : public platform::HostClasses {
 public:
  BundleHostClasses(std::shared_ptr<LoadedBundles> bundles, BundleIdentity bundle,
                    std::shared_ptr<platform::MailLibraryClass> mailLibraryClass);

  std::shared_ptr<platform::MailBundleClass> mailBundleClass() override { return mailBundle_; }
  std::shared_ptr<platform::MailLibraryClass> mailLibraryClass() override {
    return mailLibraryClass_;
  }

 private:
  // Immutable after construction.
  const std::shared_ptr<platform::MailBundleClass> mailBundle_;
  const std::shared_ptr<platform::MailLibraryClass> mailLibraryClass_;
};

}  // namespace trovadex::host
