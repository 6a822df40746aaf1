#include "vantorcore/observation/LXPreferencesObservationCenter+Publisher.h"

#include <gtest/gtest.h>

#include "support/ObservationSupport.h"

namespace lx {
namespace {

using test::freshSuite;

// Sends `stored` through a publisher of T and returns what arrived.
template <class T>
std::vector<std::optional<T>> publish(const std::optional<Value>& stored) {
  auto store = freshSuite();
  auto center = LXPreferencesObservationCenter::centerForUserDefaults(store);
  std::vector<std::optional<T>> received;
  auto subscription = center->template publisher<T>(u"k").subscribe(
      [&](const std::optional<T>& value) { received.push_back(value); });
  store->setObject(stored ? *stored : Value(), u"k");
  if (!stored) {
    store->setObject(Value(1), u"k");
    store->removeObjectForKey(u"k");
  }
  return received;
}

TEST(PublisherTest, TypedValuesOrAbsentForAnotherType) {
  EXPECT_EQ(publish<std::int64_t>(Value(42)).back(), 42);
  EXPECT_EQ(publish<std::int64_t>(Value(u"42")).back(), std::nullopt);  // a string, not a number
  EXPECT_EQ(publish<std::int64_t>(Value(true)).back(), 1);
  EXPECT_EQ(publish<std::int64_t>(std::nullopt).back(), std::nullopt);  // removed
  EXPECT_EQ(publish<double>(Value(2.5)).back(), 2.5);
  EXPECT_EQ(publish<bool>(Value(0)).back(), false);
  EXPECT_EQ(publish<bool>(Value(u"YES")).back(), std::nullopt);
  EXPECT_EQ(publish<String>(Value(u"")).back(), String());  // the empty string is a string
  EXPECT_EQ(publish<String>(Value(3)).back(), std::nullopt);
  EXPECT_EQ(publish<Array>(Value(Array{1, 2})).back(), (Array{1, 2}));
  EXPECT_EQ(publish<Dictionary>(Value(Array{})).back(), std::nullopt);
  EXPECT_EQ(publish<Data>(Value(Data{1})).back(), (Data{1}));
  EXPECT_EQ(publish<Value>(Value(u"any")).back(), Value(u"any"));
}

TEST(PublisherTest, CancellingEndsTheStreamOnceAndDestructionCancels) {
  struct Case {
    const char* name;
    int cancels;  // -1: let the subscription go out of scope instead
  } cases[] = {{"never", 0}, {"once", 1}, {"twice", 2}, {"destroyed", -1}};
  for (const auto& c : cases) {
    SCOPED_TRACE(c.name);
    auto store = freshSuite();
    auto center = LXPreferencesObservationCenter::centerForUserDefaults(store);
    int received = 0;
    {
      auto publisher = center->publisher(u"k", LXPreferencesObservationOptionInitial);
      auto subscription = publisher.subscribe([&](const auto&) { ++received; });
      EXPECT_EQ(received, 1);  // the initial value
      for (int i = 0; i < c.cancels; ++i) subscription.cancel();
      const bool active = c.cancels <= 0;
      EXPECT_EQ(subscription.isActive(), active);
      store->setObject(Value(1), u"k");
      EXPECT_EQ(received, active ? 2 : 1);
      if (c.cancels < 0) {
        LXPreferencesObservationCenter::Subscription moved = std::move(subscription);
        EXPECT_FALSE(subscription.isActive());
        EXPECT_TRUE(moved.isActive());
      }
    }
    const int receivedInScope = received;
    store->setObject(Value(2), u"k");
    EXPECT_EQ(received, receivedInScope);
    EXPECT_EQ(store->observerCount(u"k"), 0u);
  }
}

}  // namespace
}  // namespace lx
