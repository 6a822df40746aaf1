#include "vantorcore/concurrency/LXAsyncBlockNSOperation.h"

#include <gtest/gtest.h>

#include <vector>

namespace lx {
namespace {

struct KeyRecorder : KeyValueObserver {
  std::mutex mutex;
  std::vector<String> keys;
  void observeValueForKeyPath(const String& keyPath, Object&, const Dictionary&, void*) override {
    std::lock_guard lock(mutex);
    keys.push_back(keyPath);
  }
};

std::shared_ptr<KeyRecorder> observe(Operation& op) {
  auto recorder = std::make_shared<KeyRecorder>();
  op.addObserver(recorder, u"isExecuting", 0);
  op.addObserver(recorder, u"isFinished", 0);
  return recorder;
}

TEST(LXAsyncBlockNSOperationTest, StaysExecutingUntilTheClosureCompletes) {
  std::function<void()> completion;
  auto op = std::make_shared<LXAsyncBlockNSOperation>(
      [&](std::function<void()> done) { completion = std::move(done); });
  auto recorder = observe(*op);
  EXPECT_TRUE(op->isAsynchronous());
  op->start();
  EXPECT_TRUE(op->isExecuting());
  EXPECT_FALSE(op->isFinished());
  ASSERT_TRUE(completion);
  completion();
  EXPECT_TRUE(op->isFinished());
  EXPECT_TRUE(op->isExecuting());  // executing stays true after finishing
  EXPECT_EQ(recorder->keys, (std::vector<String>{u"isExecuting", u"isExecuting", u"isFinished"}));
}

TEST(LXAsyncBlockNSOperationTest, CancelledOperationFinishesWithoutItsClosure) {
  bool called = false;
  auto op =
      std::make_shared<LXAsyncBlockNSOperation>([&](std::function<void()>) { called = true; });
  auto recorder = observe(*op);
  op->cancel();
  op->start();
  EXPECT_FALSE(called);
  EXPECT_TRUE(op->isFinished());
  EXPECT_EQ(recorder->keys, (std::vector<String>{u"isExecuting", u"isFinished"}));
}

TEST(LXAsyncBlockNSOperationTest, QueueKeepsItUntilCompletedFromAnotherThread) {
  OperationQueue queue;
  std::atomic<int> done{0};
  for (int i = 0; i < 20; ++i) {
    queue.addOperation(std::make_shared<LXAsyncBlockNSOperation>([&](std::function<void()> finish) {
      std::thread([&, finish] {
        ++done;
        finish();
      }).detach();
    }));
  }
  queue.waitUntilAllOperationsAreFinished();
  EXPECT_EQ(done, 20);
  EXPECT_EQ(queue.operationCount(), 0u);
}

}  // namespace
}  // namespace lx
