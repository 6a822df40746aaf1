#include "vantorcore/concurrency/LXGCDTimer.h"

#include <gtest/gtest.h>

#include <atomic>

#include "concurrency/ConcurrencyTestSupport.h"

namespace lx {
namespace {

using test::ManualClockScope;
using test::spinUntil;

TEST(LXGCDTimerTest, MadeButNeverStartedNeverFires) {
  ManualClockScope clock;
  auto queue = DispatchQueue::makeSerial(u"test.gcd");
  std::atomic<int> calls{0};
  auto timer = LXGCDTimer::initWithTimeInterval(1, 0, queue, true, [&](LXGCDTimer&) { ++calls; });
  clock.advance(5);
  queue->sync([] {});
  EXPECT_EQ(calls, 0);
  EXPECT_TRUE(timer->isValid());
}

TEST(LXGCDTimerTest, OneShotIsInvalidAfterItsCall) {
  ManualClockScope clock;
  std::atomic<int> calls{0};
  auto timer = LXGCDTimer::initWithTimeInterval(2, false, [&](LXGCDTimer&) { ++calls; });
  timer->start();
  clock.advance(2);
  ASSERT_TRUE(spinUntil([&] { return !timer->isValid(); }));
  EXPECT_EQ(calls, 1);
  auto fired = LXGCDTimer::initWithTimeInterval(100, false, [](LXGCDTimer&) {});
  fired->fire();
  EXPECT_FALSE(fired->isValid()) << "firing a one-shot by hand spends it too";
}

TEST(LXGCDTimerTest, RepeatingTimerRunsUntilInvalidatedFromItsClosure) {
  ManualClockScope clock;
  std::atomic<int> calls{0};
  std::weak_ptr<LXGCDTimer> weak =
      LXGCDTimer::scheduledTolerantTimerWithTimeInterval(1, true, [&](LXGCDTimer& t) {
        if (++calls == 3) t.invalidate();
      });
  for (int i = 1; i <= 3; ++i) {
    clock.advance(1);
    ASSERT_TRUE(spinUntil([&] { return calls == i; }));
  }
  // A running timer keeps itself; invalidation lets it go.
  EXPECT_TRUE(spinUntil([&] { return weak.expired(); }));
}

TEST(LXGCDTimerTest, FireCallsNowAndRestartsThePeriod) {
  ManualClockScope clock;
  auto queue = DispatchQueue::makeSerial(u"test.gcd.fire");
  std::atomic<int> calls{0};
  auto timer = LXGCDTimer::initWithTimeInterval(10, 0, queue, true, [&](LXGCDTimer&) { ++calls; });
  timer->start();
  clock.advance(6);
  timer->fire();
  EXPECT_EQ(calls, 1);
  clock.advance(6);  // 12 s after start, 6 s after the restart
  queue->sync([] {});
  EXPECT_EQ(calls, 1);
  clock.advance(4);
  ASSERT_TRUE(spinUntil([&] { return calls == 2; }));
  timer->invalidate();
  EXPECT_FALSE(timer->isValid());
  timer->fire();  // invalid: nothing
  EXPECT_EQ(calls, 2);
}

TEST(LXGCDTimerTest, SecondsBecomeTruncatedNanoseconds) {
  auto timer = LXGCDTimer::initWithTimeInterval(0.33, 0.033, nullptr, true, [](LXGCDTimer&) {});
  EXPECT_EQ(timer->intervalNanoseconds(), 330000000u);
  EXPECT_EQ(timer->leewayNanoseconds(), 33000000u);
  auto negative = LXGCDTimer::initWithTimeInterval(-1, -1, nullptr, false, [](LXGCDTimer&) {});
  EXPECT_EQ(negative->intervalNanoseconds(), 0u);
  auto tolerant =
      LXGCDTimer::scheduledTolerantTimerWithTimeInterval(0.33, true, [](LXGCDTimer&) {});
  EXPECT_EQ(tolerant->leewayNanoseconds(), 33000000u);
  tolerant->invalidate();
}

}  // namespace
}  // namespace lx
