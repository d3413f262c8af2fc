// PluginHarness: a plug-in running over fresh fakes, for the unit tests of the plug-in folders.
//
// The harness owns the fakes, the plug-in context and (after start()) the shared instance. The
// notification centres queue their deliveries as main work, as the bus does; the test's thread
// is the main thread, and runMain() plays what is queued. On destruction every fake query is
// cancelled and its thread waited for before the plug-in goes, so no handler outlives it.
// Main thread only, except the wait helpers, which block the main thread on other threads.
#pragma once

#include <chrono>
#include <cstddef>
#include <functional>
#include <memory>
#include <string>
#include <string_view>
#include <vector>

#include "foundation/value.hpp"
#include "platform/fake/fake_ports.hpp"
#include "plugin/plugin_context.hpp"
#include "plugin/td_mail_plugin.hpp"
#include "protocol/message_names.hpp"

namespace trovadex::plugin::testing {

inline constexpr std::chrono::milliseconds kWaitTimeout{10000};

class PluginHarness {
 public:
  explicit PluginHarness(platform::fake::FakePortsOptions options = queuedDelivery());
  // With the plug-in's ports changed by adjust before the context is made, so that a test can
  // put a port of its own in front of a fake.
  PluginHarness(platform::fake::FakePortsOptions options,
                const std::function<void(platform::Ports&)>& adjust);
  ~PluginHarness();
  PluginHarness(const PluginHarness&) = delete;
  PluginHarness& operator=(const PluginHarness&) = delete;

  static platform::fake::FakePortsOptions queuedDelivery();

  // Creates the instance as the host's main loop would (createInstance), clears the start-up
  // posts and console lines unless asked to keep them, and returns it.
  TDMailPlugin& start(bool keepStartupRecord = false);
  TDMailPlugin& plugin() const { return *context.sharedInstance; }

  // Runs queued main work until none is left.
  void runMain();
  // Posts a command on the distributed centre, as the companion does, and runs the main loop.
  void send(protocol::Message command, foundation::Value::Dictionary userInfo);
  // The command's notification, for calling a handler directly.
  static platform::Notification command(protocol::Message command,
                                        foundation::Value::Dictionary userInfo);

  // Posts of the plug-in by message, oldest first.
  std::vector<platform::fake::RecordedPost> posts(protocol::Message message) const;
  bool waitForPosts(protocol::Message message, std::size_t count) const;
  // Console lines containing text.
  std::vector<std::string> consoleLines(std::string_view containing) const;
  // The log history as stored in the user defaults.
  foundation::Value::Array logHistory() const;

  // Cancels every query the fake engine made and waits until its thread has ended.
  void stopEngineQueries();

  // Declared in destruction order, last first: the plug-in goes before its context and the fakes.
  platform::fake::FakePorts fakes;
  PluginContext context;
};

// The message record value of a ResultsBatch's "messages" at index.
foundation::Value messageAt(const foundation::Value& payload, std::size_t index);

}  // namespace trovadex::plugin::testing
