// Console: the system log, one line at a time.
//
// The adapter adds its own timestamp and process id; callers pass the bare line. Safe from any
// thread; lines from one thread keep their order.
#pragma once

#include <string_view>

namespace trovadex::platform {

class Console {
 public:
  virtual ~Console();
  virtual void writeLine(std::string_view line) = 0;
};

}  // namespace trovadex::platform
