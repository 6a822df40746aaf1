#include "vantorcore/observation/LXPreferencesObservationCenter.h"

#include <gtest/gtest.h>

#include <atomic>
#include <cstdlib>
#include <thread>

#include "support/ObservationSupport.h"
#include "support/TestSupport.h"
#include "vantorcore/observation/UserDefaults+LXPreferences.h"
#include "vantorcore/platform/String+Paths.h"

namespace lx {
namespace {

class PrefsListener : public Object {
  LX_DECLARE_CLASS(PrefsListener)

 public:
  std::mutex mutex;
  std::vector<std::vector<Value>> calls;  // the arguments of each call
};
LX_DEFINE_CLASS(PrefsListener, Object)

Value recordArguments(Object& self, std::span<const Value> args) {
  auto& listener = static_cast<PrefsListener&>(self);
  std::lock_guard lock(listener.mutex);
  listener.calls.emplace_back(args.begin(), args.end());
  return Value();
}

[[maybe_unused]] const bool kPrefsListenerMethodsAdded = [] {
  Class& cls = ClassRegistry::registerClass(u"PrefsListener", &Object::staticClass());
  for (const char* selector : {"changed", "changed:", "changed:value:", "changed:value:extra:"}) {
    cls.addMethod(selector, recordArguments);
  }
  return true;
}();

using test::freshSuite;

class LXPreferencesObservationCenterTest : public ::testing::Test {
 protected:
  std::shared_ptr<UserDefaults> store = freshSuite();
  std::shared_ptr<LXPreferencesObservationCenter> center =
      LXPreferencesObservationCenter::centerForUserDefaults(store);
};

TEST_F(LXPreferencesObservationCenterTest, RegistrationsOfOneObserverAndKeyAreCounted) {
  struct Case {
    const char* name;
    int adds, removals;
    std::size_t storeObservers;
    std::size_t callsPerChange;
  } cases[] = {
      {"three adds, two removals", 3, 2, 1, 1}, {"three adds, three removals", 3, 3, 0, 0},
      {"one add, one removal", 1, 1, 0, 0},     {"one add, two removals", 1, 2, 0, 0},
      {"two adds, none removed", 2, 0, 1, 1},
  };
  for (const auto& c : cases) {
    SCOPED_TRACE(c.name);
    auto store = freshSuite();
    auto center = LXPreferencesObservationCenter::centerForUserDefaults(store);
    auto listener = std::make_shared<PrefsListener>();
    for (int i = 0; i < c.adds; ++i) center->addObserver(listener, u"k", "changed:value:");
    for (int i = 0; i < c.removals; ++i) center->removeObserver(listener, String(u"k"));
    EXPECT_EQ(store->observerCount(u"k"), c.storeObservers);
    store->setObject(Value(1), u"k");
    EXPECT_EQ(listener->calls.size(), c.callsPerChange);
  }
}

TEST_F(LXPreferencesObservationCenterTest, RemovingWithoutAKeyOrDyingEndsEveryKeyWhateverItsCount) {
  auto listener = std::make_shared<PrefsListener>();
  auto bystander = std::make_shared<PrefsListener>();
  center->addObserver(listener, u"a", "changed:");
  center->addObserver(listener, u"a", "changed:");
  center->addObserver(listener, u"b", "changed:");
  center->addObserver(bystander, u"a", "changed:");
  center->removeObserver(listener);
  EXPECT_EQ(store->observerCount(u"a"), 1u);
  EXPECT_EQ(store->observerCount(u"b"), 0u);
  store->setObject(Value(1), u"a");
  EXPECT_TRUE(listener->calls.empty());
  EXPECT_EQ(bystander->calls.size(), 1u);
  bystander.reset();
  store->setObject(Value(2), u"a");  // skipped silently
  center->addObserver(std::make_shared<PrefsListener>(), u"other", "changed:");
  EXPECT_EQ(store->observerCount(u"a"), 0u);  // the dead one's observation ended
}

TEST_F(LXPreferencesObservationCenterTest, TheSelectorsColonsDecideTheArguments) {
  struct Case {
    const char* selector;
    std::vector<Value> arguments;
  } cases[] = {
      {"changed", {}},
      {"changed:", {Value(u"k")}},
      {"changed:value:", {Value(u"k"), Value(7)}},
      {"changed:value:extra:", {Value(u"k"), Value(7)}},  // never more than two
  };
  for (const auto& c : cases) {
    SCOPED_TRACE(c.selector);
    auto store = freshSuite();
    auto listener = std::make_shared<PrefsListener>();
    LXPreferencesObservationCenter::centerForUserDefaults(store)->addObserver(listener, u"k",
                                                                              c.selector);
    store->setObject(Value(7), u"k");
    ASSERT_EQ(listener->calls.size(), 1u);
    EXPECT_EQ(listener->calls[0], c.arguments);
  }
}

TEST_F(LXPreferencesObservationCenterTest, InitialValuesAndRemovedKeys) {
  struct Case {
    const char* name;
    std::optional<Value> stored;
  } cases[] = {{"unset", std::nullopt}, {"set", Value(u"blue")}, {"empty string", Value(u"")}};
  for (const auto& c : cases) {
    SCOPED_TRACE(c.name);
    auto store = freshSuite();
    if (c.stored) store->setObject(*c.stored, u"colour");
    auto center = LXPreferencesObservationCenter::centerForUserDefaults(store);
    std::vector<std::optional<Value>> seen;
    auto token =
        center->addObserverForKey(u"colour", LXPreferencesObservationOptionInitial,
                                  [&](const String& key, const std::optional<Value>& value) {
                                    EXPECT_EQ(key, u"colour");
                                    seen.push_back(value);
                                  });
    ASSERT_EQ(seen.size(), 1u);
    EXPECT_EQ(seen[0], c.stored);
    auto listener = std::make_shared<PrefsListener>();
    center->addObserver(listener, u"colour", LXPreferencesObservationOptionInitial,
                        "changed:value:");
    ASSERT_EQ(listener->calls.size(), 1u);
    EXPECT_EQ(listener->calls[0][1], c.stored ? *c.stored : Value());
    store->setObject(Value(u"red"), u"colour");
    store->removeObjectForKey(u"colour");
    ASSERT_EQ(seen.size(), 3u);
    EXPECT_EQ(seen[2], std::nullopt);  // removed: absent, not the null object
    center->removeObserver(token);
    center->removeObserver(listener);
  }
}

TEST_F(LXPreferencesObservationCenterTest, ClosureTokensAreSeparateAndStopAtRemoval) {
  int first = 0, second = 0;
  auto a = center->addObserverForKey(u"k", [&](const String&, const auto&) { ++first; });
  auto b = center->addObserverForKey(u"k", [&](const String&, const auto&) { ++second; });
  EXPECT_EQ(store->observerCount(u"k"), 2u);
  store->setObject(Value(1), u"k");
  center->removeObserver(a);  // `a` is still held here, yet delivers no more
  center->removeObserver(a);
  store->setObject(Value(2), u"k");
  EXPECT_EQ(first, 1);
  EXPECT_EQ(second, 2);
  std::weak_ptr<LXPreferencesObservation> dropped = b;
  b.reset();  // the centre keeps a dropped token until it is removed
  store->setObject(Value(3), u"k");
  EXPECT_EQ(second, 3);
  center->removeObserver(dropped.lock());
  EXPECT_TRUE(dropped.expired());
  EXPECT_EQ(store->observerCount(u"k"), 0u);
  EXPECT_FALSE(center->addObserverForKey(u"k", nullptr));
}

TEST_F(LXPreferencesObservationCenterTest, OneCenterPerStoreAndTheStandardOneUnderNull) {
  auto other = freshSuite();
  EXPECT_EQ(LXPreferencesObservationCenter::centerForUserDefaults(store), center);
  EXPECT_NE(LXPreferencesObservationCenter::centerForUserDefaults(other), center);
  EXPECT_EQ(LXPreferencesObservationCenter::defaultCenter(),
            LXPreferencesObservationCenter::centerForUserDefaults(nullptr));
  EXPECT_EQ(LXPreferencesObservationCenter::defaultCenter()->defaults(),
            UserDefaults::standardUserDefaults());
  std::weak_ptr<LXPreferencesObservationCenter> weakCenter = center;
  center.reset();
  store.reset();  // the table holds stores weakly: the centre goes with its store
  LXPreferencesObservationCenter::centerForUserDefaults(other);
  EXPECT_TRUE(weakCenter.expired());
  // The shared store is the group suite.
  auto shared = lx_sharedUserDefaults();
  ASSERT_TRUE(shared);
  EXPECT_EQ(lx_sharedUserDefaults(), shared);
  EXPECT_EQ(lastPathComponent(shared->path()), u"group.org.vantorcore.shared.plist");
}

TEST_F(LXPreferencesObservationCenterTest, AnotherProcesssWriteArrivesWithItsValue) {
  test::Inbox<std::optional<Value>> inbox;
  auto token = center->addObserverForKey(
      u"volume", [inbox](const String&, const std::optional<Value>& value) { inbox.push(value); });
  // Another program replaces the file the way careful writers do.
  const std::string path = fileSystemRepresentation(store->path());
  const std::string command =
      "printf '<plist version=\"1.0\"><dict><key>volume</key><integer>11</integer></dict>"
      "</plist>' > '" +
      path + ".tmp' && mv '" + path + ".tmp' '" + path + "'";
  ASSERT_EQ(std::system(command.c_str()), 0);
  ASSERT_TRUE(inbox.waitUntil([](const auto& items) { return !items.empty(); }));
  EXPECT_EQ(inbox.items()[0], Value(11));
  center->removeObserver(token);
}

TEST_F(LXPreferencesObservationCenterTest, RegistrationFromManyThreadsWhileValuesChange) {
  constexpr int kThreads = 4;
  constexpr int kRounds = 100;
  std::atomic<bool> stop{false};
  std::thread writer([&] {
    for (int i = 0; !stop; ++i) store->setObject(Value(i % 3), u"k");
  });
  std::vector<std::thread> threads;
  for (int t = 0; t < kThreads; ++t) {
    threads.emplace_back([&] {
      auto listener = std::make_shared<PrefsListener>();
      for (int i = 0; i < kRounds; ++i) {
        center->addObserver(listener, u"k", "changed:");
        // Removal from a callback, which may still run (on the writer's
        // thread) after the token is removed: it holds what it uses.
        auto token = center->addObserverForKey(
            u"k", [center = center, listener](const String&, const auto&) {
              center->removeObserver(listener, String(u"k"));
            });
        if (i % 10 == 0) listener = std::make_shared<PrefsListener>();  // the old one dies
        center->removeObserver(token);
      }
      center->removeObserver(listener);
    });
  }
  for (auto& thread : threads) thread.join();
  stop = true;
  writer.join();
  center->addObserver(std::make_shared<PrefsListener>(), u"k", "changed:");  // purges the dead
  EXPECT_LE(store->observerCount(u"k"), 1u);
}

}  // namespace
}  // namespace lx
