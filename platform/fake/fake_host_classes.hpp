// FakeHostClasses: the host's bundle-registration and mail-library classes, each of which a test
// can take away.
//
// The bundle class counts registerBundle calls; the library class answers defaultLibrary with
// the library the test configured (null by default) and counts the calls. With a class switched
// off, the look-up answers null, as in a host that lacks it. Safe from any thread.
#pragma once

#include <atomic>
#include <cstddef>
#include <memory>
#include <mutex>

#include "platform/host_classes.hpp"

namespace trovadex::platform::fake {

class FakeMailBundleClass final : public MailBundleClass {
 public:
  void registerBundle() override { registerBundleCount_.fetch_add(1); }
  std::size_t registerBundleCount() const { return registerBundleCount_.load(); }

 private:
  std::atomic<std::size_t> registerBundleCount_{0};
};

class FakeMailLibraryClass final : public MailLibraryClass {
 public:
  std::shared_ptr<MailLibrary> defaultLibrary() override;

  void setDefaultLibrary(std::shared_ptr<MailLibrary> library);
  std::size_t defaultLibraryCount() const;

 private:
  mutable std::mutex mutex_;
  // Guarded by mutex_.
  std::shared_ptr<MailLibrary> library_;
  std::size_t defaultLibraryCount_ = 0;
};

class FakeHostClasses final : public HostClasses {
 public:
  FakeHostClasses();
  ~FakeHostClasses() override;

  std::shared_ptr<MailBundleClass> mailBundleClass() override;
  std::shared_ptr<MailLibraryClass> mailLibraryClass() override;

  void setMailBundleClassPresent(bool present) { mailBundlePresent_.store(present); }
  void setMailLibraryClassPresent(bool present) { mailLibraryPresent_.store(present); }

  // The classes themselves, present or not, for arranging and inspecting.
  FakeMailBundleClass& mailBundle() { return *mailBundle_; }
  FakeMailLibraryClass& mailLibrary() { return *mailLibrary_; }

 private:
  // Immutable after construction.
  const std::shared_ptr<FakeMailBundleClass> mailBundle_;
  const std::shared_ptr<FakeMailLibraryClass> mailLibrary_;

  std::atomic<bool> mailBundlePresent_{true};
  std::atomic<bool> mailLibraryPresent_{true};
};

}  // namespace trovadex::platform::fake
