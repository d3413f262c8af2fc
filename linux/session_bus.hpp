// openSessionBus: a private connection to the user's session bus.
//
// The address is DBUS_SESSION_BUS_ADDRESS, or $XDG_RUNTIME_DIR/bus when that socket exists; no
// bus is ever launched on demand. Each call makes a new connection of its own (never GLib's
// shared one), so two parts of one process are two peers on the bus, and closing the bus does
// not end the process. Safe from any thread; the connection's signals are delivered to the
// thread-default main context of the thread that subscribes.
#pragma once

#include "foundation/error.hpp"
#include "linux/glib_ptr.hpp"

namespace trovadex::linux_platform {

inline constexpr const char* kBusErrorDomain = "TrovadexBusErrorDomain";

foundation::Result<GObjectPtr<GDBusConnection>> openSessionBus();

// The GError's message as an Error in kBusErrorDomain (code: the GError's code).
foundation::Error busError(const GError* error, const std::string& what);

}  // namespace trovadex::linux_platform
