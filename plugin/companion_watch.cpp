// The watch on the companion application: at start, an offer to remove the plug-in when no
// edition of the companion is installed; while running, the teardown of every client's searches
// when an application terminates.
#include <array>
#include <mutex>

#include "foundation/format.hpp"
#include "plugin/td_mail_plugin.hpp"
#include "protocol/message_names.hpp"

namespace trovadex::plugin {

using foundation::Value;

namespace {

// Standard edition first, subscription-store edition second.
constexpr std::array<std::string_view, 2> kCompanionBundleIdentifiers = {
    "org.trovadex.Trovadex",
    "org.trovadex.Trovadex.Store",
};

constexpr std::string_view kProductName = "Trovadex";
constexpr std::string_view kInstalledBundlePath = "Mail/Bundles/TrovadexMailPlugin.mailbundle";

bool isCompanion(const std::string& bundleIdentifier) {
  for (std::string_view companion : kCompanionBundleIdentifiers) {
    if (companion == bundleIdentifier) return true;
  }
  return false;
}

}  // namespace

void TDMailPlugin::installationCheck(PluginContext& context) {
  const platform::Ports& ports = context.ports();
  for (std::string_view companion : kCompanionBundleIdentifiers) {
    if (ports.workspace->absolutePathForAppBundleWithIdentifier(std::string(companion))) return;
  }
  ports.dispatcher->dispatchAsyncMain([&context] { removalOffer(context); });
}

void TDMailPlugin::removalOffer(PluginContext& context) {
  const platform::Ports& ports = context.ports();
  auto text = [&](const char* key) { return ports.mainBundle->localizedStringForKey(key, ""); };
  platform::Alert alert;
  alert.messageText = foundation::formatString(text("%@ Application Not Found"), {kProductName});
  alert.informativeText = foundation::formatString(
      text("It looks like you uninstalled %@. Do you want to remove the %@ Mail Plug-in?"),
      {kProductName, kProductName});
  alert.style = platform::AlertStyle::Informational;
  alert.buttons = {text("Uninstall Plug-In"), text("Continue")};
  if (ports.alertPresenter->runModal(alert) != platform::kAlertFirstButtonReturn) return;
  // The running host keeps the loaded code; the removal takes effect at its next start.
  if (foundation::Status removed = uninstallPlugin(context); !removed) {
    ports.alertPresenter->presentError(removed.error());
  }
}

foundation::Status TDMailPlugin::uninstallPlugin(PluginContext& context) {
  const platform::Ports& ports = context.ports();
  // Only the user's own library is considered; a bundle installed elsewhere is left alone.
  const std::string bundlePath =
      ports.fileManager->userLibraryDirectory() + "/" + std::string(kInstalledBundlePath);
  if (!ports.fileManager->fileExistsAtPath(bundlePath)) return {};
  auto trashed = ports.fileManager->trashItemAtPath(bundlePath);
  if (!trashed) return trashed.error();
  // Normally nothing is left at the old path after the move; the removal is a second safeguard
  // and its outcome does not matter.
  (void)ports.fileManager->removeItemAtPath(bundlePath);
  return {};
}

void TDMailPlugin::workspaceDidTerminateApplicationNotification(
    const platform::Notification& notification) {
  Value bundleIdentifier = notification.userInfo[platform::kApplicationBundleIdentifierKey];
  if (!bundleIdentifier.isString() && notification.application) {
    bundleIdentifier = notification.application->bundleIdentifier();
  }
  const std::string* identifier = bundleIdentifier.asString();
  if (identifier == nullptr) return;

  // When an edition of the companion quits while another instance or edition still runs, its
  // clients are still served. Any other application's termination tears every client down: the
  // companion reconnects and starts its searches again.
  if (isCompanion(*identifier)) {
    for (std::string_view companion : kCompanionBundleIdentifiers) {
      if (!context_.ports()
               .workspace->runningApplicationsWithBundleIdentifier(std::string(companion))
               .empty()) {
        return;
      }
    }
  }
  std::vector<Value> clients;
  {
    std::lock_guard lock(stateMutex_);
    for (const auto& [client, names] : queryNamesByClient_) clients.push_back(client);
  }
  for (const Value& client : clients) terminateClient(client, Value());
}

}  // namespace trovadex::plugin
