#include <gtest/gtest.h>

#include <memory>

#include "vantorcore/platform/Log.h"
#include "vantorcore/platform/Object.h"

namespace lx {
namespace {

// Counts how often `%@` asks it for its description.
class CountingObject : public Object {
 public:
  String description() const override {
    ++descriptions;
    return u"counted";
  }
  mutable int descriptions = 0;
};

// Puts the sink that was installed before the test back afterwards.
class DiscardingLog : public testing::Test {
 protected:
  void TearDown() override { setLogSink(std::move(previous_)); }
  LogSink previous_ = setLogSink(nullptr);
};

TEST_F(DiscardingLog, DropsEveryFormOfLineUntilReplaced) {
  ScopedLogCapture capture;
  LogSink capturing = discardLogLines();
  EXPECT_TRUE(logLinesDiscarded());
  logLine(u"literal");
  logLine(String(u"owned"));
  logLine(StringView(u"viewed"));
  logFormat(u"formatted %d", 1);
  LXConditionFailed(u"condition");
  setLogSink(std::move(capturing));
  EXPECT_FALSE(logLinesDiscarded());
  logLine(u"kept");
  EXPECT_EQ(capture.lines(), std::vector<String>{u"kept"});
}

TEST_F(DiscardingLog, FormatsNothingWhileDiscarding) {
  const auto object = std::make_shared<CountingObject>();
  discardLogLines();
  logFormat(u"%@ : status: %d", object, 0);
  EXPECT_EQ(object->descriptions, 0);

  ScopedLogCapture capture;
  logFormat(u"%@ : status: %d", object, 0);
  EXPECT_EQ(object->descriptions, 1);
  EXPECT_EQ(capture.lines(), std::vector<String>{u"counted : status: 0"});
}

TEST_F(DiscardingLog, OnlyTheDiscardingSinkSkipsTheSink) {
  struct Case {
    const char* name;
    LogSink sink;
    bool discarded;
  } cases[] = {
      {"DiscardLogLines", DiscardLogLines{}, true},
      {"a copy of it", LogSink(LogSink(DiscardLogLines{})), true},
      {"a lambda that drops lines", [](const String&) {}, false},
      {"standard error", nullptr, false},
  };
  for (auto& c : cases) {
    SCOPED_TRACE(c.name);
    setLogSink(c.sink);
    EXPECT_EQ(logLinesDiscarded(), c.discarded);
  }
}

TEST_F(DiscardingLog, EveryFormOfLineReachesARealSink) {
  ScopedLogCapture capture;
  const String owned = u"owned";
  logLine(owned);
  logLine(StringView(u"viewed text").substr(0, 6));
  logLine(u"literal");
  logLine(u"built " + owned);
  LXConditionFailed(u"x");
  EXPECT_EQ(capture.lines(), (std::vector<String>{u"owned", u"viewed", u"literal", u"built owned",
                                                  u"CONDITION FAILED: x"}));
}

}  // namespace
}  // namespace lx
