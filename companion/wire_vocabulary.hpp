// The companion's side of the wire vocabulary: message names, userInfo keys, pasteboard types.
//
// Every message name and both pasteboard types are kPluginNotificationPrefix + "." + a suffix.
// The companion sends the five commands and receives the six answers; the suffixes stand in one
// table each, so a name is never spelled twice. Constants and pure functions: safe from any
// thread.
#pragma once

#include <cstdint>
#include <optional>
#include <string>
#include <string_view>

namespace trovadex::companion {

inline constexpr std::string_view kPluginNotificationPrefix = "org.trovadex.MailPlugin";

// The protocol compatibility version the companion speaks.
inline constexpr std::int64_t kCompatibilityVersion = 1;

// The well-known bus name the companion owns while it is connected (queued, so that several
// clients can hold it at once); a plug-in sees the companion as running while it has an owner.
inline constexpr std::string_view kCompanionBusName = "org.trovadex.Trovadex";

// What the companion sends.
enum class Command { Connect, Search, Cancel, Clear, Terminate };

// What the plug-in sends.
enum class Answer {
  PluginReady,
  PluginQuit,
  QueryDidStart,
  QueryHasUpdates,
  QueryHasRemovals,
  QueryDidComplete,
};

enum class BatchKind { Results, Removals };

// "Connect" and "org.trovadex.MailPlugin.Connect".
std::string_view commandSuffix(Command command);
std::string commandName(Command command);

// The answer a full notification name stands for; nothing for commands and foreign names.
std::optional<Answer> answerForName(std::string_view notificationName);
std::string_view answerSuffix(Answer answer);

// "org.trovadex.MailPlugin.ResultsBatch" and "org.trovadex.MailPlugin.RemovalBatch": the type
// file that holds a batch in its pasteboard.
std::string pasteboardTypeName(BatchKind kind);

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
// Keys of a message record.
inline constexpr std::string_view kAttributes = "attributes";
inline constexpr std::string_view kPath = "kMDItemPath";
inline constexpr std::string_view kLibraryID = "libraryID";
inline constexpr std::string_view kIndex = "index";
}  // namespace key

// The value of "notification" in QueryDidComplete.
inline constexpr std::string_view kCompletedNotification = "completed";

}  // namespace trovadex::companion
