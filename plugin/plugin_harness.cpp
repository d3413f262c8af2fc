#include "plugin/plugin_harness.hpp"

#include <gtest/gtest.h>

#include "plugin/log_history.hpp"

namespace trovadex::plugin::testing {

using foundation::Value;
using platform::fake::FakePortsOptions;
using platform::fake::NotificationDelivery;

PluginHarness::PluginHarness(FakePortsOptions options) : fakes(options), context(fakes.ports()) {}

namespace {

platform::Ports adjusted(platform::Ports ports,
                         const std::function<void(platform::Ports&)>& adjust) {
  adjust(ports);
  return ports;
}

}  // namespace

PluginHarness::PluginHarness(FakePortsOptions options,
                             const std::function<void(platform::Ports&)>& adjust)
    : fakes(options), context(adjusted(fakes.ports(), adjust)) {}

PluginHarness::~PluginHarness() {
  stopEngineQueries();
  context.sharedInstance.reset();
  runMain();
}

FakePortsOptions PluginHarness::queuedDelivery() {
  FakePortsOptions options;
  options.delivery = NotificationDelivery::Queued;
  return options;
}

TDMailPlugin& PluginHarness::start(bool keepStartupRecord) {
  TDMailPlugin::createInstance(context);
  if (!keepStartupRecord) {
    fakes.distributedCenter->clearPosts();
    fakes.console->clear();
  }
  return plugin();
}

void PluginHarness::runMain() { fakes.dispatcher->runMainUntilIdle(); }

platform::Notification PluginHarness::command(protocol::Message command,
                                              Value::Dictionary userInfo) {
  return platform::Notification{protocol::messageName(command), Value(), Value(std::move(userInfo)),
                                nullptr};
}

void PluginHarness::send(protocol::Message command, Value::Dictionary userInfo) {
  fakes.distributedCenter->postNotification(protocol::messageName(command), Value(),
                                            Value(std::move(userInfo)), true);
  runMain();
}

std::vector<platform::fake::RecordedPost> PluginHarness::posts(protocol::Message message) const {
  return fakes.distributedCenter->postsNamed(protocol::messageName(message));
}

bool PluginHarness::waitForPosts(protocol::Message message, std::size_t count) const {
  return fakes.distributedCenter->waitForPost(protocol::messageName(message), kWaitTimeout, count);
}

std::vector<std::string> PluginHarness::consoleLines(std::string_view containing) const {
  return fakes.console->linesContaining(containing);
}

Value::Array PluginHarness::logHistory() const {
  const Value stored = fakes.userDefaults->objectForKey(std::string(kLogHistoryKey));
  const Value::Array* entries = stored.asArray();
  return entries ? *entries : Value::Array{};
}

void PluginHarness::stopEngineQueries() {
  for (const auto& request : fakes.searchQueryFactory->requests()) {
    if (auto query = request.query.lock()) {
      query->cancel();
      if (!query->isStarted()) continue;
      EXPECT_TRUE(query->waitUntilFinished(kWaitTimeout)) << "a fake query did not end";
    }
  }
}

Value messageAt(const Value& payload, std::size_t index) {
  return payload[protocol::key::kMessages].at(index);
}

}  // namespace trovadex::plugin::testing
