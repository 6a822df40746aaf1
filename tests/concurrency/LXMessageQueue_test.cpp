#include "vantorcore/concurrency/LXMessageQueue.h"

#include <gtest/gtest.h>

#include <array>
#include <atomic>
#include <thread>
#include <vector>

#include "concurrency/ConcurrencyTestSupport.h"
#include "support/TestSupport.h"
#include "vantorcore/concurrency/LXWorkerThread.h"
#include "vantorcore/platform/Log.h"

namespace lx {
namespace {

using test::ManualClockScope;
using test::spinUntil;
using test::Twin;

struct BatchRecorder : LXMessageQueueDelegate {
  std::atomic<int> began{0};
  std::atomic<int> finished{0};
  void messageQueueWillBeginDelivery(LXMessageQueue&) override { ++began; }
  void messageQueueDidFinishDelivery(LXMessageQueue&) override { ++finished; }
};

// On the target thread delivery is synchronous; a message posted by a
// message waits for the next batch.
TEST(LXMessageQueueTest, DeliveringOnTheTargetThreadIsSynchronous) {
  ManualClockScope clock;
  auto queue = LXMessageQueue::messageQueue();
  EXPECT_EQ(queue->targetThread(), Thread::main());
  EXPECT_FALSE(queue->isPacing());
  queue->setDelegate(std::make_shared<BatchRecorder>());
  EXPECT_EQ(queue->delegate(), nullptr) << "held weakly";
  std::vector<int> delivered;
  queue->enqueueBlock([&] {
    delivered.push_back(1);
    queue->enqueueBlock([&] { delivered.push_back(2); });
  });
  queue->deliverQueuedMessages();  // no delegate left to call
  EXPECT_EQ(delivered, std::vector<int>{1});
  EXPECT_EQ(queue->queuedMessageCount(), 1u);
  queue->deliverQueuedMessages();
  EXPECT_EQ(delivered, (std::vector<int>{1, 2}));
  EXPECT_TRUE(queue->isPacing());  // the timer stops at its next idle tick
  queue->cancelQueuedMessages();
  EXPECT_FALSE(queue->isPacing());
}

TEST(LXMessageQueueTest, CoalescingReplacesMatchingMessagesAtTheEnd) {
  auto o1 = std::make_shared<Twin>();
  auto o2 = std::make_shared<Twin>();
  struct Post {
    const char* label;
    std::optional<String> name;
    std::shared_ptr<Object> object;
    unsigned mask;
  };
  struct Case {
    const char* name;
    std::vector<Post> posts;
    std::vector<std::string> delivered;
  };
  const std::vector<Case> cases = {
      {"by name", {{"A", u"x", {}, 0}, {"B", u"y", {}, 0}, {"C", u"x", {}, 1}}, {"B", "C"}},
      {"by name, null name", {{"A", {}, {}, 0}, {"B", {}, {}, 1}}, {"A", "B"}},
      {"by name, empty name", {{"A", u"", {}, 0}, {"B", u"", {}, 1}}, {"A", "B"}},
      {"by name skips unnamed", {{"A", {}, {}, 0}, {"B", u"x", {}, 1}}, {"A", "B"}},
      {"by object", {{"A", {}, o1, 0}, {"B", u"x", o1, 2}}, {"B"}},
      {"by object is identity", {{"A", {}, o1, 0}, {"B", {}, o2, 2}}, {"A", "B"}},
      {"by object, null object", {{"A", {}, {}, 0}, {"B", {}, {}, 2}}, {"A", "B"}},
      {"by both",
       {{"A", u"x", o1, 0}, {"B", u"x", o2, 0}, {"C", u"y", o1, 0}, {"D", u"x", o1, 3}},
       {"B", "C", "D"}},
      {"by both needs an object", {{"A", u"x", o1, 0}, {"B", u"x", {}, 3}}, {"A", "B"}},
      {"unknown mask", {{"A", u"x", o1, 0}, {"B", u"x", o1, 7}}, {"A", "B"}},
      {"no mask", {{"A", u"x", o1, 0}, {"B", u"x", o1, 0}}, {"A", "B"}},
  };
  ManualClockScope clock;  // no tick interferes: delivery is by hand
  for (const auto& c : cases) {
    SCOPED_TRACE(c.name);
    auto queue = LXMessageQueue::messageQueue();
    std::vector<std::string> delivered;
    for (const auto& p : c.posts) {
      queue->enqueueMessageWithName(
          p.name, p.object, p.mask,
          [&delivered, label = std::string(p.label)] { delivered.push_back(label); });
    }
    queue->deliverQueuedMessages();
    EXPECT_EQ(delivered, c.delivered);
    queue->cancelQueuedMessages();
  }
}

TEST(LXMessageQueueTest, TicksDeliverBatchesThenTheTimerStops) {
  ManualClockScope clock;
  auto queue = LXMessageQueue::messageQueue();
  auto recorder = std::make_shared<BatchRecorder>();
  queue->setDelegate(recorder);
  int delivered = 0;
  for (int i = 0; i < 250; ++i) queue->enqueueBlock([&] { ++delivered; });
  const int expected[] = {100, 200, 250};
  for (int tick = 1; tick <= 3; ++tick) {
    clock.advance(0.33);
    ASSERT_TRUE(spinUntil([&] { return recorder->finished == tick; }));
    EXPECT_EQ(delivered, expected[tick - 1]);
  }
  EXPECT_TRUE(queue->isPacing());
  clock.advance(0.33);
  EXPECT_TRUE(spinUntil([&] { return !queue->isPacing(); }));
  EXPECT_EQ(recorder->began, 3);
}

TEST(LXMessageQueueTest, ZeroBatchSizeTellsTheDelegateOfEmptyBatchesForever) {
  ManualClockScope clock;
  auto queue = LXMessageQueue::messageQueue();
  auto recorder = std::make_shared<BatchRecorder>();
  queue->setDelegate(recorder);
  queue->setMaximumMessageDeliveryCount(0);
  int delivered = 0;
  queue->enqueueBlock([&] { ++delivered; });
  for (int tick = 1; tick <= 3; ++tick) {
    clock.advance(0.33);
    ASSERT_TRUE(spinUntil([&] { return recorder->finished == tick; }));
  }
  EXPECT_EQ(delivered, 0);
  EXPECT_TRUE(queue->isPacing());
  queue->cancelQueuedMessages();
  EXPECT_FALSE(queue->isPacing());
  EXPECT_EQ(queue->queuedMessageCount(), 0u);
}

TEST(LXMessageQueueTest, PacingTimerKeepsTheQueueAliveUntilItStops) {
  ManualClockScope clock;
  int delivered = 0;
  std::weak_ptr<LXMessageQueue> weak;
  {
    auto queue = LXMessageQueue::messageQueue();
    weak = queue;
    queue->enqueueBlock([&] { ++delivered; });
  }
  ASSERT_FALSE(weak.expired());
  clock.advance(0.33);
  ASSERT_TRUE(spinUntil([&] { return delivered == 1; }));
  clock.advance(0.33);
  EXPECT_TRUE(spinUntil([&] { return weak.expired(); }));
}

TEST(LXMessageQueueTest, GoneTargetThreadLeavesMessagesQueued) {
  ManualClockScope clock;
  auto queue = LXMessageQueue::messageQueue();
  {
    auto thread = Thread::detachNewThread([] {});
    ASSERT_TRUE(spinUntil([&] { return thread->isFinished(); }));
    queue->setTargetThread(thread);
  }
  int delivered = 0;
  queue->enqueueBlock([&] { ++delivered; });
  queue->deliverQueuedMessages();
  EXPECT_EQ(queue->queuedMessageCount(), 1u);
  queue->cancelQueuedMessages();
  EXPECT_EQ(queue->queuedMessageCount(), 0u);
  EXPECT_EQ(delivered, 0);
}

TEST(LXMessageQueueTest, DescriptionNamesNameAndObject) {
  LXQueuedMessage message(u"refresh", nullptr);
  String text = message.description();
  EXPECT_TRUE(text.starts_with(u"<LXQueuedMessage: ")) << toUTF8(text);
  EXPECT_TRUE(text.ends_with(u"> name:refresh object:(null)")) << toUTF8(text);
}

// ---- Under load ----------------------------------------------------------

struct Ledger {
  std::atomic<long> delivered{0};
  std::atomic<long> dropped{0};
  std::atomic<long> twice{0};
  std::atomic<long> outOfOrder{0};
  std::array<long, 8> lastSeq{};  // touched on the target thread only
};

class CountedMessage : public LXQueuedMessage {
 public:
  CountedMessage(Ledger& ledger, int producer, long seq, std::optional<String> name)
      : LXQueuedMessage(std::move(name), nullptr),
        ledger_(ledger),
        producer_(producer),
        seq_(seq) {}
  ~CountedMessage() override {
    if (!delivered_) ++ledger_.dropped;
  }
  void deliver() override {
    if (delivered_.exchange(true)) ++ledger_.twice;
    ++ledger_.delivered;
    auto& last = ledger_.lastSeq[static_cast<std::size_t>(producer_)];
    if (seq_ <= last) ++ledger_.outOfOrder;
    last = seq_;
  }

