// The distributed notification centre on a private session bus, against another process and
// against what other clients (gdbus, hand-made messages) put on the bus.
#include <gtest/gtest.h>

#include <string>
#include <vector>

#include "linux/bus_notification.hpp"
#include "linux/dbus_notification_center.hpp"
#include "linux/gvariant_codec.hpp"
#include "linux/main_loop.hpp"
#include "linux/session_bus.hpp"
#include "tests/linux/linux_test_support.hpp"

namespace trovadex::linux_platform {
namespace {

using foundation::Date;
using foundation::Value;
using testing::kEventTimeout;
using testing::PeerProcess;
using testing::RecordingConsole;

const std::string kSearch = "org.trovadex.MailPlugin.Search";
const std::string kQueryDidStart = "org.trovadex.MailPlugin.QueryDidStart";

GObjectPtr<GDBusConnection> connect() {
  auto bus = openSessionBus();
  if (!bus) {
    ADD_FAILURE() << bus.error().localizedDescription;
    return nullptr;
  }
  return std::move(bus.value());
}

// Emits a signal with any body, as a client that does not use our codec would.
void emitRaw(GDBusConnection* connection, const char* member, GVariant* body) {
  GError* error = nullptr;
  EXPECT_TRUE(g_dbus_connection_emit_signal(connection, nullptr, "/org/trovadex/MailPlugin",
                                            "org.trovadex.MailPlugin", member, body, &error));
  if (error != nullptr) {
    ADD_FAILURE() << error->message;
    g_error_free(error);
  }
}

struct Received {
  std::vector<platform::Notification> notifications;
  platform::Subscription subscription;
};

void observe(DBusNotificationCenter& center, const std::string& name, Received& received,
             GDBusConnection* connection) {
  received.subscription = center.addObserver(
      name, [&received](const platform::Notification& n) { received.notifications.push_back(n); });
  testing::syncWithBus(connection);
}

class DistributedCenter : public ::testing::Test {
 protected:
  MainLoop loop_;
  std::shared_ptr<RecordingConsole> console_ = std::make_shared<RecordingConsole>();
  GObjectPtr<GDBusConnection> bus_ = connect();
  DBusNotificationCenter center_{bus_.get(), console_};

