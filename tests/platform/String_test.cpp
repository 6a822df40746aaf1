#include "vantorcore/platform/String.h"

#include <gtest/gtest.h>

#include "support/TestSupport.h"
#include "vantorcore/platform/Exception.h"
#include "vantorcore/platform/Value.h"

namespace lx {
namespace {

TEST(StringTest, UTF8RoundTripsWellFormedText) {
  const std::string samples[] = {"", "plain", "münchen", "日本語", "😀 emoji", std::string("a\0b", 3)};
  for (const auto& s : samples) {
    SCOPED_TRACE(s);
    EXPECT_TRUE(isValidUTF8(s));
    EXPECT_EQ(toUTF8(fromUTF8(s)), s);
  }
  EXPECT_EQ(fromUTF8("😀").size(), 2u);  // a surrogate pair
}

TEST(StringTest, IllFormedUTF8BecomesReplacementCharacters) {
  struct Case {
    std::string in;
    String out;
  } cases[] = {
      {"\xff", u"\uFFFD"},
      {"a\xc3", u"a\uFFFD"},                 // truncated sequence
      {"\xc0\xaf", u"\uFFFD\uFFFD"},         // overlong '/'
      {"\xed\xa0\x80", u"\uFFFD\uFFFD\uFFFD"},  // encoded surrogate
      {"\xe2\x82x", u"\uFFFDx"},             // maximal subpart then ASCII
      {"\xf4\x90\x80\x80", u"\uFFFD\uFFFD\uFFFD\uFFFD"},  // beyond U+10FFFF
  };
  for (const auto& c : cases) {
    SCOPED_TRACE(c.in);
    EXPECT_FALSE(isValidUTF8(c.in));
    EXPECT_EQ(fromUTF8(c.in), c.out);
  }
}

TEST(StringTest, LoneSurrogatesBecomeReplacementInUTF8) {
  const String lone = {u'a', 0xD800, u'b', 0xDC00};
  EXPECT_FALSE(isValidUTF16(lone));
  EXPECT_EQ(toUTF8(lone), "a\xEF\xBF\xBD" "b\xEF\xBF\xBD");
}

TEST(StringTest, FormatHandlesEachConversion) {
  const String name = u"disk";
  Value number(42);
  struct Case {
    String got;
    String want;
  } cases[] = {
      {stringWithFormat(u"%@ : status: %d", name, -3), u"disk : status: -3"},
      {stringWithFormat(u"%i|%u|%ld|%lu|%llu|%qu", 1, 2u, 3L, 4UL, 5ULL, 6ULL), u"1|2|3|4|5|6"},
      {stringWithFormat(u"%x %02x %02X %x", 255, 7, 171, -1), u"ff 07 AB ffffffff"},
      {stringWithFormat(u"%f %.2f", 1.5, 2.0), u"1.500000 2.00"},
      {stringWithFormat(u"%s and %%", "ütf8"), u"ütf8 and %"},
      {stringWithFormat(u"%@ %@", number, nullptr), u"42 (null)"},
      {stringWithFormat(u"[%5@][%-3d]", String(u"ab"), 7), u"[   ab][7  ]"},
      {stringWithFormat(u"missing %@"), u"missing "},
  };
  for (const auto& c : cases) EXPECT_EQ(c.got, c.want);
  EXPECT_TRUE(hasPrefix(stringWithFormat(u"%p", &name), u"0x"));
}

TEST(StringTest, CompareHonoursOptions) {
  struct Case {
    String a, b;
    unsigned options;
    ComparisonResult want;
  } cases[] = {
      {u"a", u"b", 0, ComparisonResult::Ascending},
      {u"B", u"a", 0, ComparisonResult::Ascending},
      {u"B", u"a", CaseInsensitiveSearch, ComparisonResult::Descending},
      {u"Straße", u"STRASSE", CaseInsensitiveSearch, ComparisonResult::Same},
      {u"e\u0301", u"\u00e9", 0, ComparisonResult::Same},
      {u"e\u0301", u"\u00e9", LiteralSearch, ComparisonResult::Ascending},
      {u"file9", u"file10", 0, ComparisonResult::Descending},
      {u"file9", u"file10", NumericSearch, ComparisonResult::Ascending},
      {u"file010", u"file10", NumericSearch, ComparisonResult::Same},
      {u"résumé", u"resume", DiacriticInsensitiveSearch, ComparisonResult::Same},
      {u"\uFF21", u"A", WidthInsensitiveSearch, ComparisonResult::Same},
      {u"", u"a", 0, ComparisonResult::Ascending},
  };
  for (const auto& c : cases) {
    SCOPED_TRACE(toUTF8(c.a) + " vs " + toUTF8(c.b));
    EXPECT_EQ(compare(c.a, c.b, c.options), c.want);
  }
}

TEST(StringTest, SearchHonoursOptionsAndRange) {
  struct Case {
    String haystack, needle;
    unsigned options;
    std::optional<Range> range;
    Range want;
  } cases[] = {
      {u"abcabc", u"bc", 0, {}, {1, 2}},
      {u"abcabc", u"bc", BackwardsSearch, {}, {4, 2}},
      {u"abcabc", u"BC", CaseInsensitiveSearch, {}, {1, 2}},
      {u"abcabc", u"bc", AnchoredSearch, {}, {}},
      {u"abcabc", u"bc", AnchoredSearch | BackwardsSearch, {}, {4, 2}},
      {u"abcabc", u"ab", 0, Range{1, 5}, {3, 2}},
      {u"abcabc", u"ca", 0, Range{0, 3}, {}},
      {u"ABC", u"", 0, {}, {}},
      {u"Résumé", u"resume", CaseInsensitiveSearch | DiacriticInsensitiveSearch, {}, {0, 6}},
      {u"xABx", u"ab", CaseInsensitiveSearch | AnchoredSearch | BackwardsSearch, {}, {}},
  };
  for (const auto& c : cases) {
    SCOPED_TRACE(toUTF8(c.haystack) + " / " + toUTF8(c.needle));
    EXPECT_EQ(rangeOfString(c.haystack, c.needle, c.options, c.range), c.want);
  }
  EXPECT_THROW(rangeOfString(u"abc", u"a", 0, Range{2, 5}), RangeException);
}

TEST(StringTest, SplitJoinReplaceAndCase) {
  EXPECT_EQ(componentsSeparatedByString(u"a  b", u" "), (std::vector<String>{u"a", u"", u"b"}));
  EXPECT_EQ(componentsSeparatedByString(u"", u","), (std::vector<String>{u""}));
  const std::vector<String> parts = {u"x", u"y"};
  EXPECT_EQ(componentsJoinedByString(parts, u", "), u"x, y");
  EXPECT_EQ(stringByReplacingOccurrences(u"aaa", u"aa", u"b"), u"ba");
  EXPECT_EQ(uppercaseString(u"straße"), u"STRASSE");
  EXPECT_EQ(lowercaseString(u"ÀB"), u"àb");
}

}  // namespace
}  // namespace lx