 private:
  Ledger& ledger_;
  int producer_;
  long seq_;
  std::atomic<bool> delivered_{false};
};

void runStress(unsigned mask) {
  // A tick already under way when a cancel stops its timer may find the
  // queue empty with a newer timer in place: that is logged, by design.
  ScopedLogCapture log;
  constexpr int kProducers = 8;
  constexpr long kPerProducer = 125000;  // 1,000,000 messages in all
  auto worker = std::make_shared<LXWorkerThread>();
  worker->start();
  auto queue = LXMessageQueue::messageQueue();
  queue->setTargetThread(worker);
  queue->setThrottleInterval(0.0005);
  queue->setMaximumMessageDeliveryCount(50000);
  Ledger ledger;
  std::atomic<int> producing{kProducers};
  std::vector<std::thread> threads;
  for (int p = 0; p < kProducers; ++p) {
    threads.emplace_back([&, p] {
      for (long seq = 1; seq <= kPerProducer; ++seq) {
        std::optional<String> name;
        if (mask)
          name = u"p" + String(1, static_cast<char16_t>(u'0' + p)) + u"-" +
                 String(1, static_cast<char16_t>(u'0' + seq % 8));
        queue->enqueueMessage(std::make_shared<CountedMessage>(ledger, p, seq, std::move(name)),
                              mask);
      }
      --producing;
    });
  }
  threads.emplace_back([&] {
    for (int round = 0; producing > 0; ++round) {
      if (round % 4 == 0) queue->deliverQueuedMessages();
      queue->cancelQueuedMessages();
      std::this_thread::sleep_for(std::chrono::microseconds(200));
    }
  });
  for (auto& t : threads) t.join();
  ASSERT_TRUE(spinUntil([&] { return queue->queuedMessageCount() == 0 && !queue->isPacing(); }));
  Thread::perform(
      worker, [] {}, true);  // the last batch has been handed over
  worker->finish();
  EXPECT_EQ(ledger.delivered + ledger.dropped, kProducers * kPerProducer);
  EXPECT_EQ(ledger.twice, 0);
  EXPECT_EQ(ledger.outOfOrder, 0);
  EXPECT_GT(ledger.delivered, 0);
}

TEST(LXMessageQueueStressTest, EveryMessageOnceCoalescedOrCancelledInOrder) {
  for (const unsigned mask : {0u, unsigned(LXMessageCoalesceByName)}) {
    SCOPED_TRACE(mask);
    runStress(mask);
  }
}

}  // namespace
}  // namespace lx
