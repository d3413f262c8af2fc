// TDMailExperiments: the switch meant to install the search tracing of tracing_search.hpp.
//
// It installs nothing and nothing calls it; it only writes its one line to the system log. On a
// platform with a method-exchanging runtime the tracing would be installed by exchanging method
// implementations; this platform has no such runtime, so that exchange facility is left out
// (nothing depends on it) and the tracing is installed by wrapping the search ports instead.
// Safe from any thread.
#pragma once

#include "platform/console.hpp"

namespace trovadex::plugin {

class TDMailExperiments {
 public:
  // Writes "TDMailExperiments load" and returns.
  static void loadExperiments(platform::Console& console);
};

}  // namespace trovadex::plugin
