#include "vantorcore/platform/ValueClasses.h"

#include <gtest/gtest.h>

#include "vantorcore/platform/BoxedValue.h"

namespace lx {
namespace {

TEST(ValueClassesTest, EachValueKindHasThePlatformsClass) {
  const struct {
    Value value;
    const char16_t* name;
  } cases[] = {
      {Value(), u"NSNull"},
      {Value(true), u"NSNumber"},
      {Value(-1), u"NSNumber"},
      {Value(~0ull), u"NSNumber"},
      {Value(0.5), u"NSNumber"},
      {Value(u""), u"NSString"},
      {Value(Data{}), u"NSData"},
      {Value(Date(0)), u"NSDate"},
      {Value(Array{}), u"NSArray"},
      {Value(Dictionary{}), u"NSDictionary"},
      {Value(BoxedValue::valueWithBool(true)), u"BoxedValue"},
  };
  for (const auto& c : cases) {
    SCOPED_TRACE(toUTF8(c.name));
    EXPECT_EQ(ValueClasses::classOf(c.value).name(), c.name);
    EXPECT_EQ(ClassRegistry::classNamed(c.name), &ValueClasses::classOf(c.value));
    EXPECT_TRUE(ValueClasses::isKindOf(c.value, Object::staticClass()));
  }
}

TEST(ValueClassesTest, MutableClassesDeriveFromTheirImmutableOnes) {
  const struct {
    const char16_t* mutableName;
    const char16_t* immutableName;
  } cases[] = {
      {u"NSMutableString", u"NSString"}, {u"NSMutableData", u"NSData"},
      {u"NSMutableArray", u"NSArray"},   {u"NSMutableDictionary", u"NSDictionary"},
      {u"NSMutableSet", u"NSSet"},
  };
  for (const auto& c : cases) {
    SCOPED_TRACE(toUTF8(c.mutableName));
    const Class* sub = ClassRegistry::classNamed(c.mutableName);
    const Class* super = ClassRegistry::classNamed(c.immutableName);
    ASSERT_TRUE(sub && super);
    EXPECT_TRUE(sub->isSubclassOfClass(*super));
    EXPECT_FALSE(super->isSubclassOfClass(*sub));
  }
  EXPECT_FALSE(ValueClasses::isKindOf(Value(Array{}), ValueClasses::mutableArray()));
  EXPECT_FALSE(ValueClasses::isKindOf(Value(Array{}), ValueClasses::set()));
}

}  // namespace
}  // namespace lx
