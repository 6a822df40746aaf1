#include "vantorcore/platform/Observable.h"

#include <gtest/gtest.h>

#include <vector>

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

}  // namespace
}  // namespace lx
