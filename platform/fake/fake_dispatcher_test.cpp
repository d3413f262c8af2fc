#include "platform/fake/fake_dispatcher.hpp"

#include <gtest/gtest.h>

#include <chrono>
#include <functional>
#include <string>
#include <thread>
#include <vector>

namespace trovadex::platform::fake {
namespace {

using namespace std::chrono_literals;

TEST(FakeDispatcher, MainWorkRunsOnlyWhenAskedAndInSubmissionOrderAcrossBothEntryPoints) {
  FakeDispatcher dispatcher;
  std::vector<std::string> ran;
  dispatcher.dispatchAsyncMain([&] { ran.push_back("async 1"); });
  dispatcher.performOnMainThread([&] { ran.push_back("perform"); });
  dispatcher.dispatchAsyncMain([&] { ran.push_back("async 2"); });
  EXPECT_TRUE(ran.empty());
  EXPECT_EQ(dispatcher.pendingMainCount(), 3u);

  EXPECT_TRUE(dispatcher.runOneMain());
  EXPECT_EQ(ran, (std::vector<std::string>{"async 1"}));
  EXPECT_EQ(dispatcher.runMainUntilIdle(), 2u);
  EXPECT_EQ(ran, (std::vector<std::string>{"async 1", "perform", "async 2"}));
  EXPECT_EQ(dispatcher.pendingMainCount(), 0u);
  EXPECT_FALSE(dispatcher.runOneMain());
}

TEST(FakeDispatcher, WorkSubmittedByMainWorkRunsLaterInTheSameRunNeverInsideTheSubmission) {
  FakeDispatcher dispatcher;
  std::vector<std::string> ran;
  dispatcher.dispatchAsyncMain([&] {
    dispatcher.performOnMainThread([&] { ran.push_back("submitted"); });
    ran.push_back(ran.empty() ? "first, nothing ran inside" : "first, after something ran");
  });
  dispatcher.dispatchAsyncMain([&] { ran.push_back("second"); });

  EXPECT_EQ(dispatcher.runMainUntilIdle(), 3u);
  EXPECT_EQ(ran, (std::vector<std::string>{"first, nothing ran inside", "second", "submitted"}));
}

TEST(FakeDispatcher, RunStopsAtItsLimitWhenWorkKeepsResubmittingItself) {
  FakeDispatcher dispatcher;
  std::function<void()> again = [&] { dispatcher.dispatchAsyncMain(again); };
  dispatcher.dispatchAsyncMain(again);

  EXPECT_EQ(dispatcher.runMainUntilIdle(50), 50u);
  EXPECT_EQ(dispatcher.pendingMainCount(), 1u);
  dispatcher.runMainUntilIdle(0);
}

TEST(FakeDispatcher, HeldGlobalWorkRunsWhenAskedAndCountsAsOffTheMainThread) {
  FakeDispatcher dispatcher(GlobalQueueMode::Queued);
  std::vector<bool> onMain;
  dispatcher.dispatchAsyncGlobal([&] {
    onMain.push_back(dispatcher.isMainThread());
    dispatcher.dispatchAsyncMain([&] { onMain.push_back(dispatcher.isMainThread()); });
  });
  EXPECT_TRUE(onMain.empty());
  EXPECT_EQ(dispatcher.pendingGlobalCount(), 1u);

  EXPECT_EQ(dispatcher.runGlobalUntilIdle(), 1u);
  EXPECT_TRUE(dispatcher.isMainThread());
  EXPECT_EQ(dispatcher.runMainUntilIdle(), 1u);
  EXPECT_EQ(onMain, (std::vector<bool>{false, true}));
}

TEST(FakeDispatcher, WorkerGlobalWorkRunsOnOtherThreadsThatAreJoined) {
  FakeDispatcher dispatcher(GlobalQueueMode::Workers);
  std::thread::id first;
  std::thread::id second;
  bool firstSawMain = true;
  dispatcher.dispatchAsyncGlobal([&] {
    first = std::this_thread::get_id();
    firstSawMain = dispatcher.isMainThread();
    // Global work that queues more global work, and main work.
    dispatcher.dispatchAsyncGlobal([&] { second = std::this_thread::get_id(); });
    dispatcher.dispatchAsyncMain([] {});
  });

  ASSERT_TRUE(dispatcher.waitForMainWork(10s));
  dispatcher.joinGlobalWork();

  EXPECT_NE(first, std::thread::id());
  EXPECT_NE(first, std::this_thread::get_id());
  EXPECT_NE(second, std::thread::id());
  EXPECT_NE(second, std::this_thread::get_id());
  EXPECT_FALSE(firstSawMain);
  EXPECT_EQ(dispatcher.pendingGlobalCount(), 0u);
  EXPECT_EQ(dispatcher.runMainUntilIdle(), 1u);
}

}  // namespace
}  // namespace trovadex::platform::fake
