// openSessionBus: a private connection to the user's session bus.
//
// The address is DBUS_SESSION_BUS_ADDRESS, or $XDG_RUNTIME_DIR/bus when that socket exists; no
// bus is launched on demand. Each call makes a connection of its own, never GLib's shared one.
// Safe from any thread; signals go to the thread-default context of the subscribing thread.
#pragma once

#include "foundation/error.hpp"
#include "linux/glib_ptr.hpp"

namespace trovadex::linux_platform {

inline constexpr const char* kBusErrorDomain = "TrovadexBusErrorDomain";

foundation::Result<GObjectPtr<GDBusConnection>> openSessionBus();

// The GError's message as an Error in kBusErrorDomain (code: the GError's code).
foundation::Error busError(const GError* error, const std::string& what);

}  // namespace trovadex::linux_platform
