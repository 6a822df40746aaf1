#include "vantorcore/platform/DispatchQueue.h"

#include <gtest/gtest.h>

#include <atomic>
#include <boost/asio/io_context.hpp>
#include <boost/asio/post.hpp>
#include <thread>
#include <vector>

#include "concurrency/ConcurrencyTestSupport.h"
#include "vantorcore/platform/DispatchEngine.h"

namespace lx {
namespace {

using test::ManualClockScope;
using test::spinUntil;

TEST(DispatchQueueTest, SerialQueueRunsClosuresOneAtATimeInOrder) {
  auto queue = DispatchQueue::makeSerial(u"test.serial");
  std::vector<int> order;
  std::atomic<int> running{0};
  bool overlapped = false;
  for (int i = 0; i < 1000; ++i) {
    queue->async([&, i] {
      if (running.fetch_add(1) != 0) overlapped = true;
      order.push_back(i);
      running.fetch_sub(1);
    });
  }
  queue->sync([] {});
  ASSERT_EQ(order.size(), 1000u);
  for (int i = 0; i < 1000; ++i) EXPECT_EQ(order[static_cast<std::size_t>(i)], i);
  EXPECT_FALSE(overlapped);
}

TEST(DispatchQueueTest, CurrentNamesTheRunningQueue) {
  auto queue = DispatchQueue::makeSerial(u"test.current");
  DispatchQueue* seen = nullptr;
  queue->sync([&] { seen = DispatchQueue::current(); });
  EXPECT_EQ(seen, queue.get());
  EXPECT_EQ(DispatchQueue::current(), nullptr);
}

TEST(DispatchQueueTest, SyncOntoTheRunningQueueRunsInline) {
  auto queue = DispatchQueue::makeSerial(u"test.reentrant");
  bool inner = false;
  queue->sync([&] { queue->sync([&] { inner = true; }); });
  EXPECT_TRUE(inner);
}

TEST(DispatchQueueTest, AsyncOrRunHereRunsInPlaceOnlyOnAnIdleQueueOutsideEveryQueue) {
  enum class Caller { TestThread, EngineThread, EngineThreadWhileBusy, OwnClosure, OtherQueue };
  const struct {
    const char* name;
    Caller caller;
    bool inPlace;
  } rows[] = {
      {"test thread", Caller::TestThread, false},
      {"engine thread", Caller::EngineThread, true},
      {"engine thread, queue busy", Caller::EngineThreadWhileBusy, false},
      {"the queue's own closure", Caller::OwnClosure, false},
      {"another queue's closure", Caller::OtherQueue, false},
  };
  for (const auto& row : rows) {
    SCOPED_TRACE(row.name);
    auto queue = DispatchQueue::makeSerial(u"test.here");
    std::atomic<bool> calling{false}, ran{false}, inPlace{false}, busy{false}, release{false};
    std::atomic<std::thread::id> caller;
    const auto call = [&] {
      caller = std::this_thread::get_id();
      calling = true;
      queue->asyncOrRunHere([&] {
        inPlace = calling && caller.load() == std::this_thread::get_id();
        ran = true;
      });
      calling = false;
    };
    switch (row.caller) {
      case Caller::TestThread:
        call();
        break;
      case Caller::EngineThread:
        boost::asio::post(dispatchEngineContext(), call);
        break;
      case Caller::EngineThreadWhileBusy:
        queue->async([&] {
          busy = true;
          while (!release) std::this_thread::yield();
        });
        ASSERT_TRUE(spinUntil([&] { return busy.load(); }));
        boost::asio::post(dispatchEngineContext(), [&] {
          call();
          release = true;
        });
        break;
      case Caller::OwnClosure:
        queue->async(call);
        break;
      case Caller::OtherQueue:
        DispatchQueue::makeSerial(u"test.other")->async(call);
        break;
    }
    ASSERT_TRUE(spinUntil([&] { return ran.load(); }));
    EXPECT_EQ(inPlace, row.inPlace);
  }
}

TEST(DispatchQueueTest, GlobalQueuesByPriority) {
  for (auto p : {DispatchQueuePriority::High, DispatchQueuePriority::Default,
                 DispatchQueuePriority::Low, DispatchQueuePriority::Background}) {
    auto queue = DispatchQueue::global(p);
    EXPECT_EQ(queue->priority(), p);
    EXPECT_EQ(queue->kind(), DispatchQueue::Kind::Global);
    EXPECT_EQ(queue, DispatchQueue::global(p));
  }
  std::atomic<bool> ran{false};
  DispatchQueue::global()->async([&] { ran = true; });
  EXPECT_TRUE(spinUntil([&] { return ran.load(); }));
}

TEST(DispatchQueueTest, MainQueueIsDrainedByTheMainRunLoopInCommonModes) {
  std::vector<int> order;
  bool onMain = true;
  for (int i = 0; i < 3; ++i) {
    DispatchQueue::main()->async([&, i] {
      onMain = onMain && Thread::isMainThread();
      order.push_back(i);
    });
  }
  EXPECT_TRUE(spinUntil([&] { return order.size() == 3; }, EventTrackingRunLoopMode));
  EXPECT_EQ(order, (std::vector<int>{0, 1, 2}));
  EXPECT_TRUE(onMain);
}

TEST(DispatchQueueTest, AsyncAfterWaitsForTheClock) {
  ManualClockScope clock;
  auto queue = DispatchQueue::makeSerial(u"test.after");
  std::atomic<bool> ran{false};
  queue->asyncAfter(10, [&] { ran = true; });
  clock.advance(5);
  queue->sync([] {});
  EXPECT_FALSE(ran);
  clock.advance(5);
  EXPECT_TRUE(spinUntil([&] { return ran.load(); }));
}

TEST(DispatchQueueTest, TimerSourceRepeatsUntilCancelled) {
  ManualClockScope clock;
  auto queue = DispatchQueue::makeSerial(u"test.source");
  auto source = DispatchTimerSource::make(queue);
  std::atomic<int> events{0};
  std::atomic<bool> cancelled{false};
  source->setEventHandler([&] { ++events; });
  source->setCancelHandler([&] { cancelled = true; });
  source->setTimer(Clock::current()->now() + std::chrono::seconds(1), std::chrono::seconds(1),
                   std::chrono::milliseconds(100));
  EXPECT_EQ(source->leeway(), std::chrono::milliseconds(100));
  source->resume();
  clock.advance(1);
  ASSERT_TRUE(spinUntil([&] { return events == 1; }));
  clock.advance(1);
  ASSERT_TRUE(spinUntil([&] { return events == 2; }));
  source->cancel();
  EXPECT_TRUE(source->testCancel());
  ASSERT_TRUE(spinUntil([&] { return cancelled.load(); }));
  clock.advance(5);
  queue->sync([] {});
  EXPECT_EQ(events, 2);
}

TEST(DispatchTimerSourceTest, NeverResumedNeverFires) {
  ManualClockScope clock;
  auto queue = DispatchQueue::makeSerial(u"test.suspended");
  auto source = DispatchTimerSource::make(queue);
  std::atomic<int> events{0};
  source->setEventHandler([&] { ++events; });
  source->setTimer(Clock::current()->now(), DispatchTimerSource::kForever, {});
  clock.advance(10);
  queue->sync([] {});
  EXPECT_EQ(events, 0);
  EXPECT_FALSE(source->testCancel());
}

TEST(DispatchTimerSourceTest, OneShotFiresOnce) {
  ManualClockScope clock;
  auto queue = DispatchQueue::makeSerial(u"test.oneshot");
  auto source = DispatchTimerSource::make(queue);
  std::atomic<int> events{0};
  source->setEventHandler([&] { ++events; });
  source->setTimer(Clock::current()->now() + std::chrono::seconds(2), DispatchTimerSource::kForever,
                   {});
  source->resume();
  clock.advance(2);
  ASSERT_TRUE(spinUntil([&] { return events == 1; }));
  clock.advance(10);
  queue->sync([] {});
  EXPECT_EQ(events, 1);
  source->cancel();
}

}  // namespace
}  // namespace lx
