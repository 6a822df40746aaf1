#include "vantorcore/platform/Object.h"

#include <gtest/gtest.h>

#include "support/TestSupport.h"
#include "vantorcore/platform/Log.h"

namespace lx {

class TestShape : public Object {
  LX_DECLARE_CLASS(TestShape)
};
class TestSquare : public TestShape {
  LX_DECLARE_CLASS(TestSquare)
};
LX_DEFINE_CLASS(TestShape, Object)
LX_DEFINE_CLASS(TestSquare, TestShape)

namespace {

TEST(ObjectTest, ClassesRegisterByNameWithTheirSuperclass) {
  const Class* square = ClassRegistry::classNamed(u"TestSquare");
  ASSERT_NE(square, nullptr);
  EXPECT_EQ(square->superclass(), &TestShape::staticClass());
  EXPECT_TRUE(square->isSubclassOfClass(Object::staticClass()));
  EXPECT_FALSE(TestShape::staticClass().isSubclassOfClass(*square));
  EXPECT_EQ(ClassRegistry::classNamed(u"NoSuchClass"), nullptr);
  auto obj = std::make_shared<TestSquare>();
  EXPECT_EQ(obj->className(), u"TestSquare");
  EXPECT_TRUE(obj->isKindOfClass(TestShape::staticClass()));
  EXPECT_TRUE(hasPrefix(obj->description(), u"<TestSquare: 0x"));
}

TEST(ObjectTest, MethodsAreFoundThroughSuperclasses) {
  Class& shape = const_cast<Class&>(TestShape::staticClass());
  shape.addMethod("area", [](Object&, std::span<const Value> args) {
    return Value(args.empty() ? 0 : args[0].int64Value() * 2);
  });
  auto square = std::make_shared<TestSquare>();
  EXPECT_TRUE(square->respondsToSelector("area"));
  EXPECT_FALSE(square->respondsToSelector("volume"));
  const Value arg(21);
  EXPECT_EQ((*square->objectClass().methodNamed("area"))(*square, {&arg, 1}).int64Value(), 42);
}

TEST(ObjectTest, AssociatedValuesLiveWithTheirObject) {
  static const char key = 0;
  auto holder = std::make_shared<TestShape>();
  auto attached = std::make_shared<TestShape>();
  std::weak_ptr<TestShape> weak = attached;
  holder->setAssociatedValue(&key, Value(attached));
  attached.reset();
  EXPECT_FALSE(weak.expired());
  EXPECT_TRUE(holder->associatedValue(&key).has_value());
  holder.reset();
  EXPECT_TRUE(weak.expired());
}

TEST(LogTest, CaptureSeesLinesAndConditionFailures) {
  ScopedLogCapture capture;
  logFormat(u"value %d", 3);
  LXConditionFailed(u"title is nil");
  EXPECT_EQ(capture.lines(), (std::vector<String>{u"value 3", u"CONDITION FAILED: title is nil"}));
}

}  // namespace
}  // namespace lx