  bool waitFor(const Received& received, std::size_t count) {
    return loop_.iterateUntil([&] { return received.notifications.size() >= count; },
                              kEventTimeout);
  }
};

int depthOf(const Value& value) {
  int depth = 0;
  const Value* current = &value;
  while (current->isDictionary()) {
    ++depth;
    current = &(*current)["next"];
  }
  return depth;
}

Value nested(int depth) {
  Value value("bottom");
  for (int i = 0; i < depth; ++i) value = Value(Value::Dictionary{{"next", value}});
  return value;
}

TEST_F(DistributedCenter, CarriesEveryValueKindToAnotherProcessAndBack) {
  PeerProcess peer(loop_, {"echo", "Search", "QueryDidStart"});
  ASSERT_EQ(peer.readLine(), "ready");
  Received echoed;
  observe(center_, kQueryDidStart, echoed, bus_.get());

  const Value::Dictionary userInfo = {
      {"uniqueName", Value("q-1 Ünïcödé")},
      {"sortAscending", Value::boolean(true)},
      {"libraryID", Value::integer(-42)},
      {"foundItemCount", Value::unsignedInteger(18446744073709551615ull)},
      {"score", Value::real(0.125)},
      {"when", Value(Date::withTimeIntervalSinceReferenceDate(812345678.5))},
      {"blob", Value::data({0, 1, 254, 255})},
      {"activeNames", Value(Value::Array{Value("a"), Value::integer(2)})},
      {"pendingBatches",
       Value(Value::Array{Value(Value::Dictionary{{"batchName", Value("b")},
                                                  {"batchNumber", Value::unsignedInteger(3)}})})},
  };
  center_.postNotification(kSearch, Value("client-7"), Value(userInfo), true);
  center_.postNotification(kSearch, Value(), Value(), true);
  ASSERT_TRUE(waitFor(echoed, 2));

  const platform::Notification& first = echoed.notifications[0];
  EXPECT_EQ(first.name, kQueryDidStart);
  EXPECT_EQ(first.object, Value("client-7"));
  EXPECT_EQ(first.userInfo, Value(userInfo));
  for (const auto& [key, value] : userInfo) {
    EXPECT_EQ(first.userInfo[key].kind(), value.kind()) << key;
  }
  EXPECT_EQ(first.userInfo["when"].asDate()->timeIntervalSinceReferenceDate(), 812345678.5);
  EXPECT_TRUE(echoed.notifications[1].object.isNil());
  EXPECT_TRUE(echoed.notifications[1].userInfo.isNil());
  EXPECT_TRUE(peer.stop());
}

TEST_F(DistributedCenter, ReadsTypedArraysAndDictionariesSentByGdbus) {
  Received received;
  observe(center_, kSearch, received, bus_.get());
  ASSERT_EQ(
      testing::runProgram(loop_, {"gdbus", "emit", "--session", "--object-path",
                                  "/org/trovadex/MailPlugin", "--signal", kSearch, "'shell'",
                                  "{'names': <['INBOX', 'Sent']>, 'pairs': <{'field': 'subject'}>, "
                                  "'count': <int32 3>}"}),
      0);
  ASSERT_TRUE(waitFor(received, 1));
  const platform::Notification& notification = received.notifications[0];
  EXPECT_EQ(notification.object, Value("shell"));
  EXPECT_EQ(notification.userInfo["names"], Value(Value::Array{Value("INBOX"), Value("Sent")}));
  EXPECT_EQ(notification.userInfo["pairs"], Value(Value::Dictionary{{"field", Value("subject")}}));
  EXPECT_EQ(notification.userInfo["count"].kind(), Value::Kind::Integer);
  EXPECT_EQ(notification.userInfo["count"].integerValue(), 3);
}

TEST_F(DistributedCenter, IgnoresABodyOfTheWrongShapeWithALogLineAndKeepsListening) {
  Received received;
  observe(center_, kSearch, received, bus_.get());
  auto sender = connect();
  emitRaw(sender.get(), "Search", g_variant_new("(i)", 42));
  emitRaw(sender.get(), "Search", g_variant_new("(sa{ss})", "x", nullptr));
  emitRaw(sender.get(), "Search", g_variant_new_parsed("({'clientName': <'after'>},)"));
  ASSERT_TRUE(waitFor(received, 1));
  ASSERT_EQ(received.notifications.size(), 1u);
  EXPECT_EQ(received.notifications[0].userInfo["clientName"], Value("after"));
  EXPECT_TRUE(console_->contains("Ignored notification " + kSearch + " from :"));
  EXPECT_TRUE(console_->contains("must be (sa{sv}) or (a{sv}), not (i)"));
  EXPECT_TRUE(console_->contains("not (sa{ss})"));
}

TEST_F(DistributedCenter, TakesATwentyDeepDictionaryAndAMebibyteStringInItsStride) {
  Received received;
  observe(center_, kSearch, received, bus_.get());
  auto sender = connect();

  // Built by hand: our own encoder refuses to send anything this deep.
  GVariant* deep = g_variant_new_string("bottom");
  for (int level = 0; level < 20; ++level) {
    GVariantBuilder builder;
    g_variant_builder_init(&builder, G_VARIANT_TYPE("a{sv}"));
    g_variant_builder_add(&builder, "{sv}", "next", deep);
    deep = g_variant_builder_end(&builder);
  }
  GVariant* deepBody[] = {g_variant_new_string(""), deep};
  emitRaw(sender.get(), "Search", g_variant_new_tuple(deepBody, 2));
  const std::string mebibyte(1 << 20, 'm');
  auto large = encodeNotificationBody(Value(), Value(Value::Dictionary{{"queryString", mebibyte}}));
  ASSERT_TRUE(large.ok());
  emitRaw(sender.get(), "Search", large.value().get());
  emitRaw(sender.get(), "Search", g_variant_new_parsed("('', {'marker': <true>})"));

  ASSERT_TRUE(waitFor(received, 3));
  EXPECT_EQ(depthOf(received.notifications[0].userInfo), 20);
  EXPECT_EQ(received.notifications[1].userInfo["queryString"], Value(mebibyte));
  EXPECT_TRUE(received.notifications[2].userInfo["marker"].boolValue());
}

TEST_F(DistributedCenter, RefusesToPostWhatTheBusWouldRejectAndStaysConnected) {
  Received received;
  observe(center_, kSearch, received, bus_.get());
  center_.postNotification(kSearch, {}, Value(Value::Dictionary{{"next", nested(20)}}), true);
  center_.postNotification("NoDots", {}, {}, true);
  center_.postNotification(kSearch, Value::integer(3), {}, true);
  center_.postNotification(kSearch, {}, Value(Value::Dictionary{{"fine", Value("yes")}}), true);
  ASSERT_TRUE(waitFor(received, 1));
  EXPECT_EQ(received.notifications.size(), 1u);
  EXPECT_EQ(received.notifications[0].userInfo["fine"], Value("yes"));
  EXPECT_TRUE(console_->contains("Cannot post notification " + kSearch + ": Value cannot be sent"));
  EXPECT_TRUE(console_->contains("Cannot post notification NoDots"));
  EXPECT_TRUE(console_->contains("object must be a string or nil"));
  EXPECT_FALSE(g_dbus_connection_is_closed(bus_.get()));
}

TEST_F(DistributedCenter, CallsEveryObserverOfANameOnceUntilItsSubscriptionGoes) {
  Received first;
  Received second;
  observe(center_, kSearch, first, bus_.get());
  observe(center_, kSearch, second, bus_.get());
  center_.postNotification(kSearch, {}, Value(Value::Dictionary{{"n", Value::integer(1)}}), true);
  ASSERT_TRUE(waitFor(second, 1));
  ASSERT_TRUE(waitFor(first, 1));
  second.subscription.reset();
  center_.postNotification(kSearch, {}, Value(Value::Dictionary{{"n", Value::integer(2)}}), true);
  ASSERT_TRUE(waitFor(first, 2));
  EXPECT_EQ(first.notifications.size(), 2u);
  EXPECT_EQ(second.notifications.size(), 1u);
  EXPECT_EQ(first.notifications[1].userInfo["n"].integerValue(), 2);
}

TEST_F(DistributedCenter, LetsAnObserverRemoveEveryObserverOfItsNameWhileItIsCalled) {
  int calls = 0;
  platform::Subscription first;
  platform::Subscription second;
  first = center_.addObserver(kSearch, [&](const platform::Notification&) {
    ++calls;
    first.reset();
    second.reset();
  });
  second = center_.addObserver(kSearch, [&](const platform::Notification&) { ++calls; });
  Received marker;
  observe(center_, "org.trovadex.MailPlugin.Clear", marker, bus_.get());
  center_.postNotification(kSearch, {}, {}, true);
  center_.postNotification(kSearch, {}, {}, true);
  center_.postNotification("org.trovadex.MailPlugin.Clear", {}, {}, true);
  ASSERT_TRUE(waitFor(marker, 1));
  EXPECT_EQ(calls, 1);
}

TEST_F(DistributedCenter, RefusesToObserveANameThatIsNoSignal) {
  auto subscription = center_.addObserver("Not a signal", [](const platform::Notification&) {});
  EXPECT_FALSE(subscription.active());
  EXPECT_TRUE(console_->contains("Cannot observe notification Not a signal"));
}

}  // namespace
}  // namespace trovadex::linux_platform
