// logQueryName: every diagnostic line of the plug-in, to the console and to the log history.
#include <mutex>

#include "plugin/log_history.hpp"
#include "plugin/td_mail_plugin.hpp"

namespace trovadex::plugin {

using foundation::FormatArgument;
using foundation::Value;

namespace {

constexpr std::string_view kProductLogName = "TrovadexMailPlugin";
constexpr std::string_view kNoQueryName = "none";

// A query name that is not a string (a companion may name a query by a number, or anything
// else) is logged as %@ prints it, so that its lines can still be told from other queries'.
std::string logName(const Value& queryName) {
  if (queryName.isNil()) return std::string(kNoQueryName);
  const std::string* name = queryName.asString();
  if (name == nullptr) return queryName.description();
  if (name->empty()) return std::string(kNoQueryName);
  return *name;
}

}  // namespace

void TDMailPlugin::logQueryName(PluginContext& context, const Value& queryName,
                                std::string_view format,
                                std::initializer_list<FormatArgument> arguments) {
  const platform::Ports& ports = context.ports();
  const std::string name = logName(queryName);

  // The prefix becomes part of the format, so a '%' in a query name is read as a directive; the
  // formatter never reads past its arguments, so such a name garbles the line but cannot crash.
  std::string consoleFormat = foundation::formatString("%@ - %@ - ", {kProductLogName, name});
  consoleFormat += format;
  ports.console->writeLine(foundation::formatString(consoleFormat, arguments));

  std::string message = foundation::formatString(format, arguments);
  const foundation::Date now = ports.clock->now();

  std::lock_guard lock(context.logHistoryMutex);
  const Value stored = ports.userDefaults->objectForKey(std::string(kLogHistoryKey));
  Value::Array history;
  if (const Value::Array* entries = stored.asArray()) history = *entries;
  history.push_back(Value(Value::Array{Value(now), Value(name), Value(std::move(message))}));
  capLogHistory(history, kLogHistoryCapacity);
  trimLogHistoryFront(history, ports.clock->now(), kLogHistoryMaxAge);
  ports.userDefaults->setObject(Value(std::move(history)), std::string(kLogHistoryKey));
}

}  // namespace trovadex::plugin
