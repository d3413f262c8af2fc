// HostClasses: the host's own classes that a bundle looks up by name at run time.
//
// A null answer means the host has no such class; the plug-in then takes another route or does
// without. Safe from any thread.
#pragma once

#include <memory>

#include "platform/mail_library.hpp"

namespace trovadex::platform {

// The host's bundle registration ("MVMailBundle").
class MailBundleClass {
 public:
  virtual ~MailBundleClass();
  // Records the loading bundle in the host's list of loaded bundles.
  virtual void registerBundle() = 0;
};

class HostClasses {
 public:
  virtual ~HostClasses();
  virtual std::shared_ptr<MailBundleClass> mailBundleClass() = 0;    // "MVMailBundle"
  virtual std::shared_ptr<MailLibraryClass> mailLibraryClass() = 0;  // "MFLibrary"
};

}  // namespace trovadex::platform
