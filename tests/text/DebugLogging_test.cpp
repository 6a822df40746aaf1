#include "vantorcore/text/DebugLogging.h"

#include <gtest/gtest.h>

#include <algorithm>

#include "vantorcore/platform/Log.h"
#include "vantorcore/platform/UserDefaults.h"

namespace lx {
namespace test {
bool debugLoggingInSecondUnit();
}  // namespace test
namespace {

TEST(DebugLoggingTest, EachSourceFileChecksOnceAndKeepsItsAnswer) {
  const auto defaults = UserDefaults::standardUserDefaults();
  ScopedLogCapture log;
  defaults->setObject(Value(true), u"DebugLogging");
  EXPECT_TRUE(LXDebugLoggingIsEnabled());
  EXPECT_TRUE(LXDebugLoggingIsEnabled());
  const auto lines = log.lines();
  EXPECT_EQ(std::count(lines.begin(), lines.end(), u"DEBUG LOGGING IS ON"), 1);

  defaults->setObject(Value(false), u"DebugLogging");
  EXPECT_TRUE(LXDebugLoggingIsEnabled());          // a later change is not seen
  EXPECT_FALSE(test::debugLoggingInSecondUnit());  // that file's first check
  defaults->setObject(Value(true), u"DebugLogging");
  EXPECT_FALSE(test::debugLoggingInSecondUnit());
  EXPECT_EQ(log.lines().size(), lines.size());  // nothing more was logged
  defaults->removeObjectForKey(u"DebugLogging");
}

}  // namespace
}  // namespace lx
