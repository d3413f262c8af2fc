#include "platform/fake/fake_host_classes.hpp"

#include <utility>

namespace trovadex::platform::fake {

std::shared_ptr<MailLibrary> FakeMailLibraryClass::defaultLibrary() {
  std::lock_guard lock(mutex_);
  ++defaultLibraryCount_;
  return library_;
}

void FakeMailLibraryClass::setDefaultLibrary(std::shared_ptr<MailLibrary> library) {
  std::lock_guard lock(mutex_);
  library_ = std::move(library);
}

std::size_t FakeMailLibraryClass::defaultLibraryCount() const {
  std::lock_guard lock(mutex_);
  return defaultLibraryCount_;
}

FakeHostClasses::FakeHostClasses()
    : mailBundle_(std::make_shared<FakeMailBundleClass>()),
      mailLibrary_(std::make_shared<FakeMailLibraryClass>()) {}

FakeHostClasses::~FakeHostClasses() = default;

std::shared_ptr<MailBundleClass> FakeHostClasses::mailBundleClass() {
  return mailBundlePresent_.load() ? mailBundle_ : nullptr;
}

std::shared_ptr<MailLibraryClass> FakeHostClasses::mailLibraryClass() {
  return mailLibraryPresent_.load() ? mailLibrary_ : nullptr;
}

}  // namespace trovadex::platform::fake
