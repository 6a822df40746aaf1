#include <gtest/gtest.h>

#include "vantorcore/concurrency/Object+AssociatedObject.h"

namespace lx {
namespace {

// Keyed slots go by the key's address, not its text, and apart from the
// unnamed slot.
TEST(AssociatedObjectTest, UnnamedAndKeyedSlots) {
  static const String key = u"key";
  const String sameText = u"key";
  Object object;
  EXPECT_TRUE(associatedObject(object).isNull());
  setAssociatedObject(object, Value(u"attached"));
  EXPECT_EQ(associatedObject(object), Value(u"attached"));
  lx_setAssociatedObject(object, Value(1), &key);
  EXPECT_EQ(lx_associatedObjectForKey(object, &key), Value(1));
  EXPECT_TRUE(lx_associatedObjectForKey(object, &sameText).isNull());
  EXPECT_EQ(associatedObject(object), Value(u"attached"));
  setAssociatedObject(object, Value());
  EXPECT_TRUE(associatedObject(object).isNull());
  EXPECT_EQ(lx_associatedObjectForKey(object, &key), Value(1));
}

TEST(AssociatedObjectTest, ValuesGoWithTheirObject) {
  static const char key = 0;
  auto held = std::make_shared<Object>();
  std::weak_ptr<Object> weak = held;
  {
    Object owner;
    lx_setAssociatedObject(owner, Value(held), &key);
    held.reset();
    EXPECT_FALSE(weak.expired());
  }
  EXPECT_TRUE(weak.expired());
}

}  // namespace
}  // namespace lx
