#include "vantorcore/concurrency/LXUniquingMutableSet.h"

#include <gtest/gtest.h>

#include <thread>
#include <vector>

namespace lx {
namespace {

TEST(LXUniquingMutableSetTest, EqualValuesShareOneImmutableCopy) {
  LXUniquingMutableSet<> set;
  Value first(u"title");
  Value second(u"title");
  auto a = set.uniqueObject(first);
  auto b = set.uniqueObject(second);
  EXPECT_EQ(a, b);
  first = Value(first.asString()->str() + u" changed");  // the caller's value, not the stored copy
  EXPECT_EQ(*a, Value(u"title"));
  EXPECT_EQ(set.uniqueObject(first), set.uniqueObject(Value(u"title changed")));
  EXPECT_NE(set.uniqueObject(first), a);
  EXPECT_EQ(set.uniqueObject(static_cast<const Value*>(nullptr)), nullptr);
}

TEST(LXUniquingMutableSetTest, ConcurrentCallersGetTheSameInstance) {
  LXUniquingMutableSet<String> set;
  std::vector<std::shared_ptr<const String>> seen(8);
  std::vector<std::thread> threads;
  for (std::size_t i = 0; i < seen.size(); ++i) {
    threads.emplace_back([&, i] { seen[i] = set.uniqueObject(String(u"shared")); });
  }
  for (auto& t : threads) t.join();
  for (auto& s : seen) EXPECT_EQ(s, seen[0]);
  EXPECT_EQ(set.count(), 1u);
}

}  // namespace
}  // namespace lx
