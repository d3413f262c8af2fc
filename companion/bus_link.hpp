// BusLink: the companion's own connection to the session bus.
//
// It opens a private connection, hears every signal of the plug-in's interface (whatever its
// sender and path) and hands each decoded notification to a receiver, posts commands as signals,
// and holds the companion's well-known bus name in the queue of its owners. Bodies of the wrong
// shape and values without a property-list reading are reported, never delivered half-read.
// Single-threaded: construct it, post, and iterate its context on one thread; the receiver runs
// there, from that context.
#pragma once

#include <chrono>
#include <functional>
#include <memory>
#include <string>
#include <string_view>

#include "companion/wire_vocabulary.hpp"
#include "foundation/error.hpp"
#include "foundation/value.hpp"
#include "linux/glib_ptr.hpp"

namespace trovadex::companion {

using NotificationReceiver =
    std::function<void(std::string_view notificationName, const foundation::Value& userInfo)>;
using ProblemReporter = std::function<void(const std::string& text)>;

class BusLink {
 public:
  // Connects to the session bus and subscribes; notifications are delivered while context is
  // iterated. problem (may be null) hears what could not be read or sent.
  static foundation::Result<std::unique_ptr<BusLink>> open(GMainContext* context,
                                                           NotificationReceiver receiver,
                                                           ProblemReporter problem);
  // Unsubscribes (no notification is delivered afterwards), gives the bus name up, flushes what
  // was posted and closes the connection.
  ~BusLink();
  BusLink(const BusLink&) = delete;
  BusLink& operator=(const BusLink&) = delete;

  // Emits the command's signal; the bus queues it at once.
  foundation::Status post(Command command, const foundation::Value& userInfo);

  // Asks for the companion's bus name, waiting in the queue behind other owners when there are
  // any. Returns whether this connection is now its primary owner.
  foundation::Result<bool> requestCompanionName();

  // Asks the bus to start the service that owns name (StartServiceByName) without waiting for
  // it: done runs on the context once the service runs (Ok), or with the bus's refusal (no such
  // service, or it failed to start). done never runs after the link is destroyed.
  void startService(const std::string& name, std::chrono::milliseconds timeout,
                    std::function<void(foundation::Status)> done);

  // Runs appeared on the context each time the well-known name gets an owner, for as long as the
  // link lives. One name per link.
  void watchNameAppearing(const std::string& name, std::function<void()> appeared);

  // Waits until everything posted has been handed to the bus.
  foundation::Status flush();

  // This connection's unique bus name (":1.42").
  std::string uniqueBusName() const;

 private:
  struct Delivery {
    NotificationReceiver receiver;
    ProblemReporter problem;
  };
  BusLink(linux_platform::GObjectPtr<GDBusConnection> connection,
          std::unique_ptr<Delivery> delivery);
  static void onSignal(GDBusConnection*, const gchar* sender, const gchar*, const gchar* interface,
                       const gchar* member, GVariant* body, gpointer data);

  linux_platform::GObjectPtr<GDBusConnection> connection_;
  GMainContext* context_ = nullptr;  // where signals and service starts are delivered
  // Cancelled when the link goes, so that no pending call reaches it afterwards.
  linux_platform::GObjectPtr<GCancellable> cancellable_;
  std::shared_ptr<int> pendingStarts_;  // service starts not yet reported, shared with each
  std::unique_ptr<Delivery> delivery_;  // the subscription's data; outlives the subscription
  guint subscription_ = 0;
  std::unique_ptr<std::function<void()>> nameAppeared_;  // the name watch's data
  guint nameSubscription_ = 0;
  bool ownsNameRequest_ = false;
};

}  // namespace trovadex::companion
