#include "platform/fake/fake_ports.hpp"

namespace trovadex::platform::fake {

FakePorts::FakePorts(FakePortsOptions options)
    : dispatcher(std::make_shared<FakeDispatcher>(options.globalQueue)),
      distributedCenter(std::make_shared<FakeNotificationCenter>(dispatcher, options.delivery)),
      localCenter(std::make_shared<FakeNotificationCenter>(dispatcher, options.delivery)),
      workspaceCenter(std::make_shared<FakeNotificationCenter>(dispatcher, options.delivery)),
      workspace(std::make_shared<FakeWorkspace>(workspaceCenter)),
      pasteboardServer(std::make_shared<FakePasteboardServer>()),
      userDefaults(std::make_shared<FakeUserDefaults>()),
      console(std::make_shared<FakeConsole>()),
      pluginBundle(std::make_shared<FakeBundle>(foundation::Value::Dictionary{
          {"CFBundleVersion", "1"}, {"CFBundleShortVersionString", "1.0"}})),
      mainBundle(std::make_shared<FakeBundle>()),
      alertPresenter(std::make_shared<FakeAlertPresenter>(dispatcher)),
      fileManager(std::make_shared<FakeFileManager>()),
      mailLibrary(std::make_shared<FakeMailLibrary>()),
      hostClasses(std::make_shared<FakeHostClasses>()),
      clock(std::make_shared<foundation::ManualClock>()),
      searchableIndexFactory(std::make_shared<FakeSearchableIndexFactory>()),
      searchQueryFactory(std::make_shared<FakeSearchQueryFactory>()) {
  hostClasses->mailLibrary().setDefaultLibrary(mailLibrary);
}

FakePorts::~FakePorts() = default;

Ports FakePorts::ports() const {
  Ports ports;
  ports.distributedCenter = distributedCenter;
  ports.localCenter = localCenter;
  ports.workspace = workspace;
  ports.pasteboardServer = pasteboardServer;
  ports.userDefaults = userDefaults;
  ports.console = console;
  ports.pluginBundle = pluginBundle;
  ports.mainBundle = mainBundle;
  ports.alertPresenter = alertPresenter;
  ports.fileManager = fileManager;
  ports.dispatcher = dispatcher;
  ports.hostClasses = hostClasses;
  ports.searchQueryFactory = searchQueryFactory;
  ports.searchableIndexFactory = searchableIndexFactory;
  ports.clock = clock;
  return ports;
}

}  // namespace trovadex::platform::fake
