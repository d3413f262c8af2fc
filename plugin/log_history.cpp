#include "plugin/log_history.hpp"

#include <algorithm>

namespace trovadex::plugin {

using foundation::Value;

void capLogHistory(Value::Array& history, std::size_t capacity) {
  if (history.size() > capacity) {
    history.erase(history.begin(),
                  history.begin() + static_cast<std::ptrdiff_t>(history.size() - capacity));
  }
}

void trimLogHistoryFront(Value::Array& history, foundation::Date now, double maxAge) {
  auto firstKept = std::find_if(history.begin(), history.end(), [&](const Value& entry) {
    const foundation::Date* logged = entry.at(0).asDate();
    return logged != nullptr && now.timeIntervalSince(*logged) < maxAge;
  });
  history.erase(history.begin(), firstKept);
}

}  // namespace trovadex::plugin
