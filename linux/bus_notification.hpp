// How a notification travels on the session bus: its signal name and its body.
//
// A notification named "<interface>.<member>" is the signal <member> of <interface>, emitted on
// kNotificationObjectPath, with body (s a{sv}): the object (the empty string for nil) and the
// userInfo. A body of (a{sv}) alone is read as a nil object with that userInfo; any other body
// is refused. The companion links this too. Pure functions: safe from any thread.
#pragma once

#include <optional>
#include <string>
#include <string_view>
#include <vector>

#include "foundation/error.hpp"
#include "foundation/value.hpp"
#include "linux/glib_ptr.hpp"

namespace trovadex::linux_platform {

inline constexpr std::string_view kNotificationInterface = "org.trovadex.MailPlugin";
inline constexpr std::string_view kNotificationObjectPath = "/org/trovadex/MailPlugin";

struct SignalName {
  std::string interfaceName;
  std::string member;
};

// Splits a notification name at its last dot; nothing when the parts are not a valid D-Bus
// interface name and member name.
std::optional<SignalName> signalNameForNotification(std::string_view notificationName);

// The body of the signal that carries object and userInfo. Fails when object is neither a
// string nor nil, when userInfo is neither a dictionary nor nil, or when a value cannot be sent.
foundation::Result<GVariantPtr> encodeNotificationBody(const foundation::Value& object,
                                                       const foundation::Value& userInfo);

struct NotificationBody {
  foundation::Value object;           // a string, or nil for the empty string
  foundation::Value userInfo;         // a dictionary, or nil when the body's dictionary is empty
  std::vector<std::string> problems;  // the parts of userInfo that were dropped
};

// Reads a received body; fails when the body is neither (s a{sv}) nor (a{sv}).
foundation::Result<NotificationBody> decodeNotificationBody(GVariant* body);

}  // namespace trovadex::linux_platform
