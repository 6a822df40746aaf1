#include "vantorcore/platform/RunLoop.h"

#include <gtest/gtest.h>
#include <poll.h>
#include <sys/epoll.h>
#include <unistd.h>

#include <atomic>
#include <chrono>
#include <thread>
#include <vector>

#include "concurrency/ConcurrencyTestSupport.h"
#include "vantorcore/platform/DispatchQueue.h"
#include "vantorcore/platform/Thread.h"
#include "vantorcore/platform/Timer.h"

namespace lx {
namespace {

using test::ManualClockScope;

bool readable(int fd) {
  pollfd p{fd, POLLIN, 0};
  return poll(&p, 1, 0) == 1;
}

TEST(RunLoopTest, RunModeWithNothingToDoReturnsFalse) {
  auto loop = RunLoop::make();
  EXPECT_FALSE(loop->runMode(DefaultRunLoopMode, Date::distantFuture()));
}

TEST(RunLoopTest, TheMainLoopInACommonModeWaitsForMainQueueWork) {
  ASSERT_TRUE(Thread::isMainThread());
  auto main = RunLoop::main();
  EXPECT_FALSE(main->runMode(u"private", Date::distantFuture()));  // not a common mode
  std::atomic<bool> ran{false};
  std::thread poster([&] {
    std::this_thread::sleep_for(std::chrono::milliseconds(20));
    DispatchQueue::main()->async([&] { ran = true; });
  });
  while (!ran) ASSERT_TRUE(main->runMode(DefaultRunLoopMode, Date::distantFuture()));
  poster.join();
}

TEST(RunLoopTest, PerformedClosuresRunInPostingOrderFromAnotherThread) {
  auto loop = RunLoop::make();
  std::vector<int> order;
  std::thread poster([&] {
    for (int i = 0; i < 100; ++i) loop->perform([&order, i] { order.push_back(i); });
  });
  poster.join();
  EXPECT_TRUE(loop->runMode(DefaultRunLoopMode, Date::distantPast()));
  ASSERT_EQ(order.size(), 100u);
  for (int i = 0; i < 100; ++i) EXPECT_EQ(order[static_cast<std::size_t>(i)], i);
}

TEST(RunLoopTest, ClosuresRunOnlyInTheirModes) {
  struct Case {
    const char* name;
    RunLoopModes modes;
    StringView runIn;
    bool runs;
  };
  const Case cases[] = {
      {"default in default", {String(DefaultRunLoopMode)}, DefaultRunLoopMode, true},
      {"default in tracking", {String(DefaultRunLoopMode)}, EventTrackingRunLoopMode, false},
      {"common in default", commonRunLoopModes(), DefaultRunLoopMode, true},
      {"common in tracking", commonRunLoopModes(), EventTrackingRunLoopMode, true},
      {"common in a private mode", commonRunLoopModes(), u"private", false},
      {"private in private", {u"private"}, u"private", true},
  };
  for (const auto& c : cases) {
    SCOPED_TRACE(c.name);
    auto loop = RunLoop::make();
    bool ran = false;
    loop->perform([&] { ran = true; }, c.modes);
    loop->runMode(c.runIn, Date::distantPast());
    EXPECT_EQ(ran, c.runs);
  }
}

TEST(RunLoopTest, AModeAddedToTheCommonSetRunsCommonItems) {
  auto loop = RunLoop::make();
  bool ran = false;
  loop->perform([&] { ran = true; });
  loop->runMode(u"private", Date::distantPast());
  EXPECT_FALSE(ran);
  loop->addCommonMode(u"private");
  loop->runMode(u"private", Date::distantPast());
  EXPECT_TRUE(ran);
}

TEST(RunLoopTest, TimersFireWhenTheClockReachesThem) {
  ManualClockScope clock;
  auto loop = RunLoop::make();
  int fired = 0;
  auto timer = Timer::make(5.0, false, [&](Timer&) { ++fired; });
  loop->addTimer(timer);
  loop->runMode(DefaultRunLoopMode, Date::distantPast());
  EXPECT_EQ(fired, 0);
  clock.advance(5.0);
  loop->runMode(DefaultRunLoopMode, Date::distantPast());
  EXPECT_EQ(fired, 1);
  EXPECT_FALSE(timer->isValid());
  // A spent one-shot timer leaves the mode empty.
  EXPECT_FALSE(loop->runMode(DefaultRunLoopMode, Date::distantPast()));
}

TEST(RunLoopTest, RepeatingTimerMergesMissedFiringsAndKeepsItsGrid) {
  ManualClockScope clock;
  auto loop = RunLoop::make();
  int fired = 0;
  auto start = Clock::current()->now();
  auto timer = Timer::make(5.0, true, [&](Timer&) { ++fired; });
  loop->addTimer(timer);
  clock.advance(12.0);
  loop->runMode(DefaultRunLoopMode, Date::distantPast());
  EXPECT_EQ(fired, 1);
  EXPECT_EQ(timer->deadline(), start + std::chrono::seconds(15));
  timer->invalidate();
}

TEST(RunLoopTest, TimerInvalidatedInsideItsCallbackFiresOnce) {
  ManualClockScope clock;
  auto loop = RunLoop::make();
  int fired = 0;
  loop->addTimer(Timer::make(1.0, true, [&](Timer& t) {
    ++fired;
    t.invalidate();
  }));
  for (int i = 0; i < 3; ++i) {
    clock.advance(1.0);
    loop->runMode(DefaultRunLoopMode, Date::distantPast());
  }
  EXPECT_EQ(fired, 1);
}

TEST(RunLoopTest, StopEndsRunFromAnotherThread) {
  std::atomic<bool> returned{false};
  auto thread = Thread::detachNewThread([&] {
    auto keepAlive = Timer::make(Date::distantFuture(), 0, false, [](Timer&) {});
    RunLoop::current()->addTimer(keepAlive);
    RunLoop::current()->run();  // would never end on its own
    returned = true;
  });
  thread->runLoop()->stop();
  EXPECT_TRUE(test::spinUntil([&] { return returned.load(); }));
}

TEST(RunLoopTest, FdSourceCallsBackWhileActiveOnly) {
  int fds[2];
  ASSERT_EQ(pipe(fds), 0);
  auto loop = RunLoop::make();
  int calls = 0;
  auto token = loop->addSource(fds[0], EPOLLIN, [&](std::uint32_t) {
    char c;
    ASSERT_EQ(read(fds[0], &c, 1), 1);
    ++calls;
  });
  ASSERT_TRUE(token.isActive());
  ASSERT_EQ(write(fds[1], "x", 1), 1);
  EXPECT_TRUE(loop->runMode(DefaultRunLoopMode, Date::distantFuture()));
  EXPECT_EQ(calls, 1);
  token.remove();
  ASSERT_EQ(write(fds[1], "y", 1), 1);
  EXPECT_FALSE(loop->runMode(DefaultRunLoopMode, Date::distantPast()));
  EXPECT_EQ(calls, 1);
  close(fds[0]);
  close(fds[1]);
  EXPECT_FALSE(loop->addSource(-1, EPOLLIN, [](std::uint32_t) {}).isActive());
}

TEST(RunLoopTest, PollDescriptorSignalsWorkForAHostLoop) {
  auto loop = RunLoop::make();
  loop->perform([] {});
  loop->runMode(DefaultRunLoopMode, Date::distantPast());
  EXPECT_FALSE(readable(loop->pollDescriptor()));
  bool ran = false;
  std::thread([&] { loop->perform([&] { ran = true; }); }).join();
  EXPECT_TRUE(readable(loop->pollDescriptor()));
  loop->runMode(DefaultRunLoopMode, Date::distantPast());
  EXPECT_TRUE(ran);
}

TEST(RunLoopTest, InvalidatedLoopRefusesAndDropsClosures) {
  auto loop = RunLoop::make();
  bool ran = false;
  loop->perform([&] { ran = true; });
  loop->invalidate();
  EXPECT_FALSE(loop->perform([&] { ran = true; }));
  EXPECT_FALSE(loop->runMode(DefaultRunLoopMode, Date::distantPast()));
  EXPECT_FALSE(ran);
}

TEST(RunLoopTest, CurrentModeIsTheInnermostPass) {
  auto loop = RunLoop::make();
  std::optional<String> outer, inner;
  loop->perform(
      [&] {
        outer = loop->currentMode();
        loop->perform([&] { inner = loop->currentMode(); }, {u"nested"});
        loop->runMode(u"nested", Date::distantPast());
      },
      {String(DefaultRunLoopMode)});
  loop->runMode(DefaultRunLoopMode, Date::distantPast());
  EXPECT_EQ(outer, String(DefaultRunLoopMode));
  EXPECT_EQ(inner, u"nested");
  EXPECT_EQ(loop->currentMode(), std::nullopt);
}

}  // namespace
}  // namespace lx
