#include "vantorcore/platform/Observable.h"

#include <gtest/gtest.h>

#include <atomic>
#include <thread>
#include <vector>

#include "support/ObservationSupport.h"

namespace lx {
namespace {

class Model : public Observable {
 public:
  void setTitle(String title) {
    willChangeValueForKey(u"title");
    title_ = std::move(title);
    didChangeValueForKey(u"title");
  }
  std::optional<Value> valueForKey(StringView key) const override {
    if (key == u"title") return Value(title_);
    return std::nullopt;
  }

 private:
  String title_ = u"old";
};

struct Recorder : KeyValueObserver {
  std::vector<Dictionary> changes;
  std::vector<void*> contexts;
  void observeValueForKeyPath(const String& keyPath, Object&, const Dictionary& change,
                              void* context) override {
    EXPECT_EQ(keyPath, u"title");
    changes.push_back(change);
    contexts.push_back(context);
  }
};

Dictionary kindWith(std::initializer_list<Dictionary::Entry> entries) {
  Dictionary d{{u"kind", Value(1)}};
  for (auto& e : entries) d.set(e.first, e.second);
  return d;
}

TEST(ObservableTest, ChangeDictionaryFollowsTheOptions) {
  struct Case {
    const char* name;
    unsigned options;
    std::vector<Dictionary> expected;
  };
  const Case cases[] = {
      {"none", 0, {kindWith({})}},
      {"new", KeyValueObservingOptionNew, {kindWith({{u"new", Value(u"new")}})}},
      {"old", KeyValueObservingOptionOld, {kindWith({{u"old", Value(u"old")}})}},
      {"new and old",
       KeyValueObservingOptionNew | KeyValueObservingOptionOld,
       {kindWith({{u"new", Value(u"new")}, {u"old", Value(u"old")}})}},
      {"initial with new",
       KeyValueObservingOptionInitial | KeyValueObservingOptionNew,
       {kindWith({{u"new", Value(u"old")}}), kindWith({{u"new", Value(u"new")}})}},
      {"prior with old",
       KeyValueObservingOptionPrior | KeyValueObservingOptionOld,
       {kindWith({{u"old", Value(u"old")}, {u"notificationIsPrior", Value(true)}}),
        kindWith({{u"old", Value(u"old")}})}},
  };
  for (const auto& c : cases) {
    SCOPED_TRACE(c.name);
    auto model = std::make_shared<Model>();
    auto recorder = std::make_shared<Recorder>();
    int context = 0;
    model->addObserver(recorder, u"title", c.options, &context);
    model->setTitle(u"new");
    EXPECT_EQ(recorder->changes, c.expected);
    for (void* seen : recorder->contexts) EXPECT_EQ(seen, &context);
  }
}

TEST(ObservableTest, RemovedAndDeadObserversAreNotCalled) {
  auto model = std::make_shared<Model>();
  auto kept = std::make_shared<Recorder>();
  auto removed = std::make_shared<Recorder>();
  auto dead = std::make_shared<Recorder>();
  model->addObserver(kept, u"title", 0);
  model->addObserver(removed, u"title", 0);
  model->addObserver(dead, u"title", 0);
  EXPECT_TRUE(model->removeObserver(removed.get(), u"title"));
  EXPECT_FALSE(model->removeObserver(removed.get(), u"title"));
  dead.reset();
  EXPECT_EQ(model->observerCount(u"title"), 1u);
  model->setTitle(u"new");
  EXPECT_EQ(kept->changes.size(), 1u);
  EXPECT_TRUE(removed->changes.empty());
}

TEST(ObservableTest, RemovalByContextTakesTheMatchingRegistration) {
  auto model = std::make_shared<Model>();
  auto recorder = std::make_shared<Recorder>();
  int first = 0, second = 0;
  model->addObserver(recorder, u"title", 0, &first);
  model->addObserver(recorder, u"title", 0, &second);
  EXPECT_TRUE(model->removeObserver(recorder.get(), u"title", &first));
  model->setTitle(u"new");
  ASSERT_EQ(recorder->contexts.size(), 1u);
  EXPECT_EQ(recorder->contexts[0], &second);
}

// Records every call with its key path, from any thread.
struct PathRecorder : KeyValueObserver {
  std::mutex mutex;
  std::vector<String> keyPaths;
  std::vector<Dictionary> changes;
  void observeValueForKeyPath(const String& keyPath, Object&, const Dictionary& change,
                              void*) override {
    std::lock_guard lock(mutex);
    keyPaths.push_back(keyPath);
    changes.push_back(change);
  }
};

// root.child.child.title, each step an observable model, plus a dictionary.
struct Chain {
  std::shared_ptr<test::Model> root = std::make_shared<test::Model>();
  std::shared_ptr<test::Model> middle = std::make_shared<test::Model>();
  std::shared_ptr<test::Model> leaf = std::make_shared<test::Model>();
  Chain() {
    leaf->set(u"title", Value(u"leaf"));
    middle->set(u"child", Value(leaf));
    root->set(u"child", Value(middle));
    root->set(u"title", Value(u"root"));
    root->set(u"dict", Value(Dictionary{{u"inner", Value(1)}, {u"", Value(2)}}));
  }
};

TEST(ObservableTest, ValueForKeyPathWalksObservablesAndDictionaries) {
  const struct {
    const char16_t* path;
    std::optional<Value> expected;
  } cases[] = {
      {u"title", Value(u"root")},
      {u"child.child.title", Value(u"leaf")},  // depth 3
      {u"child.child.title.x", std::nullopt},  // one past: a string has no keys
      {u"child.missing", std::nullopt},
      {u"dict.inner", Value(1)},
      {u"dict.", Value(2)},  // an empty key is a key
      {u"", std::nullopt},
      {u"child..title", std::nullopt},
  };
  Chain chain;
  for (const auto& c : cases) {
    SCOPED_TRACE(toUTF8(c.path));
    EXPECT_EQ(chain.root->valueForKeyPath(c.path), c.expected);
  }
}

TEST(ObservableTest, DottedPathsHearEveryStepAndFollowReplacements) {
  struct Case {
    const char* name;
    std::function<void(Chain&)> change;
    std::optional<Value> expectedOld, expectedNew;  // absent: no call
  };
  const Case cases[] = {
      {"the leaf's value", [](Chain& c) { c.leaf->set(u"title", Value(u"L2")); }, Value(u"leaf"),
       Value(u"L2")},
      {"the middle step replaced",
       [](Chain& c) {
         auto other = std::make_shared<test::Model>();
         auto otherLeaf = std::make_shared<test::Model>();
         otherLeaf->set(u"title", Value(u"other"));
         other->set(u"child", Value(otherLeaf));
         c.root->set(u"child", Value(other));
       },
       Value(u"leaf"), Value(u"other")},
      {"the last step replaced",
       [](Chain& c) {
         auto otherLeaf = std::make_shared<test::Model>();
         otherLeaf->set(u"title", Value(u"new leaf"));
         c.middle->set(u"child", Value(otherLeaf));
       },
       Value(u"leaf"), Value(u"new leaf")},
      {"a step cut", [](Chain& c) { c.middle->set(u"child", Value()); }, Value(u"leaf"), Value()},
      {"another key of a step", [](Chain& c) { c.leaf->set(u"subtitle", Value(1)); }, std::nullopt,
       std::nullopt},
  };
  for (const auto& c : cases) {
    SCOPED_TRACE(c.name);
    Chain chain;
    auto recorder = std::make_shared<PathRecorder>();
    chain.root->addObserver(recorder, u"child.child.title",
                            KeyValueObservingOptionNew | KeyValueObservingOptionOld);
    c.change(chain);
    if (!c.expectedNew) {
      EXPECT_TRUE(recorder->changes.empty());
      continue;
    }
    ASSERT_EQ(recorder->changes.size(), 1u);
    EXPECT_EQ(recorder->keyPaths[0], u"child.child.title");
    EXPECT_EQ(*recorder->changes[0].find(u"old"), *c.expectedOld);
    EXPECT_EQ(*recorder->changes[0].find(u"new"), *c.expectedNew);
  }
}

TEST(ObservableTest, ADottedPathLeavesTheOldStepsAndFollowsTheNewOnes) {
  Chain chain;
  auto recorder = std::make_shared<PathRecorder>();
  chain.root->addObserver(recorder, u"child.child.title",
                          KeyValueObservingOptionPrior | KeyValueObservingOptionNew);
  auto replacement = std::make_shared<test::Model>();
  chain.root->set(u"child", Value(replacement));  // no leaf yet: new is null
  chain.leaf->set(u"title", Value(u"unheard"));   // off the path now
  auto leaf = std::make_shared<test::Model>();
  replacement->set(u"child", Value(leaf));
  leaf->set(u"title", Value(u"heard"));
  ASSERT_EQ(recorder->changes.size(), 6u);  // three changes, each with its prior call
  EXPECT_EQ(*recorder->changes[1].find(u"new"), Value());
  EXPECT_EQ(*recorder->changes[5].find(u"new"), Value(u"heard"));
  EXPECT_EQ(chain.middle->observerCount(u"child"), 0u);
  EXPECT_EQ(chain.leaf->observerCount(u"title"), 0u);
  EXPECT_TRUE(chain.root->removeObserver(recorder.get(), u"child.child.title"));
  EXPECT_EQ(leaf->observerCount(u"title"), 0u);
  EXPECT_EQ(chain.root->observerCount(u"child"), 0u);
}

TEST(ObservableTest, ADottedPathWhoseObserverDiedLeavesItsStepsAtTheNextChange) {
  Chain chain;
  auto recorder = std::make_shared<PathRecorder>();
  chain.root->addObserver(recorder, u"child.child.title", 0);
  recorder.reset();  // and the root is never touched again
  chain.leaf->set(u"title", Value(u"changed"));
  EXPECT_EQ(chain.leaf->observerCount(u"title"), 0u);
  EXPECT_EQ(chain.middle->observerCount(u"child"), 0u);
}

TEST(ObservableTest, RemovalDuringDeliveryStopsTheRemovedObserver) {
  struct Remover : KeyValueObserver {
    Observable* model = nullptr;
    KeyValueObserver* victim = nullptr;
    void observeValueForKeyPath(const String&, Object&, const Dictionary&, void*) override {
      model->removeObserver(victim, u"title");
      model->removeObserver(this, u"title");
    }
  };
  auto model = std::make_shared<Model>();
  auto remover = std::make_shared<Remover>();
  auto victim = std::make_shared<Recorder>();
  remover->model = model.get();
  remover->victim = victim.get();
  model->addObserver(remover, u"title", 0);
  model->addObserver(victim, u"title", 0);
  model->setTitle(u"new");
  EXPECT_TRUE(victim->changes.empty());
  EXPECT_EQ(model->observerCount(u"title"), 0u);
}

TEST(ObservableTest, ANewObserverAtADeadOnesAddressIsRemovedAsItself) {
  test::FixedAddress slot(0x300000000);
  if (!slot.get()) GTEST_SKIP() << "the fixed address is taken";
  auto model = std::make_shared<Model>();
  int deadContext = 0, liveContext = 0;
  auto dead = slot.make<Recorder>();
  model->addObserver(dead, u"title", 0, &deadContext);
  dead.reset();
  auto live = slot.make<Recorder>();
  model->addObserver(live, u"title", 0, &liveContext);
  // The dead registration, with its context, is not this observer's.
  EXPECT_FALSE(model->removeObserver(live.get(), u"title", &deadContext));
  model->setTitle(u"new");
  EXPECT_EQ(live->changes.size(), 1u);
  EXPECT_TRUE(model->removeObserver(live.get(), u"title", &liveContext));
}

TEST(ObservableTest, RegistrationAndRemovalFromOtherThreadsDuringChanges) {
  constexpr int kThreads = 3;
  constexpr int kRounds = 300;
  Chain chain;
  std::atomic<bool> stop{false};
  std::thread changer([&] {
    for (int i = 0; !stop; ++i) {
      chain.leaf->set(u"title", Value(i));
      if (i % 7 == 0) chain.middle->set(u"child", Value(chain.leaf));
    }
  });
  std::vector<std::thread> threads;
  for (int t = 0; t < kThreads; ++t) {
    threads.emplace_back([&] {
      for (int i = 0; i < kRounds; ++i) {
        auto recorder = std::make_shared<PathRecorder>();
        chain.root->addObserver(recorder, u"child.child.title", KeyValueObservingOptionNew);
        chain.leaf->addObserver(recorder, u"title", KeyValueObservingOptionOld);
        if (i % 2) {
          chain.root->removeObserver(recorder.get(), u"child.child.title");
          chain.leaf->removeObserver(recorder.get(), u"title");
        }  // else the recorder dies registered
      }
    });
  }
  for (auto& thread : threads) thread.join();
  stop = true;
  changer.join();
  // One more change reaches the paths whose observers died registered; they
  // leave every step.
  chain.leaf->set(u"title", Value(u"last"));
  EXPECT_EQ(chain.leaf->observerCount(u"title"), 0u);
  EXPECT_EQ(chain.middle->observerCount(u"child"), 0u);
}

}  // namespace
}  // namespace lx
