#include "vantorcore/concurrency/LXMapTable.h"

#include <gtest/gtest.h>

namespace lx {
namespace {

class Box : public Object {
 public:
  explicit Box(int v) : v(v) {}
  bool isEqual(const Object& other) const override {
    auto* b = dynamic_cast<const Box*>(&other);
    return b && b->v == v;
  }
  std::size_t hash() const noexcept override { return static_cast<std::size_t>(v); }
  int v;
};

TEST(LXMapTableTest, StrongTableKeepsValuesAndToleratesNulls) {
  auto table = LXMapTable::strongToStrongObjectsMapTable();
  table->setObject(Value(), Value(u"k"));
  table->setObject(Value(1), Value());
  EXPECT_EQ(table->count(), 0u);
  EXPECT_TRUE(table->objectForKey(Value()).isNull());
  table->removeObjectForKey(Value());
  EXPECT_TRUE(table->anyKey().isNull());
  table->setObject(Value(std::make_shared<Box>(1)), Value(u"a"));
  table->addEntriesFromDictionary(Dictionary{{u"b", Value(2)}, {u"c", Value(3)}});
  EXPECT_EQ(table->count(), 3u);
  EXPECT_EQ(table->objectForKey(Value(u"a")).objectAs<Box>()->v, 1);
  EXPECT_EQ(table->objectForKey(Value(u"b")), Value(2));
  table->removeObjectsForKeys(Array{Value(u"b"), Value(u"zzz")});
  EXPECT_EQ(table->count(), 2u);
  EXPECT_EQ(table->allKeys().size(), table->allValues().size());
  EXPECT_FALSE(table->anyKey().isNull());
  table->removeAllObjects();
  EXPECT_EQ(table->count(), 0u);
}

TEST(LXMapTableTest, WeakTableForgetsDeadValues) {
  auto table = LXMapTable::strongToWeakObjectsMapTable();
  auto kept = std::make_shared<Box>(1);
  table->setObject(Value(kept), Value(u"kept"));
  table->setObject(Value(std::make_shared<Box>(2)), Value(u"dead"));
  table->setObject(Value(u"text"), Value(u"value"));
  EXPECT_TRUE(table->objectForKey(Value(u"dead")).isNull());
  EXPECT_EQ(table->objectForKey(Value(u"kept")).asObject(), kept);
  EXPECT_EQ(table->objectForKey(Value(u"value")), Value(u"text"));
  EXPECT_EQ(table->count(), 2u);
}

TEST(LXMapTableTest, KeyForValueMatchesIdentityOnly) {
  auto table = LXMapTable::strongToStrongObjectsMapTable();
  auto box = std::make_shared<Box>(5);
  table->setObject(Value(box), Value(u"k"));
  EXPECT_EQ(table->keyForValue(Value(box)), Value(u"k"));
  EXPECT_TRUE(table->keyForValue(Value(std::make_shared<Box>(5))).isNull());
  EXPECT_TRUE(table->keyForValue(Value(5)).isNull());
}

}  // namespace
}  // namespace lx
