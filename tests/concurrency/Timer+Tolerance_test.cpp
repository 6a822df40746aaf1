#include <gtest/gtest.h>

#include "vantorcore/concurrency/Timer+Tolerance.h"

namespace lx {
namespace {

TEST(TimerToleranceTest, FactorGrowsWithTheInterval) {
  struct Case {
    double interval;
    double tolerance;
  };
  const Case cases[] = {
      {0.33, 0.033}, {1, 0.1},   {180, 18},    {181, 36.2}, {300, 60},
      {301, 75.25},  {600, 150}, {601, 180.3}, {0, 0},
  };
  for (const auto& c : cases) {
    SCOPED_TRACE(c.interval);
    EXPECT_NEAR(lx_toleranceForTimeInterval(c.interval), c.tolerance, 1e-9);
  }
}

TEST(TimerToleranceTest, TolerantTimersCarryTheDefaultTolerance) {
  auto repeating = lx_tolerantTimerWithTimeInterval(200, true, [](Timer&) {});
  EXPECT_NEAR(repeating->tolerance(), 40, 1e-9);
  // A one-shot timer reports an interval of 0, hence no tolerance.
  auto once = lx_tolerantTimerWithTimeInterval(200, false, [](Timer&) {});
  EXPECT_EQ(once->tolerance(), 0);
  EXPECT_EQ(
      lx_tolerantTimerWithTimeInterval(1, std::make_shared<Object>(), "missing:", Value(), true),
      nullptr);
}

}  // namespace
}  // namespace lx
