// TDMailPlugin's class-side entry to the search-text translator.
#include "plugin/td_mail_plugin.hpp"
#include "search/query_string_translator.hpp"

namespace trovadex::plugin {

std::optional<std::string> TDMailPlugin::queryStringWithSearchString(
    const foundation::Value& searchString, const foundation::Value& fuzzyThreshold) {
  // A missing text, or one that is not a string, translates as the empty text.
  const std::string* text = searchString.asString();
  std::optional<std::int64_t> threshold;
  if (!fuzzyThreshold.isNil()) threshold = fuzzyThreshold.integerValue();
  return translateSearchString(text ? std::string_view(*text) : std::string_view(), threshold);
}

}  // namespace trovadex::plugin
