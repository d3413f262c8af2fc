// Ports: everything a loaded bundle may ask of its host, handed over when the bundle is loaded.
//
// The host fills one Ports per bundle (pluginBundle is that bundle's own) and keeps every port
// alive for the life of the process. A port left null is a facility the host lacks. Immutable
// after loading: safe to read from any thread.
#pragma once

#include <memory>

#include "foundation/clock.hpp"
#include "platform/alert_presenter.hpp"
#include "platform/bundle.hpp"
#include "platform/console.hpp"
#include "platform/dispatcher.hpp"
#include "platform/file_manager.hpp"
#include "platform/host_classes.hpp"
#include "platform/notification_center.hpp"
#include "platform/pasteboard.hpp"
#include "platform/search_query.hpp"
#include "platform/searchable_index.hpp"
#include "platform/user_defaults.hpp"
#include "platform/workspace.hpp"

namespace trovadex::platform {

struct Ports {
  std::shared_ptr<NotificationCenter> distributedCenter;  // crosses processes
  std::shared_ptr<NotificationCenter> localCenter;        // in-process
  std::shared_ptr<Workspace> workspace;
  std::shared_ptr<PasteboardServer> pasteboardServer;
  std::shared_ptr<UserDefaults> userDefaults;  // the host's standard defaults
  std::shared_ptr<Console> console;
  std::shared_ptr<Bundle> pluginBundle;  // the loading bundle's own
  std::shared_ptr<Bundle> mainBundle;    // the host application's
  std::shared_ptr<AlertPresenter> alertPresenter;
  std::shared_ptr<FileManager> fileManager;
  std::shared_ptr<Dispatcher> dispatcher;
  std::shared_ptr<HostClasses> hostClasses;
  std::shared_ptr<SearchQueryFactory> searchQueryFactory;
  std::shared_ptr<SearchableIndexFactory> searchableIndexFactory;
  std::shared_ptr<foundation::Clock> clock;
};

}  // namespace trovadex::platform
