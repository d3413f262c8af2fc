#include "plugin/experiments.hpp"

namespace trovadex::plugin {

void TDMailExperiments::loadExperiments(platform::Console& console) {
  console.writeLine("TDMailExperiments load");
}

}  // namespace trovadex::plugin
