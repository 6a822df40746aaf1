// The formatter-free RFC 1123 path must be invisible: every text and date it
// produces is checked against ICU's formatter with the same settings.
#include <gtest/gtest.h>

#include <cmath>
#include <ctime>
#include <iomanip>
#include <limits>
#include <memory>
#include <random>

#include "text/RFC1123Date.h"
#include "vantorcore/platform/DateFormatter.h"
#include "vantorcore/text/Date+Conversions.h"
#include "vantorcore/text/LXRFC2616DateFormatter.h"

namespace lx {
namespace {

constexpr double kDay = 86400;
constexpr double kFirstFastSecond = -12212553600;  // 1583-01-01 00:00:00
constexpr double kEndFastSecond = 253402300800;    // 10000-01-01 00:00:00

std::unique_ptr<DateFormatter> icuFormatter(const char* locale, StringView pattern) {
  auto f = std::make_unique<DateFormatter>();
  f->setTimeZone(u"GMT");
  f->setLocale(locale);
  f->setDateFormat(pattern);
  return f;
}

// What `LXRFC2616DateFormatter` and `lx_rfc1123String` wrote before they
// had a path of their own.
const DateFormatter& icuHTTPFormatter() {
  static const auto f = icuFormatter("en_US_POSIX", u"EEE, dd MMM yyyy HH:mm:ss z");
  return *f;
}
const DateFormatter& icuSharedStringFormatter() {
  static const auto f = icuFormatter("en_US", u"EEE',' dd MMM yyyy HH':'mm':'ss 'GMT'");
  return *f;
}

// ICU's reading: the own format, then the two fallbacks.
std::optional<Date> icuRead(StringView text) {
  const auto formatter = LXRFC2616DateFormatter::defaultFormatter();
  if (auto date = icuHTTPFormatter().dateFromString(text)) return date;
  if (auto date = formatter->dateFormatterForRFC850().dateFromString(text)) return date;
  return formatter->dateFormatterForAsctime().dateFromString(text);
}

// Checks every writer and reader on one date against ICU.
void expectSameAsICU(double seconds) {
  SCOPED_TRACE(testing::Message() << std::setprecision(17) << seconds);
  const Date date(seconds);
  const String expected = icuHTTPFormatter().stringFromDate(date);
  EXPECT_EQ(LXRFC2616DateFormatter::defaultFormatter()->stringFromDate(date), expected);
  EXPECT_EQ(lx_rfc1123String(date), icuSharedStringFormatter().stringFromDate(date));
  // Inside its range the own path must answer whole seconds, or the checks
  // above prove nothing. (It leaves to ICU the odd fraction whose
  // millisecond arithmetic rounds onto a day boundary.)
  const bool fast = seconds >= kFirstFastSecond && seconds < kEndFastSecond;
  if (fast && seconds == std::floor(seconds)) {
    EXPECT_TRUE(detail::rfc1123StringFromDate(date));
  } else if (!fast) {
    EXPECT_FALSE(detail::rfc1123StringFromDate(date));
  }
  if (expected.empty()) return;
  EXPECT_EQ(LXRFC2616DateFormatter::defaultFormatter()->dateFromString(expected),
            icuRead(expected));
  if (fast) {
    EXPECT_EQ(detail::rfc1123DateFromString(expected), icuRead(expected));
  }
}

TEST(RFC1123FastPath, EdgesWriteAndReadAsICUDoes) {
  struct Case {
    double seconds;
    const char16_t* text;  // null: whatever ICU writes
  } cases[] = {
      {0, u"Thu, 01 Jan 1970 00:00:00 GMT"},
      {784111777, u"Sun, 06 Nov 1994 08:49:37 GMT"},
      {0.9999999, u"Thu, 01 Jan 1970 00:00:00 GMT"},
      {-0.5, u"Wed, 31 Dec 1969 23:59:59 GMT"},  // fractions go toward the past
      {-1e-300, u"Wed, 31 Dec 1969 23:59:59 GMT"},
      {951782400, u"Tue, 29 Feb 2000 00:00:00 GMT"},
      {-2203891200, u"Thu, 01 Mar 1900 00:00:00 GMT"},
      {4107542400, u"Mon, 01 Mar 2100 00:00:00 GMT"},
      {kFirstFastSecond, u"Sat, 01 Jan 1583 00:00:00 GMT"},
      {kFirstFastSecond - 1, u"Fri, 31 Dec 1582 23:59:59 GMT"},
      // ICU's calendar is Julian before 1582-10-15: ten days vanish.
      {-12219292800, u"Fri, 15 Oct 1582 00:00:00 GMT"},
      {-12219292801, u"Thu, 04 Oct 1582 23:59:59 GMT"},
      {-62135596800, u"Mon, 03 Jan 0001 00:00:00 GMT"},
      {kEndFastSecond - 0.001, u"Fri, 31 Dec 9999 23:59:59 GMT"},
      {kEndFastSecond, u"Sat, 01 Jan 10000 00:00:00 GMT"},
      {1e17, u""},  // beyond ICU's calendar
      {-1e17, u""},
      {std::numeric_limits<double>::infinity(), u""},
      {std::numeric_limits<double>::quiet_NaN(), nullptr},
  };
  for (const auto& c : cases) {
    SCOPED_TRACE(c.text ? toUTF8(c.text) : "NaN");
    if (c.text) {
      EXPECT_EQ(icuHTTPFormatter().stringFromDate(Date(c.seconds)), c.text);
    }
    expectSameAsICU(c.seconds);
  }
}

TEST(RFC1123FastPath, MonthEndsOfLeapAndCenturyYears) {
  for (const int year : {1583, 1600, 1700, 1800, 1900, 1970, 2000, 2024, 2100, 2400, 9999}) {
    for (int month = 1; month <= 12; ++month) {
      // The first second of the month and the last of the month before.
      std::tm tm{};
      tm.tm_mday = 1;
      tm.tm_mon = month - 1;
      tm.tm_year = year - 1900;
      const auto start = static_cast<double>(timegm(&tm));
      expectSameAsICU(start);
      expectSameAsICU(start - 1);
    }
  }
}

TEST(RFC1123FastPath, RandomDatesWriteAndReadAsICUDoes) {
  std::mt19937_64 random(20261121);
  // A margin of a century on both sides crosses both ends of the own path.
  std::uniform_real_distribution<double> seconds(kFirstFastSecond - 36500 * kDay,
                                                 kEndFastSecond + 36500 * kDay);
  std::uniform_int_distribution<int> wholeOrNot(0, 1);
  for (int i = 0; i < 20000; ++i) {
    const double s = seconds(random);
    expectSameAsICU(wholeOrNot(random) ? std::floor(s) : s);
    if (HasFailure()) return;
  }
}

TEST(RFC1123FastPath, TextsTheOwnReaderLeavesToICU) {
  // ICU's strict mode still ignores the weekday, case and extra spaces and
  // takes any zone; the own reader leaves all of that, and every refusal, to
  // ICU.
  struct Case {
    const char16_t* text;
    std::optional<double> seconds;
  } cases[] = {
      {u"Mon, 06 Nov 1994 08:49:37 GMT", 784111777},
      {u"sun, 06 nov 1994 08:49:37 gmt", 784111777},
      {u"Sun,  06 Nov 1994 08:49:37 GMT", 784111777},
      {u"Sun, 06 Nov 1994 8:49:37 GMT", 784111777},
      {u"Sun, 06 Nov 1994 08:49:37 UTC", 784111777},
      {u"Sun, 06 Nov 1994 08:49:37 PST", 784140577},
      {u"Sun, 06 Nov 1994 08:49:37 GMT+01:00", 784108177},
      {u"Sun, 06 Nov 0094 08:49:37 GMT", -59174205023},
      {u"Sun, 06 Nov 12345 08:49:37 GMT", 327430111777},
      {u"Thu, 04 Oct 1582 23:59:59 GMT", -12219292801},
      {u"Sunday, 06-Nov-94 08:49:37 GMT", 784111777},
      {u"Sun Nov 06 08:49:37 1994", 784111777},
      {u"Sun, 6 Nov 1994 08:49:37 GMT", std::nullopt},
      {u"Thu, 29 Feb 1900 08:49:37 GMT", std::nullopt},
      {u"Sun, 06 Nov 1994 24:00:00 GMT", std::nullopt},
      {u"Sun, 06 Nov 1994 08:49:60 GMT", std::nullopt},
      {u"Sat, 01 Jan 0000 00:00:00 GMT", std::nullopt},
      {u"Sun, 06 Nov 1994 08:49:37 GM", std::nullopt},
      {u"Sun, 06 Nov 1994 08:49:37 GMT ", std::nullopt},
      {u"Sun, 06 Nov 1994 08:49:37 GM\xD800", std::nullopt},
      {u"", std::nullopt},
      {u"soon", std::nullopt},
      {u"Sun, 06 Nov 1994 08:49:37 GMT trailing", std::nullopt},
      {u"Sun, 32 Nov 1994 08:49:37 GMT", std::nullopt},
      {u"\xD800", std::nullopt},
  };
  for (const auto& c : cases) {
    SCOPED_TRACE(toUTF8(c.text));
    EXPECT_EQ(detail::rfc1123DateFromString(c.text), std::nullopt);
    const auto expected = c.seconds ? std::optional<Date>(Date(*c.seconds)) : std::nullopt;
    EXPECT_EQ(icuRead(c.text), expected);
    EXPECT_EQ(LXRFC2616DateFormatter::defaultFormatter()->dateFromString(c.text), expected);
  }
}

TEST(RFC1123FastPath, ChangedSettingsGoThroughICU) {
  struct Case {
    const char* name;
    void (*change)(DateFormatter&);
  } cases[] = {
      {"pattern", [](DateFormatter& f) { f.setDateFormat(u"yyyy-MM-dd HH:mm"); }},
      {"zone", [](DateFormatter& f) { f.setTimeZone(u"Europe/Berlin"); }},
      {"locale", [](DateFormatter& f) { f.setLocale("de_DE"); }},
  };
  const char16_t* http = u"Sun, 06 Nov 1994 08:49:37 GMT";
  for (const auto& c : cases) {
    SCOPED_TRACE(c.name);
    LXRFC2616DateFormatter changed;
    auto icu = icuFormatter("en_US_POSIX", u"EEE, dd MMM yyyy HH:mm:ss z");
    c.change(changed);
    c.change(*icu);
    const Date date(784111777);
    EXPECT_EQ(changed.stringFromDate(date), icu->stringFromDate(date));
    EXPECT_NE(changed.stringFromDate(date), http);
    const String text = icu->stringFromDate(date);
    EXPECT_EQ(changed.dateFromString(text), icu->dateFromString(text));
  }
}

}  // namespace
}  // namespace lx
