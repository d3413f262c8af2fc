// The mail host's own well-known bus name, shared by the host, which owns it while it runs, and
// by clients, which ask the bus to start it when no plug-in answers.
//
// The bus's service file and the user service for the host are registered under this name, so
// asking the bus to start it (StartServiceByName) starts a host. Constant: safe from any thread.
#pragma once

#include <string_view>

namespace trovadex::linux_platform {

inline constexpr std::string_view kMailHostBusName = "org.trovadex.MailHost";

}  // namespace trovadex::linux_platform
