#include "vantorcore/web/LXAnalytics.h"

#include <gtest/gtest.h>

#include <atomic>
#include <chrono>
#include <limits>
#include <thread>

#include "vantorcore/platform/UserDefaults.h"

namespace lx {
namespace {

TEST(LXAnalyticsTest, BucketsAtEveryEdge) {
  struct Case {
    std::uint64_t count;
    const char16_t* label;
  } cases[] = {{0, u"0"},
               {1, u"1-5"},
               {5, u"1-5"},
               {6, u"6-10"},
               {10, u"6-10"},
               {11, u"11-15"},
               {15, u"11-15"},
               {16, u"16-20"},
               {20, u"16-20"},
               {21, u"20+"},
               {std::numeric_limits<std::uint64_t>::max(), u"20+"}};
  for (const auto& c : cases) {
    SCOPED_TRACE(c.count);
    EXPECT_EQ(LXAnalyticsBucketValue(c.count), c.label);
  }
}

class LXAnalyticsLogTest : public testing::Test {
 protected:
  ~LXAnalyticsLogTest() override {
    LXAnalyticsSetHandler(nullptr);
    defaults->removeObjectForKey(LXAnalyticsPrefKeyAllowDataCollection);
  }
  std::shared_ptr<UserDefaults> defaults = UserDefaults::standardUserDefaults();
};

TEST_F(LXAnalyticsLogTest, EventsReachTheHandlerOnlyWhenCollectionIsAllowed) {
  std::vector<String> seen;
  LXAnalyticsSetHandler([&](const String& event, const Dictionary& properties) {
    seen.push_back(event + u":" + properties[u"n"].description());
  });
  struct Case {
    std::optional<Value> allow;  // absent: unset
    bool delivered;
  } cases[] = {{std::nullopt, false},
               {Value(false), false},
               {Value(true), true},
               {Value(u"YES"), true},
               {Value(0), false}};
  for (const auto& c : cases) {
    seen.clear();
    if (c.allow) {
      defaults->setObject(*c.allow, LXAnalyticsPrefKeyAllowDataCollection);
    } else {
      defaults->removeObjectForKey(LXAnalyticsPrefKeyAllowDataCollection);
    }
    LXAnalyticsLogEvent(u"opened", Dictionary{{u"n", Value(3)}});
    EXPECT_EQ(seen, c.delivered ? std::vector<String>{u"opened:3"} : std::vector<String>{});
  }
  LXAnalyticsSetHandler(nullptr);
  seen.clear();
  LXAnalyticsLogEvent(u"opened", {});  // allowed, but nobody listens
  EXPECT_TRUE(seen.empty());
}

TEST_F(LXAnalyticsLogTest, SeveralThreadsLogAtOnce) {
  defaults->setObject(Value(true), LXAnalyticsPrefKeyAllowDataCollection);
  // Each call waits until the other is inside the handler too: only a
  // shared (reading) lock lets both in.
  std::atomic<int> inside{0};
  std::atomic<bool> bothMet{false};
  LXAnalyticsSetHandler([&](const String&, const Dictionary&) {
    ++inside;
    const auto giveUp = std::chrono::steady_clock::now() + std::chrono::seconds(10);
    while (inside.load() < 2 && std::chrono::steady_clock::now() < giveUp)
      std::this_thread::yield();
    if (inside.load() >= 2) bothMet = true;
  });
  std::thread a([] { LXAnalyticsLogEvent(u"a", {}); });
  std::thread b([] { LXAnalyticsLogEvent(u"b", {}); });
  a.join();
  b.join();
  EXPECT_TRUE(bothMet.load());
}

}  // namespace
}  // namespace lx
