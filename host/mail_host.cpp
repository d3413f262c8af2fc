#include "host/mail_host.hpp"

#include <cstdio>

#include "foundation/clock.hpp"
#include "host/bundle_loader.hpp"
#include "host/exit_status.hpp"
#include "host/host_presence.hpp"
#include "host/info_dictionary_bundle.hpp"
#include "host/library_layout.hpp"
#include "host/library_lock.hpp"
#include "host/loaded_bundles.hpp"
#include "linux/dbus_notification_center.hpp"
#include "linux/defaults_file.hpp"
#include "linux/desktop_workspace.hpp"
#include "linux/folder_pasteboard_server.hpp"
#include "linux/glib_dispatcher.hpp"
#include "linux/linux_file_manager.hpp"
#include "linux/local_notification_center.hpp"
#include "linux/session_bus.hpp"
#include "linux/stderr_console.hpp"
#include "linux/terminal_alert_presenter.hpp"
#include "mailstore/indexer.hpp"
#include "mailstore/store.hpp"
#include "mailstore/store_mail_library.hpp"
#include "spotlight/engine.hpp"

namespace trovadex::host {

namespace lp = linux_platform;

struct MailHost::Parts {
  lp::MainLoop* loop = nullptr;
  std::unique_ptr<LibraryLock> libraryLock;
  std::shared_ptr<lp::StderrConsole> console;
  std::shared_ptr<mailstore::Store> store;
  std::shared_ptr<lp::DBusNotificationCenter> distributedCenter;
  std::shared_ptr<lp::LocalNotificationCenter> localCenter;
  std::shared_ptr<lp::DesktopWorkspace> workspace;
  std::shared_ptr<lp::FolderPasteboardServer> pasteboardServer;
  std::shared_ptr<lp::DefaultsFile> defaults;
  std::shared_ptr<lp::TerminalAlertPresenter> alertPresenter;
  std::shared_ptr<lp::LinuxFileManager> fileManager;
  std::shared_ptr<lp::GlibDispatcher> dispatcher;
  std::shared_ptr<mailstore::StoreMailLibraryClass> mailLibraryClass;
  std::unique_ptr<spotlight::Engine> engine;
  std::unique_ptr<mailstore::Indexer> indexer;
  std::shared_ptr<LoadedBundles> loadedBundles;
  std::unique_ptr<BundleLoader> bundleLoader;  // keeps the ports handed to bundles
  std::unique_ptr<HostPresence> presence;
  bool stopped = false;
};

namespace {

// The bus names that the companion application's clients own while they run: one per edition.
// How long the host lets the index catch up with the store before it claims its bus name: a
// client that had the host started searches as soon as the name is owned, and waits about ten
// seconds in all.
constexpr std::chrono::seconds kIndexReadinessWait{5};

const std::vector<std::string> kClientBusNames{"org.trovadex.Trovadex",
                                               "org.trovadex.Trovadex.Store"};

foundation::Error hostError(std::string message) {
  return foundation::Error{"TrovadexMailHostErrorDomain", 1, std::move(message)};
}

}  // namespace

foundation::Result<std::unique_ptr<MailHost>> MailHost::start(lp::MainLoop& loop,
                                                              const HostOptions& options) {
  auto parts = std::make_unique<Parts>();
  parts->loop = &loop;
  parts->console = std::make_shared<lp::StderrConsole>();

  auto lock = LibraryLock::acquire(options.library);
  if (!lock) return lock.error();
  parts->libraryLock = std::move(lock.value());

  auto store = mailstore::Store::open(options.library);
  if (!store) {
    return hostError("the message store in " + options.library.string() +
                     " cannot be opened: " + store.error().localizedDescription);
  }
  parts->store = store.value();

  auto bus = lp::openSessionBus();
  if (!bus) return hostError(bus.error().localizedDescription);
  parts->distributedCenter =
      std::make_shared<lp::DBusNotificationCenter>(bus.value().get(), parts->console);
  parts->localCenter = std::make_shared<lp::LocalNotificationCenter>(loop, parts->console);
  parts->workspace =
      std::make_shared<lp::DesktopWorkspace>(loop, bus.value().get(), parts->console);

  lp::PasteboardFolder pasteboardFolder(lp::PasteboardFolder::defaultRoot());
  if (auto prepared = pasteboardFolder.prepareRoot(); !prepared) {
    return hostError("the pasteboard folder " + pasteboardFolder.root() +
                     " cannot be made: " + prepared.error().localizedDescription);
  }
  parts->pasteboardServer =
      std::make_shared<lp::FolderPasteboardServer>(pasteboardFolder, parts->console);
  parts->pasteboardServer->removeStaleFolders();

  parts->defaults =
      std::make_shared<lp::DefaultsFile>(lp::DefaultsFile::defaultPath(), parts->console);
  parts->alertPresenter =
      std::make_shared<lp::TerminalAlertPresenter>(parts->console, options.alertResponse);
  parts->fileManager = std::make_shared<lp::LinuxFileManager>(options.library.string());
  parts->dispatcher = std::make_shared<lp::GlibDispatcher>(loop, parts->console);
  parts->mailLibraryClass = std::make_shared<mailstore::StoreMailLibraryClass>(
      std::make_shared<mailstore::StoreMailLibrary>(parts->store));

  auto engine = spotlight::Engine::open(searchIndexPath(options.library).string());
  if (!engine) {
    return hostError("the search index cannot be opened: " + engine.error().localizedDescription);
  }
  parts->engine = std::move(engine.value());

  parts->indexer = std::make_unique<mailstore::Indexer>(
      parts->store, parts->engine->indexFactory()->indexWithName(kMailIndexName),
      parts->engine->queryFactory(), parts->console);
  parts->indexer->start();

  platform::Ports ports;
  ports.distributedCenter = parts->distributedCenter;
  ports.localCenter = parts->localCenter;
  ports.workspace = parts->workspace;
  ports.pasteboardServer = parts->pasteboardServer;
  ports.userDefaults = parts->defaults;
  ports.console = parts->console;
  ports.mainBundle = std::make_shared<InfoDictionaryBundle>(hostInfoDictionary());
  ports.alertPresenter = parts->alertPresenter;
  ports.fileManager = parts->fileManager;
  ports.dispatcher = parts->dispatcher;
  ports.searchQueryFactory = parts->engine->queryFactory();
  ports.searchableIndexFactory = parts->engine->indexFactory();
  ports.clock = std::make_shared<foundation::SystemClock>();
  parts->loadedBundles = std::make_shared<LoadedBundles>(parts->console);
  parts->bundleLoader = std::make_unique<BundleLoader>(ports, parts->mailLibraryClass,
                                                       parts->loadedBundles, parts->console);

  std::vector<std::filesystem::path> bundles = options.bundles;
  for (auto& installed : findBundles(bundlesFolder(options.library))) {
    bundles.push_back(std::move(installed));
  }
  parts->bundleLoader->loadBundles(bundles);
  parts->console->writeLine("Mail host running on the library " + options.library.string());
  // The start-up pass is quick over an index kept from an earlier run; over a new one, a search
  // made before it ends sees only part of the store. An idle host only quits the loop:
  // runMailHost then shuts it down as after a signal.
  mailstore::Indexer* indexer = parts->indexer.get();
  HostPresence::Options presence;
  presence.clientNames = kClientBusNames;
  presence.idleTime = options.idleExit;
  presence.ready = [indexer] { return indexer->waitUntilInStep(std::chrono::milliseconds(0)); };
  presence.readinessWait = kIndexReadinessWait;
  parts->presence = std::make_unique<HostPresence>(bus.value().get(), parts->console,
                                                   std::move(presence), [&loop] { loop.quit(); });
  return std::unique_ptr<MailHost>(new MailHost(std::move(parts)));
}

MailHost::MailHost(std::unique_ptr<Parts> parts) : parts_(std::move(parts)) {}

MailHost::~MailHost() { shutdown(); }

void MailHost::shutdown() {
  Parts& parts = *parts_;
  if (parts.stopped) return;
  parts.stopped = true;
  parts.console->writeLine("Mail host shutting down");
  // A client arriving from now on has a new host started rather than wait for this one.
  parts.presence.reset();
  // Observers on the main thread receive this before post returns.
  parts.localCenter->postNotification(std::string(platform::kApplicationWillTerminateNotification),
                                      {}, {}, true);
  parts.indexer->stop();
  parts.engine->shutdown();
  parts.defaults->shutdown();
  parts.dispatcher->shutdown();
  parts.distributedCenter->flush();
  parts.loop->quit();
}

int runMailHost(const HostOptions& options) {
  lp::MainLoop loop;
  std::unique_ptr<MailHost> host;
  // Signals wait in the loop until it runs, so one that arrives while the host starts is
  // answered once it is up.
  loop.watchTerminationSignals([&](int) {
    if (host) host->shutdown();
    loop.quit();
  });
  auto started = MailHost::start(loop, options);
  if (!started) {
    std::fprintf(stderr, "trovadex-mailhost: %s\n", started.error().localizedDescription.c_str());
    return kExitFailure;
  }
  host = std::move(started.value());
  loop.run();
  host->shutdown();
  return kExitSuccess;
}

}  // namespace trovadex::host
