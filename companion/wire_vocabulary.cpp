#include "companion/wire_vocabulary.hpp"

#include <array>
#include <utility>

namespace trovadex::companion {
namespace {

constexpr std::array<std::pair<Command, std::string_view>, 5> kCommandSuffixes{{
    {Command::Connect, "Connect"},
    {Command::Search, "Search"},
    {Command::Cancel, "Cancel"},
    {Command::Clear, "Clear"},
    {Command::Terminate, "Terminate"},
}};

constexpr std::array<std::pair<Answer, std::string_view>, 6> kAnswerSuffixes{{
    {Answer::PluginReady, "PluginReady"},
    {Answer::PluginQuit, "PluginQuit"},
    {Answer::QueryDidStart, "QueryDidStart"},
    {Answer::QueryHasUpdates, "QueryHasUpdates"},
    {Answer::QueryHasRemovals, "QueryHasRemovals"},
    {Answer::QueryDidComplete, "QueryDidComplete"},
}};

std::string prefixed(std::string_view suffix) {
  std::string name(kPluginNotificationPrefix);
  name += '.';
  name += suffix;
  return name;
}

}  // namespace

std::string_view commandSuffix(Command command) {
  for (const auto& [entry, suffix] : kCommandSuffixes) {
    if (entry == command) return suffix;
  }
  return {};
}

std::string commandName(Command command) { return prefixed(commandSuffix(command)); }

std::string_view answerSuffix(Answer answer) {
  for (const auto& [entry, suffix] : kAnswerSuffixes) {
    if (entry == answer) return suffix;
  }
  return {};
}

std::optional<Answer> answerForName(std::string_view notificationName) {
  if (notificationName.size() <= kPluginNotificationPrefix.size() + 1 ||
      !notificationName.starts_with(kPluginNotificationPrefix) ||
      notificationName[kPluginNotificationPrefix.size()] != '.') {
    return std::nullopt;
  }
  const std::string_view suffix = notificationName.substr(kPluginNotificationPrefix.size() + 1);
  for (const auto& [answer, entry] : kAnswerSuffixes) {
    if (entry == suffix) return answer;
  }
  return std::nullopt;
}

std::string pasteboardTypeName(BatchKind kind) {
  return prefixed(kind == BatchKind::Results ? "ResultsBatch" : "RemovalBatch");
}

}  // namespace trovadex::companion
