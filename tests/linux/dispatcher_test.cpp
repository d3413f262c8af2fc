// The main loop, the dispatcher's two queues and the in-process notification centre.
#include <gtest/gtest.h>

#include <atomic>
#include <csignal>
#include <mutex>
#include <stdexcept>
#include <thread>
#include <vector>

#include "linux/glib_dispatcher.hpp"
#include "linux/local_notification_center.hpp"
#include "linux/main_loop.hpp"
#include "tests/linux/linux_test_support.hpp"

namespace trovadex::linux_platform {
namespace {

using testing::kEventTimeout;
using testing::RecordingConsole;

TEST(GlibDispatcher, RunsMainQueueWorkLaterOnTheMainThreadInSubmissionOrder) {
  MainLoop loop;
  GlibDispatcher dispatcher(loop, nullptr);
  std::vector<int> order;
  dispatcher.dispatchAsyncMain([&] {
    order.push_back(1);
    // Work submitted from running work waits for a later pass, behind what was already queued.
    dispatcher.dispatchAsyncMain([&] { order.push_back(4); });
  });
  dispatcher.performOnMainThread([&] { order.push_back(2); });
  dispatcher.dispatchAsyncMain([&] {
    EXPECT_TRUE(loop.isMainThread());
    order.push_back(3);
  });
  EXPECT_TRUE(order.empty()) << "main-queue work ran inside the submitting call";
  ASSERT_TRUE(loop.iterateUntil([&] { return order.size() == 4; }, kEventTimeout));
  EXPECT_EQ(order, (std::vector<int>{1, 2, 3, 4}));
}

TEST(GlibDispatcher, HandsWorkFromOtherThreadsToTheMainThreadInTheirOrder) {
  MainLoop loop;
  GlibDispatcher dispatcher(loop, nullptr);
  constexpr int kPerThread = 200;
  std::vector<std::pair<int, int>> received;  // main thread only
  std::vector<std::thread> senders;
  for (int sender = 0; sender < 2; ++sender) {
    senders.emplace_back([&, sender] {
      for (int i = 0; i < kPerThread; ++i) {
        dispatcher.dispatchAsyncMain([&, sender, i] {
          EXPECT_TRUE(loop.isMainThread());
          received.emplace_back(sender, i);
        });
      }
    });
  }
  for (auto& thread : senders) thread.join();
  ASSERT_TRUE(loop.iterateUntil([&] { return received.size() == 2 * kPerThread; }, kEventTimeout));
  int next[2] = {0, 0};
  for (const auto& [sender, i] : received) EXPECT_EQ(i, next[sender]++);
}

TEST(GlibDispatcher, RunsGlobalWorkOffTheMainThreadAndFinishesItBeforeShutdownReturns) {
  MainLoop loop;
  GlibDispatcher dispatcher(loop, nullptr);
  std::atomic<int> done{0};
  std::atomic<bool> ranOnMain{false};
  for (int i = 0; i < 50; ++i) {
    dispatcher.dispatchAsyncGlobal([&] {
      if (loop.isMainThread()) ranOnMain = true;
      ++done;
    });
  }
  dispatcher.shutdown();
  EXPECT_EQ(done.load(), 50);
  EXPECT_FALSE(ranOnMain.load());
}

TEST(GlibDispatcher, ReportsWorkThatThrowsAndKeepsGoing) {
  MainLoop loop;
  auto console = std::make_shared<RecordingConsole>();
  GlibDispatcher dispatcher(loop, console);
  bool after = false;
  dispatcher.dispatchAsyncMain([] { throw std::runtime_error("main boom"); });
  dispatcher.dispatchAsyncMain([&] { after = true; });
  dispatcher.dispatchAsyncGlobal([] { throw std::runtime_error("pool boom"); });
  ASSERT_TRUE(loop.iterateUntil([&] { return after; }, kEventTimeout));
  dispatcher.shutdown();
  EXPECT_TRUE(console->contains("main queue: uncaught exception: main boom"));
  EXPECT_TRUE(console->contains("global queue: uncaught exception: pool boom"));
}

TEST(GlibDispatcher, DropsMainQueueWorkAfterShutdown) {
  MainLoop loop;
  GlibDispatcher dispatcher(loop, nullptr);
  bool ran = false;
  bool marker = false;
  dispatcher.dispatchAsyncMain([&] { ran = true; });
  dispatcher.shutdown();
  dispatcher.dispatchAsyncMain([&] { ran = true; });
  dispatcher.dispatchAsyncGlobal([&] { ran = true; });
  // Something else on the loop proves the loop turned while the dropped work did not run.
  GlibDispatcher other(loop, nullptr);
  other.dispatchAsyncMain([&] { marker = true; });
  ASSERT_TRUE(loop.iterateUntil([&] { return marker; }, kEventTimeout));
  EXPECT_FALSE(ran);
}

TEST(MainLoop, RunsUntilQuitFromAnotherThread) {
  MainLoop loop;
  GlibDispatcher dispatcher(loop, nullptr);
  std::thread quitter;
  // The thread starts from work the running loop performs, so the quit cannot come too early.
  dispatcher.dispatchAsyncMain([&] { quitter = std::thread([&] { loop.quit(); }); });
  loop.run();
  ASSERT_TRUE(quitter.joinable()) << "run() returned before the loop performed any work";
  quitter.join();
}

TEST(MainLoop, ReportsTerminationSignalsOnTheMainThread) {
  MainLoop loop;
  std::vector<int> received;
  bool onMain = true;
  loop.watchTerminationSignals([&](int signal) {
    onMain = onMain && loop.isMainThread();
    received.push_back(signal);
  });
  ASSERT_EQ(::raise(SIGTERM), 0);
  ASSERT_TRUE(loop.iterateUntil([&] { return received.size() == 1; }, kEventTimeout));
  ASSERT_EQ(::raise(SIGINT), 0);
  ASSERT_TRUE(loop.iterateUntil([&] { return received.size() == 2; }, kEventTimeout));
  EXPECT_EQ(received, (std::vector<int>{SIGTERM, SIGINT}));
  EXPECT_TRUE(onMain);
}

TEST(LocalNotificationCenter, DeliversAPostOnTheMainThreadBeforePostReturnsInObserverOrder) {
  MainLoop loop;
  LocalNotificationCenter center(loop, nullptr);
  std::vector<std::string> calls;
  auto first = center.addObserver("Quit", [&](const platform::Notification& n) {
    calls.push_back("first " + n.userInfo["why"].description());
  });
  auto second =
      center.addObserver("Quit", [&](const platform::Notification&) { calls.push_back("second"); });
  auto other =
      center.addObserver("Other", [&](const platform::Notification&) { calls.push_back("other"); });
  center.postNotification("Quit", {}, foundation::Value::Dictionary{{"why", "signal"}}, true);
  EXPECT_EQ(calls, (std::vector<std::string>{"first signal", "second"}));
}

TEST(LocalNotificationCenter, DeliversAPostFromAnotherThreadOnTheMainThread) {
  MainLoop loop;
  LocalNotificationCenter center(loop, nullptr);
  bool onMain = false;
  int calls = 0;
  auto subscription = center.addObserver("Ping", [&](const platform::Notification&) {
    onMain = loop.isMainThread();
    ++calls;
  });
  std::thread poster([&] { center.postNotification("Ping", {}, {}, true); });
  poster.join();
  ASSERT_TRUE(loop.iterateUntil([&] { return calls == 1; }, kEventTimeout));
  EXPECT_TRUE(onMain);
}

TEST(LocalNotificationCenter, StopsCallingAnObserverOnceItsSubscriptionIsReset) {
  MainLoop loop;
  LocalNotificationCenter center(loop, nullptr);
  int firstCalls = 0;
  int secondCalls = 0;
  platform::Subscription second;
  // The first observer removes the second while a delivery is under way.
  auto first = center.addObserver("Tick", [&](const platform::Notification&) {
    ++firstCalls;
    second.reset();
  });
  second = center.addObserver("Tick", [&](const platform::Notification&) { ++secondCalls; });
  center.postNotification("Tick", {}, {}, true);
  first.reset();
  center.postNotification("Tick", {}, {}, true);
  EXPECT_EQ(firstCalls, 1);
  EXPECT_EQ(secondCalls, 0);
}

}  // namespace
}  // namespace trovadex::linux_platform
