// The log history: recent log lines kept in the host's user defaults under "TDMailPlugin.log".
//
// Each entry is an Array [date, query name, message]. Writes keep at most 500 entries and drop
// entries older than an hour from the front; at quit a beta build keeps only the front entries
// younger than five minutes. Both trims look at the front only, so an older entry behind a
// younger one survives. Pure functions on a copy of the array: safe from any thread.
#pragma once

#include <cstddef>
#include <string_view>

#include "foundation/date.hpp"
#include "foundation/value.hpp"

namespace trovadex::plugin {

inline constexpr std::string_view kLogHistoryKey = "TDMailPlugin.log";
inline constexpr std::size_t kLogHistoryCapacity = 500;
inline constexpr double kLogHistoryMaxAge = 3600;     // seconds, on every write
inline constexpr double kBetaLogHistoryMaxAge = 300;  // seconds, at quit of a beta build

// Removes entries from the front while there are more than capacity.
void capLogHistory(foundation::Value::Array& history, std::size_t capacity);

// Removes front entries until the first whose first element is a date less than maxAge seconds
// before now. An entry that does not start with a date is removed when it reaches the front.
void trimLogHistoryFront(foundation::Value::Array& history, foundation::Date now, double maxAge);

}  // namespace trovadex::plugin
