#include <gtest/gtest.h>

#include <atomic>

#include "concurrency/ConcurrencyTestSupport.h"
#include "vantorcore/concurrency/LXWorkerThread.h"
#include "vantorcore/concurrency/Thread+LXAdditions.h"

namespace lx {
namespace {

TEST(ThreadLXAdditionsTest, NamesCarryThePrefixAndReadBackWithoutIt) {
  struct Case {
    const char* name;
    String given;
    String recorded;
    String readBack;
    String kernel;
  };
  const Case cases[] = {
      {"plain", u"worker", u"com.vantor.worker", u"worker", u"worker"},
      {"empty", u"", u"com.vantor.", u"", u"com.vantor."},
      {"kernel gets fifteen bytes after the prefix", u"transcript-log-rotation",
       u"com.vantor.transcript-log-rotation", u"transcript-log-rotation", u"transcript-log-"},
      {"long names stop at 63 bytes", String(60, u'x'), u"com.vantor." + String(52, u'x'),
       String(52, u'x'), String(15, u'x')},
  };
  for (const auto& c : cases) {
    SCOPED_TRACE(c.name);
    std::atomic<bool> done{false};
    String recorded, readBack, kernel;
    Thread::detachNewThread([&] {
      lx_setName(Thread::current(), c.given);
      recorded = Thread::current()->name();
      readBack = lx_name(*Thread::current());
      kernel = Thread::currentKernelName();
      done = true;
    });
    ASSERT_TRUE(test::spinUntil([&] { return done.load(); }));
    EXPECT_EQ(recorded, c.recorded);
    EXPECT_EQ(readBack, c.readBack);
    EXPECT_EQ(kernel, c.kernel);
  }
}

TEST(ThreadLXAdditionsTest, NamingAnotherThreadReachesItsKernelName) {
  auto unprefixed = std::make_shared<Thread>();
  unprefixed->setName(u"gmain");
  EXPECT_EQ(lx_name(*unprefixed), u"gmain") << "a name set elsewhere reads back unchanged";
  auto worker = std::make_shared<LXWorkerThread>();
  worker->start();
  lx_setName(worker, u"remote");
  EXPECT_EQ(lx_name(*worker), u"remote");
  String kernel;
  lx_performSyncBlock(worker, [&] { kernel = Thread::currentKernelName(); });
  EXPECT_EQ(kernel, u"remote");
  worker->finish();
}

TEST(ThreadLXAdditionsTest, FutureBlocksUntilTheThreadIsKnownAndNamesIt) {
  // Shared, not on this stack: the thread may look at it after the test ends.
  auto release = std::make_shared<std::atomic<bool>>(false);
  auto future = lx_detachNewThread(
      [release] {
        while (!*release) std::this_thread::yield();
      },
      u"future");
  auto thread = future->thread();  // waits for the start
  ASSERT_NE(thread, nullptr);
  EXPECT_EQ(lx_name(*thread), u"future");
  future->setName(u"renamed");
  EXPECT_EQ(lx_name(*thread), u"renamed");
  *release = true;
}

class Starter : public Object {
  LX_DECLARE_CLASS(Starter)

 public:
  std::atomic<int> runs{0};
  std::atomic<bool> sawArgument{false};
};
LX_DEFINE_CLASS(Starter, Object)

TEST(ThreadLXAdditionsTest, DetachedSelectorRunsWithoutItsObject) {
  ClassRegistry::registerClass(u"Starter", &Object::staticClass())
      .addMethod("run", [](Object& self, std::span<const Value> args) {
        auto& s = static_cast<Starter&>(self);
        s.sawArgument = !args.empty();
        ++s.runs;
        return Value();
      });
  auto starter = std::make_shared<Starter>();
  auto future = lx_detachNewThreadSelector("run", starter, Value(u"kept, not passed"), u"det");
  auto thread = future->thread();
  EXPECT_NE(thread, Thread::current());
  ASSERT_TRUE(test::spinUntil([&] { return starter->runs == 1; }));
  EXPECT_FALSE(starter->sawArgument);
}

TEST(ThreadLXAdditionsTest, SyncBlockRunsAtOnceAndAsyncBlockInTheRunLoop) {
  bool syncRan = false;
  lx_performSyncBlock(Thread::current(), [&] { syncRan = true; });
  EXPECT_TRUE(syncRan);
  bool asyncRan = false;
  lx_performAsyncBlock(Thread::current(), [&] { asyncRan = true; });
  EXPECT_FALSE(asyncRan);
  EXPECT_TRUE(test::spinUntil([&] { return asyncRan; }, EventTrackingRunLoopMode));
}

}  // namespace
}  // namespace lx
