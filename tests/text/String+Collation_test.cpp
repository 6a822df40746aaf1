#include <gtest/gtest.h>

#include "text/CollationFallback.h"
#include "vantorcore/platform/Log.h"
#include "vantorcore/text/String+Collation.h"

namespace lx {
namespace {

constexpr auto Asc = ComparisonResult::Ascending;
constexpr auto Same = ComparisonResult::Same;
constexpr auto Desc = ComparisonResult::Descending;

struct OrderCase {
  String a, b;
  ComparisonResult order;
};

TEST(VersionCompare, DocumentedOrder) {
  const String longDigits(100000, u'9'), lone(1, char16_t(0xD800));
  const OrderCase cases[] = {
      {u"1.9", u"1.10", Asc},
      {u"1.0b2", u"1.0", Asc},
      {u"1.0", u"1.0.1", Asc},
      {u"1.0", u"1.0.", Asc},
      {u"1.a", u"1.0", Asc},
      {u"1.02", u"1.2", Same},
      {u"abc", u"abd", Asc},
      {u"B", u"a", Asc},
      {u"", u"", Same},
      {u"1.10b3", u"1.10b3", Same},
      {u"2..0", u"2.0", Asc},
      {u"1.0b", u"1.0a", Desc},
      {u"1", u"", Desc},
      {u"b", u"", Asc},
      {u"1.0", u"1..", Desc},
      {u"10.15.7", u"10.15.10", Asc},
      // Numbers saturate at 32 bits: both overflow to the same value.
      {u"1.99999999999", u"1.88888888888", Same},
      {u"1.2147483646", u"1.99999999999", Asc},
      // Arabic-Indic digits form a number token whose value is 0.
      {u"1.\u0661", u"1.0", Same},
      {u"1.\u0661", u"1.a", Desc},
      {longDigits, longDigits, Same},
      {String(100000, u'.'), u".", Desc},
      {lone, lone, Same},
      {String(u"1\0a", 3), String(u"1\0b", 3), Asc},
  };
  for (const auto& c : cases) {
    SCOPED_TRACE(toUTF8(c.a.substr(0, 20)) + " vs " + toUTF8(c.b.substr(0, 20)));
    EXPECT_EQ(lx_versionCompare(c.a, c.b), c.order);
    EXPECT_EQ(lx_versionCompare(c.b, c.a),
              static_cast<ComparisonResult>(-static_cast<int>(c.order)));
  }
}

TEST(LocalizedStandardCompare, NaturalOrder) {
  const OrderCase cases[] = {
      {u"file9", u"File10", Asc}, {u"a", u"A", Same},  {u"a", u"b", Asc},
      {u"x 2", u"x 10", Asc},     {u"ａ", u"a", Same}, {u"é", u"e\u0301", Same},
  };
  for (const auto& c : cases) {
    SCOPED_TRACE(toUTF8(c.a) + " vs " + toUTF8(c.b));
    EXPECT_EQ(lx_localizedStandardCompare(c.a, StringView(c.b)), c.order);
    EXPECT_EQ(detail::localizedStandardCompareWithoutPlatformCollator(c.a, c.b), c.order);
  }
  EXPECT_EQ(lx_localizedStandardCompare(u"a", std::nullopt), Desc);
}

TEST(LocalizedStandardCompare, FallbackLogsEveryCall) {
  ScopedLogCapture capture;
  detail::localizedStandardCompareWithoutPlatformCollator(u"a", u"b");
  detail::localizedStandardCompareWithoutPlatformCollator(u"b", u"a");
  EXPECT_EQ(capture.lines(), (std::vector<String>{u"lx_localizedStandardCompare: : status: 0",
                                                  u"lx_localizedStandardCompare: : status: 0"}));
}

TEST(CollationKeys, OrderLikeTheCollatorAndLog) {
  auto collator = Collator::localizedStandardCollator();
  ASSERT_TRUE(collator);
  ScopedLogCapture capture;
  const Data k9 = lx_collationKeyForCollator(u"file9", *collator);
  const Data k10 = lx_collationKeyForCollator(u"File10", *collator);
  const Data long10 = lx_collationKeyForCollator(String(100, u'x') + u"10", *collator);
  EXPECT_EQ(lx_compareCollationKey(k9, k10), Asc);
  EXPECT_EQ(lx_compareWithCollationKey(k10, k9), Desc);
  EXPECT_EQ(lx_compareCollationKey(k9, k9), Same);
  EXPECT_EQ(lx_compareCollationKey(k9, long10), Asc);
  const auto lines = capture.lines();
  ASSERT_EQ(lines.size(), 10u);
  EXPECT_EQ(lines[0], u"lx_collationKeyForCollator: : status: 0");
  EXPECT_EQ(lines[6], u"lx_compareCollationKey:withCollationKey: : status: 0");
}

TEST(HFSFolding, KeepsLengthAndFolds) {
  struct Case {
    String in;
    String folded;
  } cases[] = {
      {u"ABC", u"abc"}, {u"Ä", u"a\u0308"}, {u"x\u200Cy", String(u"x\0y", 3)},
      {u"ΣΑΣ", u"σασ"}, {u"ＡＺ", u"ａｚ"}, {u"Ⅻ", u"ⅻ"},
      {u"", u""},
  };
  for (const auto& c : cases) {
    SCOPED_TRACE(toUTF8(c.in));
    const String folded = lx_stringByHFSExtendedFolding(c.in);
    EXPECT_EQ(folded, c.folded);
    EXPECT_EQ(folded.size(), lx_decomposedStringWithHFSExtendedMapping(c.in)->size());
  }
  EXPECT_EQ(lx_stringByHFSExtendedFolding(String(1, char16_t(0xDC00))), u"");
}

TEST(HFSFolding, DecompositionAndEquivalence) {
  EXPECT_EQ(lx_decomposedStringWithHFSExtendedMapping(u"é"), u"e\u0301");
  EXPECT_EQ(lx_decomposedStringWithHFSExtendedMapping(u"ℌ"), u"ℌ");  // U+210C kept
  EXPECT_EQ(lx_decomposedStringWithHFSExtendedMapping(u"\uF900"), u"\uF900");
  EXPECT_EQ(lx_decomposedStringWithHFSExtendedMapping(String(u"a\0b", 3)), u"a");
  EXPECT_EQ(lx_decomposedStringWithHFSExtendedMapping(String(1, char16_t(0xD800))), std::nullopt);
  ScopedLogCapture capture;
  EXPECT_TRUE(lx_isEqualToHFSExtendedString(u"Café", u"CAFE\u0301"));
  EXPECT_TRUE(lx_isEqualToHFSExtendedString(u"a\u200D", u"A"));
  EXPECT_FALSE(lx_isEqualToHFSExtendedString(u"Straße", u"STRASSE"));
  EXPECT_FALSE(lx_isEqualToHFSExtendedString(u"a", u"b"));
  EXPECT_TRUE(capture.contains(u"lx_isEqualToHFSExtendedString: : status: 0"));
  EXPECT_EQ(capture.lines().size(), 4u);
}

}  // namespace
}  // namespace lx
