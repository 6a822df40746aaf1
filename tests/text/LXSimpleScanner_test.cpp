#include "vantorcore/text/LXSimpleScanner.h"

#include <gtest/gtest.h>

namespace lx {
namespace {

TEST(LXSimpleScannerTest, ScanStringNeedsRoomBeforeTheEnd) {
  struct Case {
    const char16_t* text;
    std::size_t start;
    const char16_t* target;
    bool ok;
  } cases[] = {
      {u"abc", 0, u"ab", true},    {u"abc", 0, u"abc", false},  // would end exactly at the end
      {u"abc", 0, u"AB", false},                                // always case-sensitive
      {u"abc", 0, u"abcd", false}, {u"abc", 1, u"b", true},
      {u"abc", 2, u"c", false},    {u"", 0, u"a", false},
  };
  for (const auto& c : cases) {
    SCOPED_TRACE(toUTF8(c.text) + " / " + toUTF8(c.target));
    LXSimpleScanner scanner(c.text);
    if (c.start) {  // move to `start` by scanning up to the unit there
      const String unit(StringView(c.text).substr(c.start, 1));
      ASSERT_TRUE(scanner.scanUpToCharactersFromSet(
          CharacterSet::characterSetWithCharactersInString(unit)));
    }
    String into = u"untouched";
    EXPECT_EQ(scanner.scanString(c.target, &into), c.ok);
    EXPECT_EQ(into, c.ok ? String(c.target) : u"untouched");
    EXPECT_EQ(scanner.scanLocation(),
              c.start + (c.ok ? std::char_traits<char16_t>::length(c.target) : 0));
  }
}

TEST(LXSimpleScannerTest, RunsOfMembersAndNonMembers) {
  LXSimpleScanner scanner(u"abc  123");
  const CharacterSet spaces = CharacterSet::whitespaceCharacterSet();
  String word;
  EXPECT_FALSE(scanner.scanCharactersFromSet(spaces, &word));  // nothing is skipped
  EXPECT_TRUE(scanner.scanUpToCharactersFromSet(spaces, &word));
  EXPECT_EQ(word, u"abc");
  EXPECT_TRUE(scanner.scanPastCharactersFromSet(spaces));
  EXPECT_EQ(scanner.scanLocation(), 5u);
  EXPECT_TRUE(scanner.scanCharactersFromSet(CharacterSet::decimalDigitCharacterSet(), &word));
  EXPECT_EQ(word, u"123");
  EXPECT_TRUE(scanner.isAtEnd());
  EXPECT_FALSE(scanner.scanUpToCharactersFromSet(spaces));
}

TEST(LXSimpleScannerTest, TestsOneUnitAtATime) {
  // The letters set holds U+1D400 as a code point, but not its surrogate units.
  LXSimpleScanner scanner(u"\U0001D400a");
  EXPECT_FALSE(scanner.scanCharactersFromSet(CharacterSet::letterCharacterSet()));
  String prefix;
  EXPECT_TRUE(scanner.scanUpToCharactersFromSet(CharacterSet::letterCharacterSet(), &prefix));
  EXPECT_EQ(prefix, u"\U0001D400");
}

TEST(LXSimpleScannerTest, KeepsAPrivateCopy) {
  String text = u"ab";
  LXSimpleScanner scanner = LXSimpleScanner::scannerWithString(text);
  text = u"zz";
  EXPECT_TRUE(scanner.scanString(u"a"));
  EXPECT_EQ(scanner.string(), u"ab");
}

}  // namespace
}  // namespace lx
