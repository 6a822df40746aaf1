#include "vantorcore/text/String+Trim.h"

#include <gtest/gtest.h>

namespace lx {
namespace {

TEST(TrimAffixTest, RemovesOnceWhenPresent) {
  struct Case {
    String string, affix, withoutPrefix, withoutSuffix;
  } cases[] = {
      {u"foo.bar", u"foo.", u"bar", u"foo.bar"},
      {u"aab", u"a", u"ab", u"aab"},
      {u"a.txt.txt", u".txt", u"a.txt.txt", u"a.txt"},
      {u"abc", u"", u"abc", u"abc"},
      {u"ab", u"abc", u"ab", u"ab"},
  };
  for (const auto& c : cases) {
    SCOPED_TRACE(toUTF8(c.string + u" / " + c.affix));
    EXPECT_EQ(lx_stringByTrimmingPrefix(c.string, c.affix), c.withoutPrefix);
    EXPECT_EQ(lx_stringByTrimmingSuffix(c.string, c.affix), c.withoutSuffix);
  }
}

TEST(TrimSetTest, TrailingOnlyThenBothEnds) {
  const CharacterSet space = CharacterSet::whitespaceCharacterSet();
  struct Case {
    String in, trailing, both;
  } cases[] = {
      {u"  a  ", u"  a", u"a"}, {u"   ", u"", u""},          {u"a", u"a", u"a"},
      {u"", u"", u""},          {u" a b ", u" a b", u"a b"}, {u"\ta\t", u"\ta", u"a"},
  };
  for (const auto& c : cases) {
    SCOPED_TRACE(toUTF8(c.in));
    EXPECT_EQ(lx_stringByTrimmingCharactersInSet(c.in, space), c.trailing);
    EXPECT_EQ(lx_stringByTrimmingLeadingAndTrailingCharactersInSet(c.in, space), c.both);
  }
}

TEST(TrimSetTest, ReplacesAndDeletesMembers) {
  const CharacterSet dashes = CharacterSet::characterSetWithCharactersInString(u"-_😀");
  struct Case {
    String in, replacement, replaced, deleted;
  } cases[] = {
      {u"a-b_c", u" ", u"a b c", u"abc"},
      {u"a-b", u"--", u"a--b", u"ab"},  // the replacement is not searched again
      {u"abc", u"x", u"abc", u"abc"},
      {u"😀x😀", u"y", u"yxy", u"x"},  // a surrogate pair is one character
      {u"--", u"", u"", u""},
  };
  for (const auto& c : cases) {
    SCOPED_TRACE(toUTF8(c.in));
    EXPECT_EQ(lx_stringByReplacingCharactersInSet(c.in, dashes, c.replacement), c.replaced);
    EXPECT_EQ(lx_stringByDeletingCharactersInSet(c.in, dashes), c.deleted);
  }
}

TEST(TrimIndexTest, SubstringToIndexClampsToTheLength) {
  struct Case {
    std::size_t index;
    String out;
  } cases[] = {{0, u""}, {2, u"ab"}, {3, u"abc"}, {10, u"abc"}, {SIZE_MAX, u"abc"}};
  for (const auto& c : cases) {
    SCOPED_TRACE(c.index);
    EXPECT_EQ(lx_substringToIndex(u"abc", c.index), c.out);
  }
}

}  // namespace
}  // namespace lx
