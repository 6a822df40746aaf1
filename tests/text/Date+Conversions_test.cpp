#include <gtest/gtest.h>

#include <thread>

#include "vantorcore/platform/Clock.h"
#include "vantorcore/platform/Log.h"
#include "vantorcore/text/Date+Conversions.h"
#include "vantorcore/text/LXDurationValueTransformer.h"
#include "vantorcore/text/LXISO8601WithUTCDateFormatter.h"
#include "vantorcore/text/LXRFC2616DateFormatter.h"
#include "vantorcore/text/LXTenseString.h"

namespace lx {
namespace {

TEST(PosixTime, TimespecBothWays) {
  const timespec t = lx_timespec(Date(1.5));
  EXPECT_EQ(t.tv_sec, 1);
  EXPECT_EQ(t.tv_nsec, 500000000);
  const timespec before = lx_timespec(Date(-1.5));
  EXPECT_EQ(before.tv_sec, -1);
  EXPECT_EQ(before.tv_nsec, 0);  // dates before 1970 lose their fraction
  EXPECT_EQ(lx_dateWithTimespec(timespec{2, 250000000}), Date(2.25));
}

TEST(PosixTime, UTCDateTimeCountsFrom1904) {
  EXPECT_EQ(lx_dateWithUTCDateTime({0, 0, 0}), Date(-2082844800.0));
  EXPECT_EQ(lx_dateWithUTCDateTime({0, 2082844800u, 0x8000}), Date(0.5));
  EXPECT_EQ(lx_dateWithUTCDateTime({1, 0, 0}), Date(4294967296.0 - 2082844800.0));
}

TEST(PosixTime, MonotonicClockMovesForward) {
  const auto a = lx_nanoseconds();
  const auto b = lx_nanoseconds();
  EXPECT_LE(a, b);
  EXPECT_GT(lx_timeIntervalSinceFixedReferenceDate(), 0.0);
}

TEST(HTTPDates, DescriptionWithFormatUsesEnglishNames) {
  // Mid-1970 is 1970 and July in every time zone.
  EXPECT_EQ(lx_descriptionWithFormat(Date(200 * 86400), u"MMMM yyyy"), u"July 1970");
}

TEST(HTTPDates, OneFormatterPerThread) {
  auto mine = LXRFC2616DateFormatter::defaultFormatter();
  EXPECT_EQ(mine, LXRFC2616DateFormatter::defaultFormatter());
  std::shared_ptr<LXRFC2616DateFormatter> other;
  std::thread([&] { other = LXRFC2616DateFormatter::defaultFormatter(); }).join();
  EXPECT_NE(mine, other);
  EXPECT_EQ(&mine->dateFormatterForRFC850(), &mine->dateFormatterForRFC850());
}

TEST(ISO8601, WithAndWithoutMilliseconds) {
  auto formatter = LXISO8601WithUTCDateFormatter::defaultFormatter();
  EXPECT_EQ(formatter->dateFromString(u"2020-01-02T03:04:05+0000"), Date(1577934245));
  const auto fractional = formatter->dateFromString(u"2020-01-02T03:04:05.678+0000");
  ASSERT_TRUE(fractional);
  EXPECT_NEAR(fractional->timeIntervalSince1970(), 1577934245.678, 1e-6);
  EXPECT_EQ(formatter->dateFromString(u"2020-01-02T03:04:05+01:00"), Date(1577930645));
  EXPECT_EQ(formatter->dateFromString(u"2020-01-02"), std::nullopt);
  EXPECT_EQ(formatter->dateFromString(u"2020-13-02T03:04:05+0000"), std::nullopt);
}

class RelativeText : public testing::Test {
 protected:
  void SetUp() override { previous_ = Clock::setCurrent(clock_); }
  void TearDown() override { Clock::setCurrent(previous_); }
  Date ago(double seconds) const { return clock_->currentDate().addingTimeInterval(-seconds); }

  std::shared_ptr<ManualClock> clock_ = std::make_shared<ManualClock>();
  std::shared_ptr<Clock> previous_;
};

TEST_F(RelativeText, WholeUnitsAgo) {
  constexpr double kHour = 3600, kDay = 86400;
  struct Case {
    double secondsAgo;
    const char16_t* text;
  } cases[] = {
      {0, u"Today"},
      {23 * kHour, u"Today"},
      {26 * kHour, u"Yesterday"},
      {3 * kDay, u"3 days ago"},
      {8 * kDay, u"1 week ago"},
      {21 * kDay, u"3 weeks ago"},
      {70 * kDay, u"2 months ago"},
      {400 * kDay, u"1 year ago"},
      {3 * 366 * kDay, u"3 years ago"},
  };
  for (const auto& c : cases) {
    SCOPED_TRACE(c.secondsAgo);
    EXPECT_EQ(lx_relativeNaturalLanguageString(ago(c.secondsAgo)), c.text);
  }
}

TEST_F(RelativeText, FutureDatesAreReportedAndStillDescribed) {
  ScopedLogCapture capture;
  EXPECT_EQ(lx_relativeNaturalLanguageString(ago(-5000)), u"Today");
  EXPECT_TRUE(capture.contains(
      u"CONDITION FAILED: lx_relativeNaturalLanguageString doesn't support future dates (can be "
      u"added though)"));
}

TEST(DurationTransformer, RegisteredAndWritesUnitsOut) {
  auto transformer = ValueTransformer::valueTransformerForName(u"LXDurationValueTransformer");
  ASSERT_TRUE(transformer);
  EXPECT_EQ(transformer->transformedValueClass(), Value::Type::String);
  EXPECT_FALSE(transformer->allowsReverseTransformation());
  EXPECT_EQ(transformer->transformedValue(Value(3600)), Value(u"1 hour"));
  EXPECT_EQ(transformer->transformedValue(Value(3661.2)), Value(u"1 hour, 1 minute, 1 second"));
  EXPECT_EQ(transformer->transformedValue(Value(0)), Value(u"0 seconds"));
  EXPECT_EQ(transformer->transformedValue(Value(u"3600")), std::nullopt);
  EXPECT_EQ(transformer->transformedValue(Value()), std::nullopt);
}

TEST(TenseStrings, KeysAndCache) {
  auto tense = LXTenseString::tenseStringWithBaseLocalizedString(u"Open");
  EXPECT_EQ(tense->string(), u"Open");
  // Without a translation the bundle hands the key back.
  EXPECT_EQ(tense->present(), u"Open-present");
  EXPECT_EQ(tense->past(), u"Open-past");
  EXPECT_EQ(tense->future(), u"Open-future");
  EXPECT_EQ(tense->stringForTense(3), std::nullopt);
  EXPECT_EQ(LXTenseString::tenseStringWithBaseLocalizedString(u"Open"), tense);
  EXPECT_NE(LXTenseString::tenseStringWithBaseLocalizedString(u"Close"), tense);
}

}  // namespace
}  // namespace lx
