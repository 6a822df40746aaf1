#include "vantorcore/platform/Thread.h"

#include <gtest/gtest.h>

#include <atomic>

#include "concurrency/ConcurrencyTestSupport.h"

namespace lx {
namespace {

TEST(ThreadTest, TheTestThreadIsMainAndAStartedThreadHasItsOwnRecord) {
  EXPECT_TRUE(Thread::isMainThread());
  EXPECT_EQ(Thread::current(), Thread::main());
  EXPECT_TRUE(Thread::main()->isMain());
  std::shared_ptr<Thread> seen;
  std::atomic<bool> done{false};
  auto thread = Thread::detachNewThread([&] {
    seen = Thread::current();
    EXPECT_FALSE(Thread::isMainThread());
    done = true;
  });
  ASSERT_TRUE(test::spinUntil([&] { return done.load(); }));
  EXPECT_EQ(seen, thread);
  EXPECT_FALSE(thread->isMain());
}

TEST(ThreadTest, WaitedPerformRunsOnTheTargetThreadOrAtOnceOnTheCaller) {
  auto thread = test::startRunLoopThread();
  std::shared_ptr<Thread> ranOn;
  EXPECT_TRUE(Thread::perform(
      thread, [&] { ranOn = Thread::current(); }, true));
  EXPECT_EQ(ranOn, thread);
  test::stopRunLoopThread(thread);
  EXPECT_TRUE(Thread::perform(
      Thread::current(), [&] { ranOn = Thread::current(); }, true));
  EXPECT_EQ(ranOn, Thread::current()) << "no run-loop pass needed";
}

TEST(ThreadTest, PerformToAnExitedThreadIsDroppedNotAHang) {
  auto thread = Thread::detachNewThread([] {});
  ASSERT_TRUE(test::spinUntil([&] { return thread->isFinished(); }));
  bool ran = false;
  EXPECT_FALSE(Thread::perform(
      thread, [&] { ran = true; }, true));
  EXPECT_FALSE(Thread::perform(
      thread, [&] { ran = true; }, false));
  EXPECT_FALSE(Thread::perform(
      nullptr, [&] { ran = true; }, true));
  EXPECT_FALSE(ran);
}

TEST(ThreadTest, WaiterIsReleasedWhenTheThreadExitsWithTheClosurePending) {
  std::atomic<bool> release{false};
  auto thread = Thread::detachNewThread([&] {
    while (!release) std::this_thread::yield();  // never runs its run loop
  });
  std::atomic<bool> returned{false};
  bool result = true;
  std::thread waiter([&] {
    result = Thread::perform(
        thread, [] {}, true);
    returned = true;
  });
  release = true;
  waiter.join();
  EXPECT_TRUE(returned);
  EXPECT_FALSE(result);
}

TEST(ThreadTest, NamesAreCutToWholeCharacters) {
  struct Case {
    const char* name;
    String input;
    std::size_t maxBytes;
    std::string expected;
  };
  const Case cases[] = {
      {"short", u"abc", 15, "abc"},
      {"exact", u"abc", 3, "abc"},
      {"cut ascii", u"abcdef", 4, "abcd"},
      {"cut before a two-byte character", u"abc\u00e9", 4, "abc"},
      {"keep a whole two-byte character", u"abc\u00e9", 5, "abc\xc3\xa9"},
      {"cut before a four-byte character", u"a\U0001F600", 4, "a"},
      {"empty", u"", 5, ""},
  };
  for (const auto& c : cases) {
    SCOPED_TRACE(c.name);
    EXPECT_EQ(truncatedUTF8(c.input, c.maxBytes), c.expected);
  }
}

TEST(ThreadTest, RecordKeepsSixtyThreeBytesAndTheKernelFifteen) {
  std::atomic<bool> done{false};
  String recorded, kernel;
  auto thread = Thread::detachNewThread([&] {
    Thread::current()->setName(String(70, u'n'));
    recorded = Thread::current()->name();
    kernel = Thread::currentKernelName();
    done = true;
  });
  ASSERT_TRUE(test::spinUntil([&] { return done.load(); }));
  EXPECT_EQ(recorded, String(63, u'n'));
  EXPECT_EQ(kernel, String(15, u'n'));
}

TEST(ThreadTest, NameSetBeforeStartReachesTheKernel) {
  std::atomic<bool> done{false};
  String kernel;
  auto thread = std::make_shared<Thread>([&] {
    kernel = Thread::currentKernelName();
    done = true;
  });
  thread->setName(u"early-name");
  thread->start();
  ASSERT_TRUE(test::spinUntil([&] { return done.load(); }));
  EXPECT_EQ(kernel, u"early-name");
}

}  // namespace
}  // namespace lx
