#include "spotlight/delivery_outbox.hpp"

#include <gtest/gtest.h>

#include <chrono>
#include <string>

namespace trovadex::spotlight {
namespace {

using Kind = DeliveryOutbox::Kind;
using namespace std::chrono_literals;

platform::SearchableItem item(int n) {
  platform::SearchableItem made;
  made.uniqueIdentifier = "m" + std::to_string(n);
  return made;
}

// Limits under which only counts, the cap and flushes close a delivery.
DeliveryLimits countsOnly() {
  DeliveryLimits limits;
  limits.firstCount = 3;
  limits.firstInterval = 1h;
  limits.count = 10;
  limits.interval = 1h;
  limits.cap = 50;
  limits.backlog = 100;
  return limits;
}

// Adds n items as a gather does: each followed by a look at whether a delivery is due. Returns
// how often the handler side had to be started.
int gather(DeliveryOutbox& outbox, int n) {
  int starts = 0;
  for (int i = 0; i < n; ++i) {
    starts += outbox.addFound(item(i));
    starts += outbox.closeIfDue();
  }
  return starts;
}

TEST(DeliveryOutbox, AnIdleHandlerGetsTheFirstFewItemsAtOnce) {
  DeliveryOutbox outbox(countsOnly());
  EXPECT_EQ(gather(outbox, 2), 0);
  EXPECT_FALSE(outbox.take().has_value());
  EXPECT_EQ(gather(outbox, 1), 1);
  auto first = outbox.take();
  ASSERT_TRUE(first.has_value());
  EXPECT_EQ(first->items.size(), 3u);
}

TEST(DeliveryOutbox, WhileTheHandlerRunsTheNextDeliveryGrowsUpToTheCap) {
  DeliveryOutbox outbox(countsOnly());
  ASSERT_EQ(gather(outbox, 3), 1);
  ASSERT_TRUE(outbox.take().has_value());  // the handler is now busy with the first three
  EXPECT_EQ(gather(outbox, 37), 0);        // nothing closes early while it runs
  auto grown = outbox.take();
  ASSERT_TRUE(grown.has_value());
  EXPECT_EQ(grown->items.size(), 37u);  // everything found meanwhile, in one delivery
  EXPECT_EQ(gather(outbox, 120), 0);
  std::vector<std::size_t> sizes;
  while (auto next = outbox.take()) sizes.push_back(next->items.size());
  EXPECT_EQ(sizes, (std::vector<std::size_t>{50, 50, 20}));
}

TEST(DeliveryOutbox, AFinishedHandlerLeavesAHandfulToWaitForMore) {
  DeliveryOutbox outbox(countsOnly());
  gather(outbox, 3);
  ASSERT_TRUE(outbox.take().has_value());
  gather(outbox, 4);
  EXPECT_FALSE(outbox.take().has_value());  // four is not a delivery's worth: the handler idles
  EXPECT_EQ(gather(outbox, 6), 1);          // at ten the idle handler is started again
  auto next = outbox.take();
  ASSERT_TRUE(next.has_value());
  EXPECT_EQ(next->items.size(), 10u);
}

TEST(DeliveryOutbox, TimeClosesADeliveryForAnIdleHandler) {
  DeliveryLimits limits = countsOnly();
  limits.firstInterval = 0ms;
  DeliveryOutbox outbox(limits);
  EXPECT_EQ(gather(outbox, 1), 1);  // due at once: its time is up
  EXPECT_EQ(outbox.take()->items.size(), 1u);
}

TEST(DeliveryOutbox, EventsKeepTheirOrderAndEndsCloseTheOpenDelivery) {
  DeliveryOutbox outbox(countsOnly());
  int starts = outbox.addFound(item(1));
  starts += outbox.addRemoved("m7");
  starts += outbox.addRemoved("m8");
  starts += outbox.addFound(item(2));
  starts += outbox.addEnd(Kind::GatherEnded);
  EXPECT_EQ(starts, 1);  // the first closed delivery starts the handler side, once
  std::vector<Kind> kinds;
  std::vector<std::size_t> sizes;
  while (auto event = outbox.take()) {
    kinds.push_back(event->kind);
    sizes.push_back(event->items.size() + event->identifiers.size());
  }
  EXPECT_EQ(kinds, (std::vector<Kind>{Kind::Found, Kind::Removed, Kind::Found, Kind::GatherEnded}));
  EXPECT_EQ(sizes, (std::vector<std::size_t>{1, 2, 1, 0}));
  EXPECT_EQ(outbox.queuedItems(), 0u);
}

TEST(DeliveryOutbox, FlushHandsOverAnyRemainder) {
  DeliveryOutbox outbox(countsOnly());
  gather(outbox, 3);
  ASSERT_TRUE(outbox.take().has_value());
  EXPECT_FALSE(outbox.take().has_value());
  gather(outbox, 2);
  EXPECT_TRUE(outbox.flush());
  EXPECT_EQ(outbox.take()->items.size(), 2u);
}

TEST(DeliveryOutbox, AProducerWaitsOnlyWhileTheBacklogIsFull) {
  DeliveryOutbox outbox(countsOnly());
  gather(outbox, 99);
  outbox.waitForRoom([] { return false; });  // 99 of 100: room left, no wait
  gather(outbox, 1);
  bool asked = false;
  outbox.waitForRoom([&] { return asked = true; });  // full: only the stop lets it go
  EXPECT_TRUE(asked);
  EXPECT_EQ(outbox.queuedItems(), 100u);
}

}  // namespace
}  // namespace trovadex::spotlight
