// Bundle start: what the bundle's loading entry does once it has a context for the host's ports.
//
// Checks that the host handed over every port the plug-in cannot do without, then runs load and
// initialize. The host-class and searchable-index ports may be missing: without the host's classes
// the plug-in logs that the host does not support bundles and stays inert. Main thread only.
#pragma once

#include "platform/ports.hpp"
#include "plugin/plugin_context.hpp"

namespace trovadex::plugin {

// Whether every port the plug-in needs is present.
bool hasRequiredPorts(const platform::Ports& ports);

// Starts the plug-in in context; false, having done nothing, when a required port is missing.
bool startBundle(PluginContext& context);

}  // namespace trovadex::plugin
