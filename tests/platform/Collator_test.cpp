#include "vantorcore/platform/Collator.h"

#include <gtest/gtest.h>

#include "vantorcore/platform/DateFormatter.h"

namespace lx {
namespace {

TEST(CollatorOptions, StrengthAndNumbers) {
  struct Case {
    const char* name;
    Collator::Options options;
    const char16_t* a;
    const char16_t* b;
    ComparisonResult order;
  } cases[] = {
      {"literal digits", {}, u"x10", u"x9", ComparisonResult::Ascending},
      {"numeric", {.numeric = true}, u"x10", u"x9", ComparisonResult::Descending},
      {"case counts", {}, u"a", u"A", ComparisonResult::Ascending},
      {"case ignored", {.ignoreCase = true}, u"a", u"A", ComparisonResult::Same},
      {"accents count", {.ignoreCase = true}, u"é", u"e", ComparisonResult::Descending},
      {"accents ignored", {.ignoreDiacritics = true}, u"é", u"E", ComparisonResult::Same},
      {"punctuation counts", {}, u"a-b", u"ab", ComparisonResult::Ascending},
      {"punctuation ignored", {.ignorePunctuation = true}, u"a-b", u"ab", ComparisonResult::Same},
      {"canonical equivalence", {}, u"é", u"e\u0301", ComparisonResult::Same},
  };
  for (const auto& c : cases) {
    SCOPED_TRACE(c.name);
    int status = 99;
    auto collator = Collator::collatorWithLocale("en_US", c.options, &status);
    ASSERT_TRUE(collator);
    EXPECT_LE(status, 0);
    EXPECT_EQ(collator->compare(c.a, c.b), c.order);
    const Data ka = collator->sortKey(c.a), kb = collator->sortKey(c.b);
    EXPECT_EQ(ka < kb ? ComparisonResult::Ascending
                      : (kb < ka ? ComparisonResult::Descending : ComparisonResult::Same),
              c.order);
  }
}

TEST(CollatorOptions, StandardCollatorIsNaturalEvenInThePOSIXLocale) {
  EXPECT_EQ(localizedStandardCompare(u"File 9", u"file 10"), ComparisonResult::Ascending);
  EXPECT_EQ(localizedStandardCompare(u"B", u"a"), ComparisonResult::Descending);
}

TEST(DateFormatterTest, PatternLocaleAndZone) {
  DateFormatter f;
  f.setLocale("de_DE");
  f.setTimeZone(u"Europe/Berlin");
  f.setDateFormat(u"EEEE, d. MMMM yyyy HH:mm");
  EXPECT_EQ(f.stringFromDate(Date(0)), u"Donnerstag, 1. Januar 1970 01:00");
  EXPECT_EQ(f.dateFromString(u"Donnerstag, 1. Januar 1970 01:00"), Date(0));
}

TEST(DateFormatterTest, ParsingIsStrict) {
  DateFormatter f;
  f.setLocale("en_US_POSIX");
  f.setTimeZone(u"GMT");
  f.setDateFormat(u"yyyy-MM-dd HH:mm:ss");
  const char16_t* bad[] = {u"",
                           u"1970-01-01 00:00:00 trailing",
                           u"1970-13-01 00:00:00",
                           u"1970-01-32 00:00:00",
                           u"19x0-01-01 00:00:00",
                           u"1970-01-01"};
  for (const char16_t* text : bad) {
    SCOPED_TRACE(toUTF8(text));
    EXPECT_EQ(f.dateFromString(text), std::nullopt);
  }
  EXPECT_EQ(f.dateFromString(u"1970-01-02 00:00:01"), Date(86401));
}

TEST(DateFormatterTest, UnknownZoneActsAsGMTAndSettingsRebuild) {
  DateFormatter f;
  f.setLocale("en_US_POSIX");
  f.setTimeZone(u"No/Such_Zone");
  f.setDateFormat(u"HH:mm");
  EXPECT_EQ(f.stringFromDate(Date(3600)), u"01:00");
  f.setDateFormat(u"yyyy");
  EXPECT_EQ(f.stringFromDate(Date(0)), u"1970");
}

}  // namespace
}  // namespace lx
