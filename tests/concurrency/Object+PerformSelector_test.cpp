#include <gtest/gtest.h>

#include "concurrency/ConcurrencyTestSupport.h"
#include "vantorcore/concurrency/LXWorkerThread.h"
#include "vantorcore/concurrency/Object+PerformSelector.h"

namespace lx {
namespace {

class Calculator : public Object {
  LX_DECLARE_CLASS(Calculator)

 public:
  std::shared_ptr<Thread> lastThread;
  int pokes = 0;
};
LX_DEFINE_CLASS(Calculator, Object)

[[maybe_unused]] const bool kCalculatorMethods = [] {
  auto& cls = ClassRegistry::registerClass(u"Calculator", &Object::staticClass());
  cls.addMethod("describe:and:", [](Object& self, std::span<const Value> args) {
    static_cast<Calculator&>(self).lastThread = Thread::current();
    return Value(args[0].description() + u"/" +
                 (args[1].isNull() ? u"null" : args[1].description()));
  });
  cls.addMethod("poke", [](Object& self, std::span<const Value>) {
    static_cast<Calculator&>(self).pokes++;
    return Value();
  });
  cls.addMethod("isReady", [](Object&, std::span<const Value>) { return Value(true); });
  cls.addMethod("count", [](Object&, std::span<const Value>) { return Value(42); });
  cls.addMethod("ratio", [](Object&, std::span<const Value>) { return Value(0.5); });
  cls.addMethod("echo:", [](Object&, std::span<const Value> args) { return args[0]; });
  return true;
}();

TEST(PerformSelectorTest, WaitedCallOnAnotherThreadReturnsItsResult) {
  auto worker = std::make_shared<LXWorkerThread>();
  worker->start();
  auto calc = std::make_shared<Calculator>();
  Value result = lx_performSelector(calc, "describe:and:", worker, Array{Value(1), Value()}, true,
                                    commonRunLoopModes());
  EXPECT_EQ(result, Value(u"1/null"));
  EXPECT_EQ(calc->lastThread, worker);
  // Not waited for: no result, unless it runs at once on the calling thread.
  EXPECT_TRUE(lx_performSelector(calc, "echo:", worker, Value(u"x"), false).isNull());
  worker->finish();
  EXPECT_EQ(lx_performSelector(calc, "echo:", Thread::current(), Value(u"now"), false),
            Value(u"now"));
  EXPECT_TRUE(lx_performSelector(calc, "missing:", Thread::current(), Value(1), true).isNull());
}

TEST(PerformSelectorTest, MainThreadFormsFromAnotherThread) {
  auto calc = std::make_shared<Calculator>();
  Value result;
  std::atomic<bool> done{false};
  Thread::detachNewThread([&] {
    result = lx_performSelector(calc, "describe:and:", Array{Value(u"a"), Value(u"b")});
    done = true;
  });
  ASSERT_TRUE(test::spinUntil([&] { return done.load(); }));
  EXPECT_EQ(result, Value(u"a/b"));
  EXPECT_EQ(calc->lastThread, Thread::main());
}

TEST(PerformSelectorTest, OptionalCallsGiveNeutralValuesWhenMissing) {
  auto calc = std::make_shared<Calculator>();
  auto bare = std::make_shared<Object>();
  lx_performOptionalSelector(*calc, "poke");
  lx_performOptionalSelector(*bare, "poke");
  EXPECT_EQ(calc->pokes, 1);
  EXPECT_TRUE(lx_performOptionalSelectorWithBOOLReturn(*calc, "isReady"));
  EXPECT_FALSE(lx_performOptionalSelectorWithBOOLReturn(*bare, "isReady"));
  EXPECT_EQ(lx_performOptionalSelectorWithIntegerReturn(*calc, "count"), 42);
  EXPECT_EQ(lx_performOptionalSelectorWithIntegerReturn(*bare, "count"), 0);
  EXPECT_DOUBLE_EQ(lx_performOptionalSelectorWithCGFloatReturn(*calc, "ratio"), 0.5);
  EXPECT_DOUBLE_EQ(lx_performOptionalSelectorWithCGFloatReturn(*bare, "ratio"), 0.0);
  EXPECT_EQ(lx_performOptionalSelectorWithObjectReturn(*calc, "echo:", Value(u"x")), Value(u"x"));
  EXPECT_TRUE(lx_performOptionalSelectorWithObjectReturn(*bare, "echo:", Value(u"x")).isNull());
}

}  // namespace
}  // namespace lx
