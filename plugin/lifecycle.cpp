// The plug-in's start and stop: load, initialize, createInstance, init (make), dealloc and
// applicationWillTerminate.
#include <string>
#include <utility>

#include "plugin/log_history.hpp"
#include "plugin/td_mail_plugin.hpp"
#include "protocol/message_names.hpp"
#include "search/td_mail_plugin_query.hpp"

namespace trovadex::plugin {

using foundation::Value;
using protocol::Message;
using protocol::messageName;

namespace {

constexpr std::string_view kNotAQuery = "n/a";
constexpr std::string_view kBundleVersionKey = "CFBundleVersion";
constexpr std::string_view kShortVersionKey = "CFBundleShortVersionString";

// "412-7" gives "7": the text after the first '-', unless that '-' ends the string. Anything that
// is not a string gives "".
std::string versionFromBundleVersion(const Value& bundleVersion) {
  const std::string* text = bundleVersion.asString();
  if (text == nullptr) return {};
  const auto dash = text->find('-');
  if (dash == std::string::npos || dash + 1 == text->size()) return *text;
  return text->substr(dash + 1);
}

// A short version with a 'b' in it is a beta build; a missing one counts as beta too, so that
// its log is trimmed rather than thrown away.
bool isBetaBuild(const Value& shortVersion) {
  const std::string* text = shortVersion.asString();
  return text == nullptr || text->find('b') != std::string::npos;
}

}  // namespace

void TDMailPlugin::load(PluginContext& context) {
  logQueryName(context, Value(kNotAQuery), "TDMailPlugin load");
}

void TDMailPlugin::initialize(PluginContext& context) {
  logQueryName(context, Value(kNotAQuery), "TDMailPlugin initialize");
  const auto& hostClasses = context.ports().hostClasses;
  auto mailBundleClass = hostClasses ? hostClasses->mailBundleClass() : nullptr;
  if (!mailBundleClass) {
    logQueryName(context, Value(kNotAQuery), "Mail.app doesn't support bundles anymore!");
    return;
  }
  logQueryName(context, Value(kNotAQuery), "TDMailPlugin register");
  mailBundleClass->registerBundle();
  context.ports().dispatcher->performOnMainThread([&context] { createInstance(context); });
}

void TDMailPlugin::createInstance(PluginContext& context) {
  context.ports().dispatcher->dispatchAsyncGlobal([&context] { installationCheck(context); });
  logQueryName(context, Value(kNotAQuery), "TDMailPlugin create instance");
  auto previous = std::exchange(context.sharedInstance, make(context));
  previous.reset();
}

TDMailPlugin::TDMailPlugin(PluginContext& context)
    : context_(context),
      version_(versionFromBundleVersion(context.ports().pluginBundle->objectForInfoDictionaryKey(
          std::string(kBundleVersionKey)))),
      logLevel_(1) {}

std::shared_ptr<TDMailPlugin> TDMailPlugin::make(PluginContext& context) {
  std::shared_ptr<TDMailPlugin> plugin(new TDMailPlugin(context));
  plugin->registerObservers();
  plugin->postDistributedNotificationName(messageName(Message::PluginReady), Value(), Value(),
                                          true);
  return plugin;
}

void TDMailPlugin::registerObservers() {
  const platform::Ports& ports = context_.ports();
  std::weak_ptr<TDMailPlugin> weakSelf = weak_from_this();
  auto route = [weakSelf](void (TDMailPlugin::*handler)(const platform::Notification&)) {
    return [weakSelf, handler](const platform::Notification& notification) {
      if (auto self = weakSelf.lock()) ((*self).*handler)(notification);
    };
  };

  // In this order: the workspace's terminations, the five commands, the host's quit.
  subscriptions_.push_back(ports.workspace->notificationCenter().addObserver(
      std::string(platform::kWorkspaceDidTerminateApplicationNotification),
      route(&TDMailPlugin::workspaceDidTerminateApplicationNotification)));
  const std::pair<Message, void (TDMailPlugin::*)(const platform::Notification&)> commands[] = {
      {Message::Connect, &TDMailPlugin::connect},     {Message::Search, &TDMailPlugin::search},
      {Message::Cancel, &TDMailPlugin::cancel},       {Message::Clear, &TDMailPlugin::clear},
      {Message::Terminate, &TDMailPlugin::terminate},
  };
  for (const auto& [message, handler] : commands) {
    subscriptions_.push_back(
        ports.distributedCenter->addObserver(messageName(message), route(handler)));
  }
  subscriptions_.push_back(
      ports.localCenter->addObserver(std::string(platform::kApplicationWillTerminateNotification),
                                     route(&TDMailPlugin::applicationWillTerminate)));
}

void TDMailPlugin::applicationWillTerminate(const platform::Notification&) {
  // The running queries are reported, not cancelled.
  Value::Array activeNames;
  for (const Value& name : queryNames()) activeNames.push_back(name);
  postDistributedNotificationName(
      messageName(Message::PluginQuit), Value(),
      Value(Value::Dictionary{{std::string(protocol::key::kActiveNames), Value(activeNames)}}),
      true);

  {
    std::lock_guard lock(poolMutex_);
    for (const auto& pasteboard : pasteboards_) pasteboard->releaseGlobally();
    pasteboards_.clear();
    pasteboardPool_.clear();
  }

  const platform::Ports& ports = context_.ports();
  const std::string historyKey(kLogHistoryKey);
  std::lock_guard lock(context_.logHistoryMutex);
  if (!isBetaBuild(ports.pluginBundle->objectForInfoDictionaryKey(std::string(kShortVersionKey)))) {
    ports.userDefaults->removeObjectForKey(historyKey);
    return;
  }
  Value::Array history;
  if (const Value::Array* entries = ports.userDefaults->objectForKey(historyKey).asArray()) {
    history = *entries;
  }
  trimLogHistoryFront(history, ports.clock->now(), kBetaLogHistoryMaxAge);
  ports.userDefaults->setObject(Value(std::move(history)), historyKey);
}

TDMailPlugin::~TDMailPlugin() {
  // Every registration goes with the instance, the in-process quit included: its handler could
  // only find the instance gone.
  subscriptions_.clear();
  std::lock_guard lock(poolMutex_);
  for (const auto& pasteboard : pasteboards_) {
    pasteboard->setTag(protocol::key::kUniqueName, Value());
    pasteboard->setTag(protocol::key::kClientName, Value());
    pasteboard->releaseGlobally();
  }
}

}  // namespace trovadex::plugin
