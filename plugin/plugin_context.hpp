// PluginContext: everything process-wide that the plug-in keeps, in one object.
//
// The bundle's loading entry creates one context from the host's ports; class-side operations of
// TDMailPlugin receive it explicitly, and the one plug-in instance keeps a reference to it. A test
// makes a fresh context, so no test sees another's state. Each member states its own thread rule.
#pragma once

#include <memory>
#include <mutex>
#include <string>
#include <vector>

#include "platform/mail_library.hpp"
#include "platform/ports.hpp"

namespace trovadex::plugin {

class TDMailPlugin;

class PluginContext {
 public:
  explicit PluginContext(platform::Ports ports);
  ~PluginContext();
  PluginContext(const PluginContext&) = delete;
  PluginContext& operator=(const PluginContext&) = delete;

  // Immutable after construction.
  const platform::Ports& ports() const { return ports_; }

  // The shared plug-in instance, held strongly for the life of the process. Main thread only.
  std::shared_ptr<TDMailPlugin> sharedInstance;

  // Set by the first Connect that asks for a compatibility check; never reset. Main thread only.
  bool compatibilityChecked = false;

  // The fetched-attribute list, filled once on first use by whichever thread comes first.
  std::once_flag fetchedAttributesOnce;
  std::vector<std::string> fetchedAttributes;  // Immutable once filled.

  // The host's default mail library, filled on first successful look-up.
  std::mutex libraryMutex;
  std::shared_ptr<platform::MailLibrary> library;  // Guarded by libraryMutex.

  // Serialises the read-modify-write of the log history (the last lock in the lock order).
  std::mutex logHistoryMutex;

 private:
  platform::Ports ports_;
};

}  // namespace trovadex::plugin
