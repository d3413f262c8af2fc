// FakePorts: a full set of fake ports for a plug-in test, with the concrete fakes kept at hand.
//
// ports() hands out a platform::Ports whose every member is filled: three notification centres
// delivering on the fake dispatcher's main thread (the thread that constructs FakePorts), the
// workspace over the third, a mail library found through the host classes, and a ManualClock.
// The plug-in bundle's info dictionary starts with "CFBundleVersion" "1" and
// "CFBundleShortVersionString" "1.0"; the user's library folder lies inside the file manager's
// temporary folder; no application is installed. Construct and destroy on the test's main
// thread; the fakes themselves are safe from any thread, as each header says.
#pragma once

#include <memory>

#include "foundation/clock.hpp"
#include "platform/fake/fake_alert_presenter.hpp"
#include "platform/fake/fake_bundle.hpp"
#include "platform/fake/fake_console.hpp"
#include "platform/fake/fake_dispatcher.hpp"
#include "platform/fake/fake_file_manager.hpp"
#include "platform/fake/fake_host_classes.hpp"
#include "platform/fake/fake_mail_library.hpp"
#include "platform/fake/fake_notification_center.hpp"
#include "platform/fake/fake_pasteboard.hpp"
#include "platform/fake/fake_search_query_factory.hpp"
#include "platform/fake/fake_searchable_index.hpp"
#include "platform/fake/fake_user_defaults.hpp"
#include "platform/fake/fake_workspace.hpp"
#include "platform/ports.hpp"

namespace trovadex::platform::fake {

struct FakePortsOptions {
  NotificationDelivery delivery = NotificationDelivery::Synchronous;
  GlobalQueueMode globalQueue = GlobalQueueMode::Queued;
};

struct FakePorts {
  explicit FakePorts(FakePortsOptions options = {});
  ~FakePorts();
  FakePorts(const FakePorts&) = delete;
  FakePorts& operator=(const FakePorts&) = delete;

  Ports ports() const;

  // Declared in dependency order; the search engine comes last so that it is shut down (its
  // queries cancelled and their threads joined) first.
  std::shared_ptr<FakeDispatcher> dispatcher;
  std::shared_ptr<FakeNotificationCenter> distributedCenter;
  std::shared_ptr<FakeNotificationCenter> localCenter;
  std::shared_ptr<FakeNotificationCenter> workspaceCenter;
  std::shared_ptr<FakeWorkspace> workspace;
  std::shared_ptr<FakePasteboardServer> pasteboardServer;
  std::shared_ptr<FakeUserDefaults> userDefaults;
  std::shared_ptr<FakeConsole> console;
  std::shared_ptr<FakeBundle> pluginBundle;
  std::shared_ptr<FakeBundle> mainBundle;
  std::shared_ptr<FakeAlertPresenter> alertPresenter;
  std::shared_ptr<FakeFileManager> fileManager;
  std::shared_ptr<FakeMailLibrary> mailLibrary;
  std::shared_ptr<FakeHostClasses> hostClasses;
  std::shared_ptr<foundation::ManualClock> clock;
  std::shared_ptr<FakeSearchableIndexFactory> searchableIndexFactory;
  std::shared_ptr<FakeSearchQueryFactory> searchQueryFactory;
};

}  // namespace trovadex::platform::fake
