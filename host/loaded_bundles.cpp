#include "host/loaded_bundles.hpp"

#include <algorithm>

namespace trovadex::host {
namespace {

class RegisteringMailBundleClass final : public platform::MailBundleClass {
 public:
  RegisteringMailBundleClass(std::shared_ptr<LoadedBundles> bundles, BundleIdentity bundle)
      : bundles_(std::move(bundles)), bundle_(std::move(bundle)) {}
  void registerBundle() override { bundles_->recordRegistration(bundle_); }

 private:
  const std::shared_ptr<LoadedBundles> bundles_;
  const BundleIdentity bundle_;
};

}  // namespace

void LoadedBundles::recordRegistration(const BundleIdentity& bundle) {
  {
    std::lock_guard lock(mutex_);
    registered_.push_back(bundle);
  }
  if (console_) {
    console_->writeLine("Registered bundle " + bundle.identifier + " " + bundle.version + " from " +
                        bundle.folder);
  }
}

std::vector<BundleIdentity> LoadedBundles::registered() const {
  std::lock_guard lock(mutex_);
  return registered_;
}

bool LoadedBundles::isRegistered(const std::string& identifier) const {
  std::lock_guard lock(mutex_);
  return std::any_of(registered_.begin(), registered_.end(),
                     [&](const BundleIdentity& bundle) { return bundle.identifier == identifier; });
}

BundleHostClasses::BundleHostClasses(std::shared_ptr<LoadedBundles> bundles, BundleIdentity bundle,
                                     std::shared_ptr<platform::MailLibraryClass> mailLibraryClass)
    : mailBundle_(
          std::make_shared<RegisteringMailBundleClass>(std::move(bundles), std::move(bundle))),
      mailLibraryClass_(std::move(mailLibraryClass)) {}

}  // namespace trovadex::host
