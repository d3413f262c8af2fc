#include "plugin/bundle_start.hpp"

#include "plugin/td_mail_plugin.hpp"

namespace trovadex::plugin {

bool hasRequiredPorts(const platform::Ports& ports) {
  return ports.distributedCenter && ports.localCenter && ports.workspace &&
         ports.pasteboardServer && ports.userDefaults && ports.console && ports.pluginBundle &&
         ports.mainBundle && ports.alertPresenter && ports.fileManager && ports.dispatcher &&
         ports.searchQueryFactory && ports.clock;
}

bool startBundle(PluginContext& context) {
  if (!hasRequiredPorts(context.ports())) return false;
  TDMailPlugin::load(context);
  TDMailPlugin::initialize(context);
  return true;
}

}  // namespace trovadex::plugin
