#include "linux/session_bus.hpp"

#include <sys/stat.h>

#include <cstdlib>
#include <string>

namespace trovadex::linux_platform {

foundation::Error busError(const GError* error, const std::string& what) {
  return foundation::Error{kBusErrorDomain, error != nullptr ? error->code : 0,
                           what + (error != nullptr ? std::string(": ") + error->message : "")};
}

foundation::Result<GObjectPtr<GDBusConnection>> openSessionBus() {
  std::string address;
  if (const char* configured = std::getenv("DBUS_SESSION_BUS_ADDRESS");
      configured != nullptr && configured[0] != '\0') {
    address = configured;
  } else if (const char* runtime = std::getenv("XDG_RUNTIME_DIR");
             runtime != nullptr && runtime[0] != '\0') {
    const std::string socket = std::string(runtime) + "/bus";
    struct stat status {};
    if (::stat(socket.c_str(), &status) == 0 && S_ISSOCK(status.st_mode)) {
      address = "unix:path=" + socket;
    }
  }
  if (address.empty()) {
    return foundation::Error{kBusErrorDomain, 0,
                             "No session bus: DBUS_SESSION_BUS_ADDRESS is not set"};
  }
  GError* error = nullptr;
  GDBusConnection* connection = g_dbus_connection_new_for_address_sync(
      address.c_str(),
      static_cast<GDBusConnectionFlags>(G_DBUS_CONNECTION_FLAGS_AUTHENTICATION_CLIENT |
                                        G_DBUS_CONNECTION_FLAGS_MESSAGE_BUS_CONNECTION),
      nullptr, nullptr, &error);
  GErrorPtr owned(error);
  if (connection == nullptr) return busError(error, "Could not connect to the session bus");
  g_dbus_connection_set_exit_on_close(connection, FALSE);
  return GObjectPtr<GDBusConnection>(connection);
}

}  // namespace trovadex::linux_platform
