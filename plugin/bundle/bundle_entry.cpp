// The bundle's one exported symbol: the host calls it once, right after loading the bundle.
//
// The plug-in's context lives from here to the end of the process, like the shared instance it
// holds; bundles are never unloaded, so it is deliberately never destroyed. Main thread only.
#include <exception>
#include <memory>

#include "platform/ports.hpp"
#include "plugin/bundle_start.hpp"
#include "plugin/plugin_context.hpp"

extern "C" __attribute__((visibility("default"))) bool trovadex_mailbundle_load(
    const trovadex::platform::Ports* ports) noexcept {
  static trovadex::plugin::PluginContext* context = nullptr;
  static bool loaded = false;
  if (loaded) return true;  // the host loads a bundle once per process
  if (ports == nullptr || !trovadex::plugin::hasRequiredPorts(*ports)) return false;
  try {
    context = new trovadex::plugin::PluginContext(*ports);
    loaded = trovadex::plugin::startBundle(*context);
    return loaded;
  } catch (const std::exception&) {
    return false;  // nothing may unwind into the host's loader
  } catch (...) {
    return false;
  }
}
