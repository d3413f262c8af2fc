// The wire vocabulary shared with the companion: message names, userInfo keys and pasteboard types.
//
// Every message name and both pasteboard types are kPluginNotificationPrefix + "." + a suffix; the
// suffixes stand in one table, so that a name is never spelled twice. Outgoing messages carry
// "version" and "compatibilityVersion" (the protocol compatibility version, 1). Constants only:
// safe from any thread.
#pragma once

#include <cstdint>
#include <string>
#include <string_view>

namespace trovadex::protocol {

inline constexpr std::string_view kPluginNotificationPrefix = "org.trovadex.MailPlugin";

// The protocol compatibility version this plug-in speaks.
inline constexpr std::int64_t kCompatibilityVersion = 1;

enum class Message {
  // Incoming commands.
  Connect,
  Search,
  Cancel,
  Clear,
  Terminate,
  // Outgoing messages.
  PluginReady,
  PluginQuit,
  QueryDidStart,
  QueryHasUpdates,
  QueryHasRemovals,
  QueryDidComplete,
};

enum class PasteboardType { ResultsBatch, RemovalBatch };

// The suffix alone ("Connect") and the full name ("org.trovadex.MailPlugin.Connect").
std::string_view messageSuffix(Message message);
std::string messageName(Message message);
std::string pasteboardTypeName(PasteboardType type);

// Keys of userInfo dictionaries and pasteboard payloads.
namespace key {
inline constexpr std::string_view kVersion = "version";
inline constexpr std::string_view kCompatibilityVersion = "compatibilityVersion";
inline constexpr std::string_view kCheckVersion = "checkVersion";
inline constexpr std::string_view kClientName = "clientName";
inline constexpr std::string_view kUniqueName = "uniqueName";
inline constexpr std::string_view kLineageName = "lineageName";
inline constexpr std::string_view kQueryString = "queryString";
inline constexpr std::string_view kSortingAttribute = "sortingAttribute";
inline constexpr std::string_view kSortAscending = "sortAscending";
inline constexpr std::string_view kActiveNames = "activeNames";
inline constexpr std::string_view kBatchName = "batchName";
inline constexpr std::string_view kBatchNumber = "batchNumber";
inline constexpr std::string_view kFoundItemCount = "foundItemCount";
inline constexpr std::string_view kPendingBatches = "pendingBatches";
inline constexpr std::string_view kNotification = "notification";
inline constexpr std::string_view kErrorCode = "errorCode";
inline constexpr std::string_view kErrorDomain = "errorDomain";
inline constexpr std::string_view kErrorMessage = "errorMessage";
inline constexpr std::string_view kMessages = "messages";
inline constexpr std::string_view kMessageIDs = "messageIDs";
}  // namespace key

// The value of "notification" in QueryDidComplete.
inline constexpr std::string_view kCompletedNotification = "completed";

}  // namespace trovadex::protocol
