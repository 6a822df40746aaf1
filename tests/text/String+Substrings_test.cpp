#include "vantorcore/text/String+Substrings.h"

#include <gtest/gtest.h>

namespace lx {
namespace {

TEST(SubstringSearchTest, ContainsNeedsAPresentNeedle) {
  struct Case {
    std::optional<String> needle;
    unsigned options;
    bool found;
  } cases[] = {
      {u"ell", 0, true},
      {u"ELL", 0, false},
      {u"ELL", CaseInsensitiveSearch, true},
      {std::nullopt, 0, false},
      {u"", 0, false},
      {u"He", AnchoredSearch, true},
      {u"el", AnchoredSearch, false},
  };
  for (const auto& c : cases) {
    SCOPED_TRACE(toUTF8(c.needle.value_or(u"(absent)")));
    EXPECT_EQ(lx_containsString(u"Hello", c.needle, c.options), c.found);
  }
}

TEST(SubstringSearchTest, CountsNonOverlappingForward) {
  struct Case {
    String haystack, needle;
    unsigned options;
    std::size_t count;
  } cases[] = {
      {u"aaaa", u"aa", 0, 2},
      {u"aaa", u"aa", 0, 1},
      {u"abcabc", u"c", 0, 2},
      {u"abc", u"x", 0, 0},
      {u"abc", u"", 0, 0},
      {u"aAaA", u"a", CaseInsensitiveSearch, 4},
      {u"aaaa", u"aa", BackwardsSearch, 2},
      {u"", u"a", 0, 0},
  };
  for (const auto& c : cases) {
    SCOPED_TRACE(toUTF8(c.haystack + u" / " + c.needle));
    EXPECT_EQ(lx_numberOfInstancesOfString(c.haystack, c.needle, c.options), c.count);
  }
}

TEST(SubstringDelimitedTest, SearchesFromTheRangeLocationToTheEnd) {
  struct Case {
    String string, open, close;
    unsigned options;
    Range range, out;
  } cases[] = {
      {u"a[bc]d", u"[", u"]", 0, {0, 6}, {2, 2}},
      {u"x(1)(2)", u"(", u")", 0, {3, 0}, {5, 1}},  // the length is not used
      {u"<A>x</a>",
       u"<a>",
       u"</A>",
       CaseInsensitiveSearch | BackwardsSearch | AnchoredSearch,
       {0, 1},
       {3, 1}},
      {u"[]", u"[", u"]", 0, {0, 2}, {1, 0}},
  };
  for (const auto& c : cases) {
    SCOPED_TRACE(toUTF8(c.string));
    EXPECT_EQ(lx_rangeOfSubstringDelimitedByString(c.string, c.open, c.close, c.options, c.range),
              c.out);
  }
}

TEST(SubstringDelimitedTest, MissingDelimitersGiveRangesOutsideTheString) {
  EXPECT_EQ(lx_rangeOfSubstringDelimitedByString(u"abc", u"[", u"]", 0, {0, 3}).location,
            Range::NotFound);
  const Range open = lx_rangeOfSubstringDelimitedByString(u"a[bc", u"[", u"]", 0, {0, 4});
  EXPECT_EQ(open.location, 2u);
  EXPECT_EQ(open.end(), Range::NotFound);
  EXPECT_FALSE(lx_rangeOfSubstringDelimitedByString(u"a[b]", u"[", u"]", 0, {99, 0}).found());
}

}  // namespace
}  // namespace lx
