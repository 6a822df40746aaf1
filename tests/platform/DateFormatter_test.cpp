#include "vantorcore/platform/DateFormatter.h"

#include <gtest/gtest.h>

namespace lx {
namespace {

// 2026-11-24 13:05:09 UTC.
constexpr Date kAfternoon(1795525509.0);

TEST(DateFormatterTest, StylesFollowTheLocale) {
  using S = DateFormatterStyle;
  const struct {
    const char* locale;
    S date;
    S time;
    String text;
  } cases[] = {
      {"en_US", S::Short, S::Long, u"11/24/26, 1:05:09\u202fPM UTC"},
      {"en_US", S::Short, S::None, u"11/24/26"},
      {"en_US", S::None, S::Short, u"1:05\u202fPM"},
      {"en_US", S::Medium, S::Medium, u"Nov 24, 2026, 1:05:09\u202fPM"},
      {"en_US", S::Long, S::None, u"November 24, 2026"},
      {"en_US", S::Full, S::None, u"Tuesday, November 24, 2026"},
      {"de_DE", S::Short, S::Long, u"24.11.26, 13:05:09 UTC"},
      {"en_GB", S::Short, S::Medium, u"24/11/2026, 13:05:09"},
  };
  for (const auto& c : cases) {
    SCOPED_TRACE(toUTF8(c.text));
    DateFormatter formatter;
    formatter.setLocale(c.locale);
    formatter.setTimeZone(String(u"UTC"));
    formatter.setDateStyle(c.date);
    formatter.setTimeStyle(c.time);
    EXPECT_EQ(formatter.stringFromDate(kAfternoon), c.text);
  }
}

TEST(DateFormatterTest, APatternClearsTheStylesAndNoStyleUsesThePattern) {
  DateFormatter formatter;
  formatter.setLocale("en_US_POSIX");
  formatter.setTimeZone(String(u"UTC"));
  formatter.setDateStyle(DateFormatterStyle::Short);
  formatter.setDateFormat(u"yyyy-MM-dd");
  EXPECT_EQ(formatter.dateStyle(), DateFormatterStyle::None);
  EXPECT_EQ(formatter.stringFromDate(kAfternoon), u"2026-11-24");
  formatter.setTimeStyle(DateFormatterStyle::Short);
  EXPECT_EQ(formatter.stringFromDate(kAfternoon), u"1:05\u202fPM");
  formatter.setTimeStyle(DateFormatterStyle::None);
  EXPECT_EQ(formatter.stringFromDate(kAfternoon), u"2026-11-24");
}

}  // namespace
}  // namespace lx
