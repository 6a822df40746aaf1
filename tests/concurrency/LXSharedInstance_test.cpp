#include "vantorcore/concurrency/LXSharedInstance.h"

#include <gtest/gtest.h>

#include <atomic>
#include <thread>
#include <vector>

namespace lx {
namespace {

class Registry : public LXSharedInstance<Registry> {
  friend class LXSharedInstance<Registry>;
  Registry() { ++constructed; }

 public:
  static inline std::atomic<int> constructed{0};
  static inline std::atomic<int> initialized{0};
  int value = 0;

 protected:
  void sharedInstanceInitialize() override {
    ++initialized;
    value = 7;
  }
};

class Other : public LXSharedInstance<Other> {
  friend class LXSharedInstance<Other>;
  Other() = default;
};

TEST(LXSharedInstanceTest, OneInstancePerClassMadeOnceUnderContention) {
  std::vector<std::thread> threads;
  std::vector<Registry*> seen(8);
  for (std::size_t i = 0; i < seen.size(); ++i) {
    threads.emplace_back([&, i] { seen[i] = Registry::sharedInstance().get(); });
  }
  for (auto& t : threads) t.join();
  for (auto* p : seen) EXPECT_EQ(p, Registry::sharedInstance().get());
  EXPECT_EQ(Registry::constructed, 1);
  EXPECT_EQ(Registry::initialized, 1);
  EXPECT_EQ(Registry::sharedInstance()->value, 7);
  EXPECT_NE(static_cast<void*>(Other::sharedInstance().get()),
            static_cast<void*>(Registry::sharedInstance().get()));
  // A second allocation hands back the first instance.
  EXPECT_EQ(Registry::init(), Registry::sharedInstance());
  EXPECT_EQ(Registry::constructed, 1);
}

TEST(LXSharedInstanceTest, InstanceOutlivesEveryReference) {
  std::weak_ptr<Other> weak = Other::sharedInstance();
  EXPECT_FALSE(weak.expired());
  EXPECT_EQ(Other::retainCount(), 9223372036854775807);
  EXPECT_EQ(Other::sharedInstance()->sharedAs<Other>(), Other::sharedInstance());
}

}  // namespace
}  // namespace lx
