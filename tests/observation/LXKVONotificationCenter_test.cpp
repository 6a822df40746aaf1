#include "vantorcore/observation/LXKVONotificationCenter.h"

#include <gtest/gtest.h>

#include <atomic>
#include <thread>

#include "support/ObservationSupport.h"
#include "vantorcore/observation/Observable+LXKVONotification.h"
#include "vantorcore/platform/StringFormat.h"

namespace lx {
namespace {

using test::Model;

constexpr const char* kSelector = "observeValue:ofObject:change:userInfo:";
constexpr const char* kOtherSelector = "observeOther:ofObject:change:userInfo:";

class KVOListener : public Object {
  LX_DECLARE_CLASS(KVOListener)

 public:
  std::atomic<int> calls{0};
  std::mutex mutex;
  std::vector<Dictionary> changes;
  std::vector<Value> userInfos;
  std::vector<String> keyPaths;
};
LX_DEFINE_CLASS(KVOListener, Object)

Value recordChange(Object& self, std::span<const Value> args) {
  auto& listener = static_cast<KVOListener&>(self);
  std::lock_guard lock(listener.mutex);
  listener.keyPaths.push_back(args[0].asString()->str());
  listener.changes.push_back(*args[2].asDictionary());
  listener.userInfos.push_back(args[3]);
  ++listener.calls;
  return Value();
}

[[maybe_unused]] const bool kKVOListenerMethodsAdded = [] {
  Class& cls = ClassRegistry::registerClass(u"KVOListener", &Object::staticClass());
  cls.addMethod(kSelector, recordChange);
  cls.addMethod(kOtherSelector, recordChange);
  return true;
}();

class LXKVONotificationCenterTest : public ::testing::Test {
 protected:
  LXKVONotificationCenter center;
  std::shared_ptr<Model> model = std::make_shared<Model>();
  std::shared_ptr<KVOListener> listener = std::make_shared<KVOListener>();
};

TEST_F(LXKVONotificationCenterTest, TheTableKeyDecidesWhatIsADuplicate) {
  struct Case {
    const char* name;
    bool sameObserver, sameObject;
    const char* secondKeyPath;
    const char* secondSelector;
    bool secondAccepted;
    int callsPerChangeOfTitle;
  } cases[] = {
      {"identical", true, true, "title", kSelector, false, 1},
      {"another key path", true, true, "subtitle", kSelector, true, 1},
      {"another operation", true, true, "title", kOtherSelector, true, 2},
      {"another object", true, false, "title", kSelector, true, 1},
      {"another observer", false, true, "title", kSelector, true, 2},
  };
  for (const auto& c : cases) {
    SCOPED_TRACE(c.name);
    LXKVONotificationCenter center;
    auto model = std::make_shared<Model>();
    auto otherModel = std::make_shared<Model>();
    auto listener = std::make_shared<KVOListener>();
    auto otherListener = std::make_shared<KVOListener>();
    ASSERT_TRUE(center.addObserver(listener, model, u"title", kSelector));
    auto second = center.addObserver(c.sameObserver ? listener : otherListener,
                                     c.sameObject ? model : otherModel, fromUTF8(c.secondKeyPath),
                                     c.secondSelector);
    EXPECT_EQ(second != nullptr, c.secondAccepted);
    model->set(u"title", Value(u"x"));
    EXPECT_EQ(listener->calls + otherListener->calls, c.callsPerChangeOfTitle);
  }
}

TEST_F(LXKVONotificationCenterTest, KeysAreObserverObjectKeyPathAndOperation) {
  const char16_t* keyPaths[] = {u"title", u"", u"a:b", u"child.title"};
  std::shared_ptr<LXKVObservation> first;
  for (const char16_t* keyPath : keyPaths) {
    SCOPED_TRACE(toUTF8(keyPath));
    auto observation = center.addObserver(listener, model, keyPath, kSelector, Value(u"u"));
    ASSERT_TRUE(observation);
    if (!first) first = observation;
    const String expected =
        stringWithFormat(u"%p:%p:%@:%p", listener.get(), model.get(), StringView(keyPath),
                         LXKVObservation::identityOfSelector(kSelector));
    EXPECT_EQ(LXKVONotificationCenter::dictionaryKeyForObservation(*observation), expected);
    const auto keys = center.observingKeysForObserver(listener.get());
    EXPECT_NE(std::find(keys.begin(), keys.end(), expected), keys.end());
  }
  EXPECT_EQ(center.observationsForObserver(listener.get()).size(), std::size(keyPaths));
  EXPECT_EQ(first->description(),
            stringWithFormat(u"<LXKVObservation %p ivars:   keyPath: title   observer: KVOListener "
                             u"%p   selector: observeValue:ofObject:change:userInfo:   target: "
                             u"Object %p   userInfo: u",
                             first.get(), listener.get(), model.get()));
}

TEST_F(LXKVONotificationCenterTest, ADeadObserverHearsNothingAndKeepsTheObjectAlive) {
  std::weak_ptr<Model> watched = model;
  auto observation = center.addObserver(listener, model, u"title", kSelector);
  const Object* address = listener.get();
  listener.reset();
  model->set(u"title", Value(1));  // no call, no crash
  model.reset();
  EXPECT_FALSE(watched.expired());  // held by its registration
  EXPECT_TRUE(observation->observerIsGone());
  EXPECT_NE(observation->description().find(u"observer: (null)"), String::npos);
  center.removeObserver(address);
  observation.reset();
  EXPECT_TRUE(watched.expired());
}

TEST_F(LXKVONotificationCenterTest, ANewObserverAtADeadOnesAddressIsNotADuplicate) {
  test::FixedAddress slot(0x200000000);
  if (!slot.get()) GTEST_SKIP() << "the fixed address is taken";
  auto first = slot.make<KVOListener>();
  ASSERT_TRUE(center.addObserver(first, model, u"title", kSelector));
  first.reset();  // dies without removing itself
  auto second = slot.make<KVOListener>();
  ASSERT_EQ(static_cast<void*>(second.get()), slot.get());
  ASSERT_TRUE(center.addObserver(second, model, u"title", kSelector));
  EXPECT_EQ(center.observingKeysForObserver(second.get()).size(), 1u);
  model->set(u"title", Value(2));
  EXPECT_EQ(second->calls, 1);
  center.removeObserver(second.get());
}

TEST_F(LXKVONotificationCenterTest, RemovingAnObserverSparesOneWhoseAddressSharesItsDigits) {
  // "0x10000000:" must not match the keys of "0x100000000".
  test::FixedAddress shortSlot(0x10000000);
  test::FixedAddress longSlot(0x100000000);
  if (!shortSlot.get() || !longSlot.get()) GTEST_SKIP() << "the fixed addresses are taken";
  auto shortListener = shortSlot.make<KVOListener>();
  auto longListener = longSlot.make<KVOListener>();
  center.addObserver(shortListener, model, u"title", kSelector);
  center.addObserver(shortListener, model, u"subtitle", kSelector);
  center.addObserver(longListener, model, u"title", kSelector);
  center.removeObserver(shortListener.get());
  EXPECT_TRUE(center.observingKeysForObserver(shortListener.get()).empty());
  EXPECT_EQ(center.observingKeysForObserver(longListener.get()).size(), 1u);
  model->set(u"title", Value(3));
  EXPECT_EQ(shortListener->calls, 0);
  EXPECT_EQ(longListener->calls, 1);
  center.removeObserver(longListener.get());
}

TEST_F(LXKVONotificationCenterTest, ExactRemovalTakesOneRegistrationAndUnknownOnesNothing) {
  center.addObserver(listener, model, u"title", kSelector);
  center.addObserver(listener, model, u"title", kOtherSelector);
  center.removeObserver(listener.get(), model.get(), u"title", "unknown:");
  center.removeObserver(listener.get(), model.get(), u"title", kOtherSelector);
  model->set(u"title", Value(4));
  EXPECT_EQ(listener->calls, 1);
  auto remaining = center.observationsForObserver(listener.get());
  ASSERT_EQ(remaining.size(), 1u);
  center.removeObservation(remaining[0]);
  center.removeObservation(remaining[0]);  // twice is harmless
  model->set(u"title", Value(5));
  EXPECT_EQ(listener->calls, 1);
}

TEST_F(LXKVONotificationCenterTest, ChangesArriveWithKeyPathChangeAndUserInfoAlongADottedPath) {
  auto document = std::make_shared<Model>();
  auto firstOwner = std::make_shared<Model>();
  firstOwner->set(u"name", Value(u"Ann"));
  document->set(u"owner", Value(firstOwner));
  center.addObserver(
      listener, document, u"owner.name", kSelector, Value(u"info"),
      KeyValueObservingOptionNew | KeyValueObservingOptionOld | KeyValueObservingOptionInitial);
  ASSERT_EQ(listener->calls, 1);  // the initial call, before addObserver returned
  auto secondOwner = std::make_shared<Model>();
  secondOwner->set(u"name", Value(u"Bob"));
  document->set(u"owner", Value(secondOwner));
  firstOwner->set(u"name", Value(u"ignored"));  // no longer on the path
  secondOwner->set(u"name", Value(u"Cid"));
  ASSERT_EQ(listener->calls, 3);
  EXPECT_EQ(listener->keyPaths[1], u"owner.name");
  EXPECT_EQ(listener->userInfos[1], Value(u"info"));
  EXPECT_EQ(*listener->changes[1].find(u"old"), Value(u"Ann"));
  EXPECT_EQ(*listener->changes[1].find(u"new"), Value(u"Bob"));
  EXPECT_EQ(*listener->changes[1].find(u"kind"), Value(1));
  EXPECT_EQ(*listener->changes[2].find(u"new"), Value(u"Cid"));
  center.removeObserver(listener.get());
  secondOwner->set(u"name", Value(u"Dee"));
  EXPECT_EQ(listener->calls, 3);
  EXPECT_EQ(secondOwner->observerCount(u"name"), 0u);
}

TEST_F(LXKVONotificationCenterTest, ClosuresAreRegistrationsOfTheirOwn) {
  int calls = 0;
  auto operation = [&](const String&, const ObjectPtr& object, const Dictionary&, const Value&) {
    EXPECT_EQ(object, model);
    ++calls;
  };
  auto first = center.addObserver(listener, model, u"title", operation);
  auto second = center.addObserver(listener, model, u"title", operation);
  ASSERT_TRUE(first && second);
  EXPECT_NE(first->operationIdentity(), second->operationIdentity());
  model->set(u"title", Value(6));
  EXPECT_EQ(calls, 2);
  center.removeObserver(listener.get());
  model->set(u"title", Value(7));
  EXPECT_EQ(calls, 2);
}

TEST_F(LXKVONotificationCenterTest, TheCategoryUsesTheDefaultCenter) {
  EXPECT_TRUE(lx_addObserver(model, listener, u"title", kSelector));
  EXPECT_FALSE(lx_addObserver(model, listener, u"title", kSelector));
  model->set(u"title", Value(8));
  lx_removeObserver(model, listener.get(), u"title", kSelector);
  model->set(u"title", Value(9));
  EXPECT_EQ(listener->calls, 1);
  EXPECT_TRUE(
      LXKVONotificationCenter::defaultCenter().observingKeysForObserver(listener.get()).empty());
}

// Faults: removal from inside a change, from other threads while changes
// flow, observers dying on other threads, registration from many threads.
TEST_F(LXKVONotificationCenterTest, RemovalInsideAChangeStopsLaterCalls) {
  int calls = 0;
  center.addObserver(listener, model, u"title",
                     [&](const String&, const ObjectPtr&, const Dictionary&, const Value&) {
                       ++calls;
                       center.removeObserver(listener.get());  // both, mid-delivery
                     });
  center.addObserver(
      listener, model, u"title",
      [&](const String&, const ObjectPtr&, const Dictionary&, const Value&) { ++calls; });
  model->set(u"title", Value(1));
  model->set(u"title", Value(2));
  EXPECT_EQ(calls, 1);
}

TEST_F(LXKVONotificationCenterTest, ConcurrentRegistrationChangesAndDeathsStaySound) {
  constexpr int kThreads = 4;
  constexpr int kRounds = 200;
  std::atomic<bool> stop{false};
  std::thread changer([&] {
    for (int i = 0; !stop; ++i) model->set(u"title", Value(i));
  });
  std::vector<std::thread> threads;
  std::atomic<int> refused{0};
  for (int t = 0; t < kThreads; ++t) {
    threads.emplace_back([&, t] {
      for (int i = 0; i < kRounds; ++i) {
        auto listener = std::make_shared<KVOListener>();
        if (!center.addObserver(listener, model, u"title", kSelector)) ++refused;
        center.addObserver(listener, model, fromUTF8("k" + std::to_string(t)), kSelector);
        if (i % 2) center.removeObserver(listener.get());
        // Even rounds let the observer die still registered.
      }
    });
  }
  for (auto& thread : threads) thread.join();
  stop = true;
  changer.join();
  EXPECT_EQ(refused, 0);
}

}  // namespace
}  // namespace lx
