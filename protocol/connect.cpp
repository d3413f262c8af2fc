// connect: the handshake. Every Connect is answered with PluginReady; the first one that asks for
// a check compares protocol versions and, on a mismatch, warns the user once per run.
#include "foundation/format.hpp"
#include "plugin/td_mail_plugin.hpp"
#include "protocol/message_names.hpp"

namespace trovadex::plugin {

using foundation::Value;
using protocol::Message;
using protocol::messageName;
namespace key = protocol::key;

namespace {

constexpr std::string_view kNotAQuery = "n/a";
constexpr std::string_view kProductName = "Trovadex";

}  // namespace

void TDMailPlugin::connect(const platform::Notification& notification) {
  const Value& userInfo = notification.userInfo;
  const Value& compatibilityVersion = userInfo[key::kCompatibilityVersion];
  logQueryName(context_, Value(kNotAQuery), "TDMailPlugin received %@ / %@ - %@ - %@",
               {Value(notification.name), userInfo[key::kClientName], userInfo[key::kVersion],
                compatibilityVersion});

  if (userInfo[key::kCheckVersion].boolValue() && !context_.compatibilityChecked) {
    // Object equality: a number equal to 1 matches; nothing, a string or any other number does not.
    if (!compatibilityVersion.isEqual(Value::integer(protocol::kCompatibilityVersion))) {
      context_.ports().dispatcher->dispatchAsyncMain(
          [&context = context_] { versionAlert(context); });
    }
    context_.compatibilityChecked = true;
  }

  const std::string reply = messageName(Message::PluginReady);
  logQueryName(context_, Value(kNotAQuery), "TDMailPlugin post %@", {Value(reply)});
  postDistributedNotificationName(reply, Value(), userInfo, true);
}

void TDMailPlugin::versionAlert(PluginContext& context) {
  const platform::Ports& ports = context.ports();
  auto text = [&](const char* key) { return ports.mainBundle->localizedStringForKey(key, ""); };
  platform::Alert alert;
  alert.messageText =
      foundation::formatString(text("The %@ Mail plug-in needs an update"), {kProductName});
  alert.informativeText = foundation::formatString(
      text("The version of your %@ Mail plug-in is not compatible with the version of your %@ "
           "application. Please re-install the plug-in."),
      {kProductName, kProductName});
  alert.style = platform::AlertStyle::Critical;
  alert.buttons.push_back(text("OK"));
  ports.alertPresenter->runModal(alert);  // the answer changes nothing
}

}  // namespace trovadex::plugin
