#include "foundation/clock.hpp"

#include <chrono>

namespace trovadex::foundation {

Date SystemClock::now() const {
  const auto sinceEpoch = std::chrono::system_clock::now().time_since_epoch();
  return Date::withUnixTime(std::chrono::duration<double>(sinceEpoch).count());
}

}  // namespace trovadex::foundation
