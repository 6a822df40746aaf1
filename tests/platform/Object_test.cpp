#include "vantorcore/platform/Object.h"

#include <gtest/gtest.h>

#include "support/TestSupport.h"
#include "vantorcore/platform/Coder.h"
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

// A class that registers everything the registry can find on it.
class TestNote : public Object, public Coding, public StateRestoring {
  LX_DECLARE_CLASS(TestNote)
 public:
  String text;
  void encodeWithCoder(Coder&) const override {}
  static std::shared_ptr<TestNote> initWithCoder(Coder&) {
    auto note = std::make_shared<TestNote>();
    note->text = u"from coder";
    return note;
  }
};
class TestRestorer : public Object, public ObjectRestoration {
  LX_DECLARE_CLASS(TestRestorer)
 public:
  static ObjectPtr objectWithRestorationIdentifier(const String& id, const ObjectPtr&, Coder&) {
    auto note = std::make_shared<TestNote>();
    note->text = id;
    return note;
  }
};
// Not default-constructible: no plain factory.
class TestValueHolder : public Object {
  LX_DECLARE_CLASS(TestValueHolder)
 public:
  explicit TestValueHolder(int) {}
};
// Secure coding, and a subclass that inherits it.
class TestSecureNote : public Object, public SecureCoding {
  LX_DECLARE_CLASS(TestSecureNote)
 public:
  void encodeWithCoder(Coder&) const override {}
};
class TestSecureNoteDraft : public TestSecureNote {
  LX_DECLARE_CLASS(TestSecureNoteDraft)
};
// Writes a stand-in of another class and decodes to a stand-in.
class TestProxy : public Object {
  LX_DECLARE_CLASS(TestProxy)
 public:
  ObjectPtr replacementObjectForCoder(Coder&) override { return nullptr; }
  const Class& classForCoder() const override { return TestShape::staticClass(); }
  ObjectPtr awakeAfterUsingCoder(Coder&) override { return std::make_shared<TestSquare>(); }
};
LX_DEFINE_CLASS(TestNote, Object)
LX_DEFINE_CLASS(TestRestorer, Object)
LX_DEFINE_CLASS(TestValueHolder, Object)
LX_DEFINE_CLASS(TestSecureNote, Object)
LX_DEFINE_CLASS(TestSecureNoteDraft, TestSecureNote)
LX_DEFINE_CLASS(TestProxy, Object)

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

TEST(ObjectTest, RegistrationRecordsFactoriesAndProtocols) {
  struct Case {
    const char16_t* name;
    bool factory, coderFactory, restorationFactory, coding, restoring, restoration, secure;
  };
  const Case cases[] = {
      {u"TestNote", true, true, false, true, true, false, false},
      {u"TestRestorer", true, false, true, false, false, true, false},
      {u"TestValueHolder", false, false, false, false, false, false, false},
      {u"TestSquare", true, false, false, false, false, false, false},
      {u"TestSecureNote", true, false, false, true, false, false, true},
      {u"TestSecureNoteDraft", true, false, false, true, false, false, true},
  };
  for (const auto& c : cases) {
    SCOPED_TRACE(toUTF8(c.name));
    const Class* cls = ClassRegistry::classNamed(c.name);
    ASSERT_NE(cls, nullptr);
    EXPECT_EQ(static_cast<bool>(cls->factory()), c.factory);
    EXPECT_EQ(static_cast<bool>(cls->coderFactory()), c.coderFactory);
    EXPECT_EQ(static_cast<bool>(cls->restorationFactory()), c.restorationFactory);
    EXPECT_EQ(cls->conformsToProtocol(kCodingProtocol), c.coding);
    EXPECT_EQ(cls->conformsToProtocol(kStateRestoringProtocol), c.restoring);
    EXPECT_EQ(cls->conformsToProtocol(kObjectRestorationProtocol), c.restoration);
    EXPECT_EQ(cls->supportsSecureCoding(), c.secure);
  }
}

class NullCoder : public Coder {};

TEST(ObjectTest, FactoriesMakeInstancesOfTheirClass) {
  NullCoder coder;
  const Class& note = TestNote::staticClass();
  auto plain = note.instantiate();
  ASSERT_TRUE(plain);
  EXPECT_TRUE(plain->isMemberOfClass(note));
  auto decoded = std::dynamic_pointer_cast<TestNote>(note.instantiateWithCoder(coder));
  ASSERT_TRUE(decoded);
  EXPECT_EQ(decoded->text, u"from coder");
  auto restored = std::dynamic_pointer_cast<TestNote>(
      TestRestorer::staticClass().restorationFactory()(u"main-window", nullptr, coder));
  ASSERT_TRUE(restored);
  EXPECT_EQ(restored->text, u"main-window");
  EXPECT_EQ(TestValueHolder::staticClass().instantiate(), nullptr);
  EXPECT_EQ(TestSquare::staticClass().instantiateWithCoder(coder), nullptr);
}

TEST(ObjectTest, CodingHooksDefaultToTheObjectAndItsClass) {
  NullCoder coder;
  const auto shape = std::make_shared<TestShape>();
  EXPECT_EQ(shape->replacementObjectForCoder(coder), shape);
  EXPECT_EQ(&shape->classForCoder(), &TestShape::staticClass());
  EXPECT_EQ(shape->awakeAfterUsingCoder(coder), shape);

  const auto proxy = std::make_shared<TestProxy>();
  EXPECT_EQ(proxy->replacementObjectForCoder(coder), nullptr);
  EXPECT_EQ(&proxy->classForCoder(), &TestShape::staticClass());
  EXPECT_TRUE(proxy->awakeAfterUsingCoder(coder)->isKindOfClass<TestSquare>());

  TestShape unowned;  // not in a shared_ptr: nothing to hand out
  EXPECT_EQ(unowned.replacementObjectForCoder(coder), nullptr);
}

TEST(ObjectTest, KindAndMemberTests) {
  auto square = std::make_shared<TestSquare>();
  EXPECT_TRUE(square->isKindOfClass<TestShape>());
  EXPECT_TRUE(square->isKindOfClass<Object>());
  EXPECT_FALSE(square->isKindOfClass<TestNote>());
  EXPECT_TRUE(square->isMemberOfClass(TestSquare::staticClass()));
  EXPECT_FALSE(square->isMemberOfClass(TestShape::staticClass()));
}

TEST(ObjectTest, PerformSelectorCallsByNameOrAnswersAbsent) {
  Class& square = const_cast<Class&>(TestSquare::staticClass());
  square.addMethod("side", [](Object&, std::span<const Value>) { return Value(4); });
  auto obj = std::make_shared<TestSquare>();
  EXPECT_EQ(obj->performSelector("side"), Value(4));
  EXPECT_FALSE(obj->performSelector("noSuchMethod"));
  EXPECT_FALSE(std::make_shared<TestShape>()->performSelector("side")) << "subclass methods only";
}

TEST(LogTest, CaptureSeesLinesAndConditionFailures) {
  ScopedLogCapture capture;
  logFormat(u"value %d", 3);
  LXConditionFailed(u"title is nil");
  EXPECT_EQ(capture.lines(), (std::vector<String>{u"value 3", u"CONDITION FAILED: title is nil"}));
}

}  // namespace
}  // namespace lx
