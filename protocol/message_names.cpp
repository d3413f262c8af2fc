#include "protocol/message_names.hpp"

#include <array>
#include <utility>

namespace trovadex::protocol {
namespace {

constexpr std::array<std::pair<Message, std::string_view>, 11> kMessageSuffixes{{
    {Message::Connect, "Connect"},
    {Message::Search, "Search"},
    {Message::Cancel, "Cancel"},
    {Message::Clear, "Clear"},
    {Message::Terminate, "Terminate"},
    {Message::PluginReady, "PluginReady"},
    {Message::PluginQuit, "PluginQuit"},
    {Message::QueryDidStart, "QueryDidStart"},
    {Message::QueryHasUpdates, "QueryHasUpdates"},
    {Message::QueryHasRemovals, "QueryHasRemovals"},
    {Message::QueryDidComplete, "QueryDidComplete"},
}};

constexpr std::array<std::pair<PasteboardType, std::string_view>, 2> kPasteboardTypeSuffixes{{
    {PasteboardType::ResultsBatch, "ResultsBatch"},
    {PasteboardType::RemovalBatch, "RemovalBatch"},
}};

std::string prefixed(std::string_view suffix) {
  std::string name(kPluginNotificationPrefix);
  name += '.';
  name += suffix;
  return name;
}

}  // namespace

std::string_view messageSuffix(Message message) {
  for (const auto& [candidate, suffix] : kMessageSuffixes) {
    if (candidate == message) return suffix;
  }
  return {};
}

std::string messageName(Message message) { return prefixed(messageSuffix(message)); }

std::string pasteboardTypeName(PasteboardType type) {
  for (const auto& [candidate, suffix] : kPasteboardTypeSuffixes) {
    if (candidate == type) return prefixed(suffix);
  }
  return {};
}

}  // namespace trovadex::protocol
