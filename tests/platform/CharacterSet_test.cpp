#include "vantorcore/platform/CharacterSet.h"

#include <gtest/gtest.h>

namespace lx {
namespace {

TEST(CharacterSetTest, StandardSetsHoldTheirCategories) {
  struct Case {
    const char* name;
    CharacterSet set;
    std::u32string in;
    std::u32string out;
  } cases[] = {
      {"whitespace", CharacterSet::whitespaceCharacterSet(), U" \t\u00A0\u3000",
       U"\n\r\u2028\u0085a"},
      {"whitespaceAndNewline", CharacterSet::whitespaceAndNewlineCharacterSet(),
       U" \t\n\v\f\r\u0085\u2028\u2029\u00A0", U"a_\u200B"},
      {"newline", CharacterSet::newlineCharacterSet(), U"\n\v\f\r\u0085\u2028\u2029", U" \t"},
      {"decimalDigit", CharacterSet::decimalDigitCharacterSet(), U"09\u0663\U0001D7CE",
       U"a\u00B2\u2163"},
      {"letter", CharacterSet::letterCharacterSet(), U"aZé\u0301\u65E5\U00010400", U"1 _-"},
      {"alphanumeric", CharacterSet::alphanumericCharacterSet(), U"a9\u00B2\u2163", U" _-."},
      {"punctuation", CharacterSet::punctuationCharacterSet(), U".,!?-_()\u00BF\u3002", U"+$a 1"},
      {"uppercase", CharacterSet::uppercaseLetterCharacterSet(), U"AÉ\u01C5\U00010400",
       U"a1\u01C6"},
      {"lowercase", CharacterSet::lowercaseLetterCharacterSet(), U"aß\u01C6\U00010428",
       U"A\u01C5 1"},
  };
  for (const auto& c : cases) {
    SCOPED_TRACE(c.name);
    for (char32_t ch : c.in)
      EXPECT_TRUE(c.set.contains(ch)) << std::hex << static_cast<unsigned>(ch);
    for (char32_t ch : c.out)
      EXPECT_FALSE(c.set.contains(ch)) << std::hex << static_cast<unsigned>(ch);
  }
}

TEST(CharacterSetTest, CharactersInStringCountsCodePoints) {
  const CharacterSet set = CharacterSet::characterSetWithCharactersInString(u"a😀\xD800");
  EXPECT_TRUE(set.contains(U'a'));
  EXPECT_TRUE(set.contains(U'😀'));
  EXPECT_TRUE(set.contains(0xD800));   // a lone surrogate is a member as it stands
  EXPECT_FALSE(set.contains(0xD83D));  // the pair's lead unit is not
  EXPECT_FALSE(set.contains(U'b'));
  EXPECT_EQ(CharacterSet::characterSetWithCharactersInString(u""), CharacterSet());
}

TEST(CharacterSetTest, RangesClipAtTheLastCodePoint) {
  const CharacterSet digits = CharacterSet::characterSetWithRange(U'0', 10);
  EXPECT_TRUE(digits.contains(U'0'));
  EXPECT_TRUE(digits.contains(U'9'));
  EXPECT_FALSE(digits.contains(U'/'));
  EXPECT_FALSE(digits.contains(U':'));
  EXPECT_EQ(CharacterSet::characterSetWithRange(U'a', 0), CharacterSet());
  const CharacterSet top = CharacterSet::characterSetWithRange(0x10FFF0, SIZE_MAX);
  EXPECT_TRUE(top.contains(0x10FFFF));
  EXPECT_FALSE(top.contains(0x110000));
  EXPECT_EQ(CharacterSet::characterSetWithRange(0x110000, 5), CharacterSet());
}

TEST(CharacterSetTest, InversionAndUnionAreExact) {
  const CharacterSet ab = CharacterSet::characterSetWithCharactersInString(u"ab");
  const CharacterSet inverted = ab.invertedSet();
  for (char32_t c : {U'\0', U'c', U'😀', char32_t{0x10FFFF}, char32_t{0xDC00}}) {
    EXPECT_TRUE(inverted.contains(c)) << std::hex << static_cast<unsigned>(c);
  }
  EXPECT_FALSE(inverted.contains(U'a'));
  EXPECT_FALSE(inverted.contains(0x110000));
  EXPECT_EQ(inverted.invertedSet(), ab);
  EXPECT_EQ(CharacterSet().invertedSet().invertedSet(), CharacterSet());

  const CharacterSet touching = CharacterSet::characterSetWithRange(U'a', 3).unionWith(
      CharacterSet::characterSetWithRange(U'd', 2));
  EXPECT_EQ(touching, CharacterSet::characterSetWithRange(U'a', 5));
  EXPECT_FALSE(touching.contains(U'f'));
}

TEST(CharacterSetTest, CopiesAreIndependentValues) {
  CharacterSet set = CharacterSet::decimalDigitCharacterSet();
  const CharacterSet copy = set;
  set = set.invertedSet();
  EXPECT_TRUE(copy.contains(U'5'));
  EXPECT_FALSE(set.contains(U'5'));
}

TEST(CharacterSetTest, CodePointAtSpansSurrogatePairs) {
  const String text = u"x😀";
  std::size_t length = 0;
  EXPECT_TRUE(CharacterSet::letterCharacterSet().containsCodePointAt(text, 0, &length));
  EXPECT_EQ(length, 1u);
  EXPECT_FALSE(CharacterSet::letterCharacterSet().containsCodePointAt(text, 1, &length));
  EXPECT_EQ(length, 2u);
}

}  // namespace
}  // namespace lx
