#include "vantorcore/concurrency/LXWorkerThread.h"

#include <gtest/gtest.h>

#include <atomic>
#include <stdexcept>
#include <thread>

#include "concurrency/ConcurrencyTestSupport.h"
#include "vantorcore/concurrency/Thread+LXAdditions.h"

namespace lx {
namespace {

// A throwing pass leaves the worker running; `finish` returns only after
// the loop was left.
TEST(LXWorkerThreadTest, RunsPerformedWorkUntilFinished) {
  auto worker = std::make_shared<LXWorkerThread>();
  EXPECT_EQ(worker->runLoopInterval(), std::numeric_limits<double>::max());
  worker->start();
  worker->setName(u"io");
  EXPECT_EQ(worker->name(), u"com.vantor.io");
  EXPECT_EQ(lx_name(*worker), u"io");
  lx_performAsyncBlock(worker, [] { throw std::runtime_error("boom"); });
  std::shared_ptr<Thread> ranOn;
  String kernel;
  lx_performSyncBlock(worker, [&] {
    ranOn = Thread::current();
    kernel = Thread::currentKernelName();
  });
  EXPECT_EQ(ranOn, worker);
  EXPECT_EQ(kernel, u"io");
  EXPECT_EQ(worker->status(), 0);
  worker->finish();
  EXPECT_EQ(worker->status(), 1);
}

TEST(LXWorkerThreadTest, FinishOnAWorkerNeverStartedReturns) {
  auto worker = std::make_shared<LXWorkerThread>();
  worker->finish();
  EXPECT_TRUE(worker->isCancelled());
}

TEST(LXWorkerThreadTest, FinishRacingWithPerformsNeitherHangsNorLosesTheHandshake) {
  for (int round = 0; round < 20; ++round) {
    auto worker = std::make_shared<LXWorkerThread>();
    worker->start();
    std::atomic<bool> go{false};
    std::atomic<int> ran{0};
    std::vector<std::thread> posters;
    for (int p = 0; p < 3; ++p) {
      posters.emplace_back([&] {
        while (!go) std::this_thread::yield();
        for (int i = 0; i < 200; ++i) {
          lx_performAsyncBlock(worker, [&] { ++ran; });
          if (i % 50 == 0) lx_performSyncBlock(worker, [&] { ++ran; });
        }
      });
    }
    go = true;
    worker->finish();
    for (auto& t : posters) t.join();
    EXPECT_EQ(worker->status(), 1);
    ASSERT_TRUE(test::spinUntil([&] { return worker->isFinished(); }));
  }
}

}  // namespace
}  // namespace lx
