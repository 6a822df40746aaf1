#include "vantorcore/platform/NotificationCenter.h"

#include <gtest/gtest.h>

#include "support/TestSupport.h"

namespace lx {
namespace {

using test::Twin;

TEST(NotificationCenterTest, ObserversMatchByNameAndSender) {
  auto a = std::make_shared<Twin>();
  auto b = std::make_shared<Twin>();
  struct Case {
    const char* name;
    std::optional<String> observedName;
    std::shared_ptr<Object> observedObject;
    int expected;  // of the posts ("x", a), ("x", b), ("y", a), ("x", null)
  };
  const Case cases[] = {
      {"name and sender", u"x", a, 1},
      {"name only", u"x", nullptr, 3},
      {"sender only", std::nullopt, a, 2},
      {"everything", std::nullopt, nullptr, 4},
      {"equal but distinct sender", u"x", std::make_shared<Twin>(), 0},
  };
  for (const auto& c : cases) {
    SCOPED_TRACE(c.name);
    NotificationCenter center;
    int calls = 0;
    auto token =
        center.addObserver(c.observedName, c.observedObject, [&](const Notification&) { ++calls; });
    center.post(u"x", a);
    center.post(u"x", b);
    center.post(u"y", a);
    center.post(u"x");
    EXPECT_EQ(calls, c.expected);
  }
}

TEST(NotificationCenterTest, DeliveryIsSynchronousWithUserInfo) {
  NotificationCenter center;
  Dictionary seen;
  auto token =
      center.addObserver(u"n", nullptr, [&](const Notification& n) { seen = n.userInfo(); });
  center.post(u"n", nullptr, Dictionary{{u"k", Value(1)}});
  EXPECT_EQ(seen, (Dictionary{{u"k", Value(1)}}));
}

TEST(NotificationCenterTest, TokensRemoveTheirRegistration) {
  NotificationCenter center;
  int calls = 0;
  {
    auto scoped = center.addObserver(u"n", nullptr, [&](const Notification&) { ++calls; });
    center.post(u"n");
  }
  center.post(u"n");
  EXPECT_EQ(calls, 1);
  auto token = center.addObserver(u"n", nullptr, [&](const Notification&) { ++calls; });
  token.remove();
  center.post(u"n");
  EXPECT_EQ(calls, 1);
}

TEST(NotificationCenterTest, ObserverRemovedDuringAPostIsNotCalledAfterwards) {
  NotificationCenter center;
  NotificationCenter::Token second;
  int secondCalls = 0;
  auto first = center.addObserver(u"n", nullptr, [&](const Notification&) { second.remove(); });
  second = center.addObserver(u"n", nullptr, [&](const Notification&) { ++secondCalls; });
  center.post(u"n");
  EXPECT_EQ(secondCalls, 0);
}

class Listener : public Object {
  LX_DECLARE_CLASS(Listener)

 public:
  int calls = 0;
};
LX_DEFINE_CLASS(Listener, Object)

TEST(NotificationCenterTest, SelectorObserverIsHeldWeakly) {
  ClassRegistry::registerClass(u"Listener", &Object::staticClass())
      .addMethod("noteChanged:", [](Object& self, std::span<const Value> args) {
        if (!args.empty() && args[0].objectAs<Notification>()) static_cast<Listener&>(self).calls++;
        return Value();
      });
  NotificationCenter center;
  auto listener = std::make_shared<Listener>();
  auto token = center.addObserver(listener, "noteChanged:", u"n", nullptr);
  ASSERT_TRUE(token.isActive());
  center.post(u"n");
  EXPECT_EQ(listener->calls, 1);
  listener.reset();
  center.post(u"n");  // the dead observer is skipped
  EXPECT_FALSE(
      center.addObserver(std::make_shared<Listener>(), "missing:", u"n", nullptr).isActive());
}

}  // namespace
}  // namespace lx
