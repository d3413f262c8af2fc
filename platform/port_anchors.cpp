// Out-of-line destructors: they anchor each port's vtable and type information in this shared
// library, so that the host and a loaded bundle agree on one definition of every port.
#include "platform/alert_presenter.hpp"
#include "platform/bundle.hpp"
#include "platform/console.hpp"
#include "platform/dispatcher.hpp"
#include "platform/file_manager.hpp"
#include "platform/host_classes.hpp"
#include "platform/mail_library.hpp"
#include "platform/notification_center.hpp"
#include "platform/pasteboard.hpp"
#include "platform/ports.hpp"
#include "platform/search_query.hpp"
#include "platform/searchable_index.hpp"
#include "platform/searchable_item.hpp"
#include "platform/subscription.hpp"
#include "platform/user_defaults.hpp"
#include "platform/workspace.hpp"

namespace trovadex::platform {

AlertPresenter::~AlertPresenter() = default;
Bundle::~Bundle() = default;
Console::~Console() = default;
Dispatcher::~Dispatcher() = default;
FileManager::~FileManager() = default;
HostClasses::~HostClasses() = default;
MailBundleClass::~MailBundleClass() = default;
MailDatabase::~MailDatabase() = default;
MailDatabaseConnection::~MailDatabaseConnection() = default;
MailLibrary::~MailLibrary() = default;
MailLibraryClass::~MailLibraryClass() = default;
MailMessage::~MailMessage() = default;
NotificationCenter::~NotificationCenter() = default;
Pasteboard::~Pasteboard() = default;
PasteboardServer::~PasteboardServer() = default;
RunningApplication::~RunningApplication() = default;
SearchQuery::~SearchQuery() = default;
SearchQueryContext::~SearchQueryContext() = default;
SearchQueryFactory::~SearchQueryFactory() = default;
SearchableIndex::~SearchableIndex() = default;
SearchableIndexFactory::~SearchableIndexFactory() = default;
UserDefaults::~UserDefaults() = default;
Workspace::~Workspace() = default;

}  // namespace trovadex::platform
