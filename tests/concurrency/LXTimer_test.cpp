#include "vantorcore/concurrency/LXTimer.h"

#include <gtest/gtest.h>

#include "concurrency/ConcurrencyTestSupport.h"
#include "vantorcore/platform/Log.h"

namespace lx {
namespace {

using test::ManualClockScope;

class Ticker : public Object {
  LX_DECLARE_CLASS(Ticker)

 public:
  int plainTicks = 0;
  int timerTicks = 0;
  Value lastArgument;
};
LX_DEFINE_CLASS(Ticker, Object)

[[maybe_unused]] const bool kTickerMethods = [] {
  auto& cls = ClassRegistry::registerClass(u"Ticker", &Object::staticClass());
  cls.addMethod("tick", [](Object& self, std::span<const Value>) {
    static_cast<Ticker&>(self).plainTicks++;
    return Value();
  });
  cls.addMethod("tick:", [](Object& self, std::span<const Value> args) {
    auto& t = static_cast<Ticker&>(self);
    t.timerTicks++;
    t.lastArgument = args.empty() ? Value() : args[0];
    return Value();
  });
  cls.addMethod("tick:with:", [](Object& self, std::span<const Value>) {
    static_cast<Ticker&>(self).timerTicks++;
    return Value();
  });
  return true;
}();

void pass() { RunLoop::current()->runMode(DefaultRunLoopMode, Date::distantPast()); }

TEST(LXTimerTest, SelectorFormsPassTheTimerOnlyToOneArgumentSelectors) {
  ManualClockScope clock;
  auto ticker = std::make_shared<Ticker>();
  auto plain = LXTimer::scheduledTimerWithTimeInterval(1, ticker, "tick", Value(), false);
  auto withTimer = LXTimer::scheduledTimerWithTimeInterval(1, ticker, "tick:", Value(7), false);
  ASSERT_TRUE(plain && withTimer);
  EXPECT_EQ(withTimer->userInfo(), Value(7));
  clock.advance(1);
  pass();
  EXPECT_EQ(ticker->plainTicks, 1);
  EXPECT_EQ(ticker->timerTicks, 1);
  EXPECT_EQ(ticker->lastArgument.objectAs<LXTimer>(), withTimer);
  // The timer is only lent to the call.
  EXPECT_TRUE(withTimer->targetInvocation()->argument(2).isNull());
  ticker->lastArgument = Value();  // the ticker and the timer would keep each other
}

// Two arguments are reported but still make a timer; a missing method or
// invocation makes none.
TEST(LXTimerTest, UnfitSelectorsAndInvocations) {
  ScopedLogCapture log;
  EXPECT_NE(
      LXTimer::timerWithTimeInterval(1, std::make_shared<Ticker>(), "tick:with:", Value(), false),
      nullptr);
  EXPECT_TRUE(log.contains(
      u"CONDITION FAILED: Selector is expected to have timer as single argument (or no "
      u"arguments)"));
  EXPECT_EQ(LXTimer::timerWithTimeInterval(1, std::make_shared<Ticker>(), "nope", Value(), true),
            nullptr);
  EXPECT_EQ(LXTimer::timerWithTimeInterval(1, std::shared_ptr<LXInvocation>(), true), nullptr);
}

TEST(LXTimerTest, ScheduledTimerKeepsItselfAliveUntilInvalidated) {
  ManualClockScope clock;
  int fired = 0;
  std::weak_ptr<LXTimer> weak = LXTimer::scheduledTimerWithTimeInterval(
      1, [&](LXTimer&) { ++fired; }, true);
  for (int i = 0; i < 3; ++i) {
    clock.advance(1);
    pass();
  }
  EXPECT_EQ(fired, 3);
  ASSERT_FALSE(weak.expired());
  weak.lock()->invalidate();
  EXPECT_TRUE(weak.expired());

  // Fired by hand, a one-shot spends itself; an invalid timer does nothing.
  auto oneShot = LXTimer::timerWithTimeInterval(
      1, [&](LXTimer&) { ++fired; }, false);
  oneShot->fire();
  EXPECT_FALSE(oneShot->isValid());
  oneShot->fire();
  EXPECT_EQ(fired, 4);
}

TEST(LXTimerTest, InvalidatedInsideItsOwnCallItOutlivesTheCall) {
  ManualClockScope clock;
  bool stillValidObject = false;
  std::weak_ptr<LXTimer> weak = LXTimer::scheduledTimerWithTimeInterval(
      1,
      [&](LXTimer& t) {
        t.invalidate();
        stillValidObject = !t.isValid() && t.timeInterval() == 1;  // touching it is safe
      },
      true);
  clock.advance(1);
  pass();
  EXPECT_TRUE(stillValidObject);
  EXPECT_TRUE(weak.expired());
}

TEST(LXTimerTest, RepeatingPeriodRunsFromTheEndOfEachCall) {
  ManualClockScope clock;
  auto timer = LXTimer::scheduledTimerWithTimeInterval(
      5, [&](LXTimer&) { clock.advance(2); }, true);
  clock.advance(5);
  pass();  // the call ends at t = 7
  EXPECT_NEAR(timer->fireDate().timeIntervalSinceDate(Clock::current()->currentDate()), 5, 1e-6);
  timer->invalidate();
}

TEST(LXTimerTest, DeferralIsCappedByTheThreshold) {
  ManualClockScope clock;
  struct Case {
    double threshold;  // 0: none
    double askedDelay;
    double firesAfter;
  };
  const Case cases[] = {{10, 25, 10}, {10, 4, 4}, {0, 25, 25}};
  for (const auto& c : cases) {
    SCOPED_TRACE(testing::Message() << c.threshold << " / " << c.askedDelay);
    auto timer = LXTimer::timerWithTimeInterval(
        1, [](LXTimer&) {}, true);
    if (c.threshold > 0) timer->setDeferThreshold(c.threshold);
    const Date start = Clock::current()->currentDate();
    timer->addTimerToRunLoop();
    EXPECT_EQ(timer->deferStartDate(), c.threshold > 0 ? std::optional<Date>(start) : std::nullopt);
    timer->setFireDate(start.addingTimeInterval(c.askedDelay));
    EXPECT_NEAR(timer->fireDate().timeIntervalSinceDate(start), c.firesAfter, 1e-6);
    timer->invalidate();
  }
}

TEST(LXTimerTest, InvalidationFromOtherThreadsWhileFiring) {
  // Timers on a run-loop thread, invalidated from their own callback and
  // from other threads at the same time; none fires after invalidation
  // returns on its owner's loop, and nothing is left behind.
  auto thread = test::startRunLoopThread();
  constexpr int kTimers = 200;
  std::vector<std::shared_ptr<LXTimer>> timers;
  std::atomic<int> calls{0};
  for (int i = 0; i < kTimers; ++i) {
    auto timer = LXTimer::timerWithTimeInterval(
        0.0005,
        [&, i](LXTimer& t) {
          ++calls;
          if (i % 2 == 0) t.invalidate();
        },
        true);
    timer->addTimerToRunLoop(thread->runLoop(), DefaultRunLoopMode);
    timers.push_back(timer);
  }
  std::vector<std::thread> invalidators;
  for (int k = 0; k < 4; ++k) {
    invalidators.emplace_back([&, k] {
      for (int i = k; i < kTimers; i += 4) timers[static_cast<std::size_t>(i)]->invalidate();
    });
  }
  for (auto& t : invalidators) t.join();
  for (auto& t : timers) EXPECT_FALSE(t->isValid());
  std::vector<std::weak_ptr<LXTimer>> weak(timers.begin(), timers.end());
  timers.clear();
  Thread::perform(
      thread, [] {}, true);  // let the loop drop what it held
  for (auto& w : weak) EXPECT_TRUE(w.expired());
  test::stopRunLoopThread(thread);
}

}  // namespace
}  // namespace lx
