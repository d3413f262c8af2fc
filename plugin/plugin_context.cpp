#include "plugin/plugin_context.hpp"

#include "plugin/td_mail_plugin.hpp"

namespace trovadex::plugin {

PluginContext::PluginContext(platform::Ports ports) : ports_(std::move(ports)) {}

// Out of line so that the shared instance's type is complete where it is destroyed.
PluginContext::~PluginContext() = default;

}  // namespace trovadex::plugin
