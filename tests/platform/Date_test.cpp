#include "vantorcore/platform/Date.h"

#include <gtest/gtest.h>

#include <cmath>
#include <memory>

#include "vantorcore/platform/Clock.h"

namespace lx {
namespace {

TEST(DateTest, NowFollowsTheInstalledClock) {
  auto clock = std::make_shared<ManualClock>();
  Clock::setCurrent(clock);
  const struct {
    const char* name;
    double set;  // absent-as-NaN: advance instead
    double advance;
    double expected;
  } cases[] = {
      {"set", 1795509600.0, 0, 1795509600.0},
      {"advance", std::nan(""), 1.5, 1795509601.5},
      {"a negative advance is ignored", std::nan(""), -10, 1795509601.5},
      {"set back across midnight", 1795478399.0, 0, 1795478399.0},
  };
  for (const auto& c : cases) {
    SCOPED_TRACE(c.name);
    if (std::isnan(c.set)) {
      clock->advanceSeconds(c.advance);
    } else {
      clock->setCurrentDate(Date(c.set));
    }
    EXPECT_EQ(Date::now(), Date(c.expected));
    EXPECT_EQ(Date(c.expected + 2).timeIntervalSinceNow(), 2);
  }
  const Clock::TimePoint monotonic = clock->now();
  clock->setCurrentDate(Date(0));
  EXPECT_EQ(clock->now(), monotonic);  // timers keep their wait
  Clock::setCurrent(nullptr);
  EXPECT_GT(Date::now(), Date(1795478399.0 - 86400 * 365 * 10));
}

}  // namespace
}  // namespace lx
