#include "vantorcore/platform/Scanner.h"

#include <gtest/gtest.h>

#include <climits>
#include <cmath>

#include "vantorcore/platform/Exception.h"

namespace lx {
namespace {

TEST(ScannerTest, DefaultsSkipWhitespaceAndIgnoreCase) {
  Scanner scanner(u"  Hello\n world");
  EXPECT_FALSE(scanner.caseSensitive());
  String word;
  EXPECT_TRUE(scanner.scanString(u"hello", &word));
  EXPECT_EQ(word, u"Hello");  // the text as it stands in the string
  EXPECT_TRUE(scanner.scanString(u"WORLD"));
  EXPECT_TRUE(scanner.isAtEnd());
}

TEST(ScannerTest, FailedScansLeaveTheLocationAlone) {
  Scanner scanner(u"   abc");
  EXPECT_FALSE(scanner.scanString(u"x"));
  EXPECT_FALSE(scanner.scanCharactersFromSet(CharacterSet::decimalDigitCharacterSet()));
  int value = 7;
  EXPECT_FALSE(scanner.scanInt(&value));
  EXPECT_EQ(value, 7);
  EXPECT_EQ(scanner.scanLocation(), 0u);
  EXPECT_FALSE(scanner.isAtEnd());
}

TEST(ScannerTest, CaseSensitivityAndSkipSetAreSettable) {
  Scanner scanner(u"  AB");
  scanner.setCaseSensitive(true);
  EXPECT_FALSE(scanner.scanString(u"ab"));
  scanner.setCharactersToBeSkipped(std::nullopt);
  EXPECT_FALSE(scanner.scanString(u"AB"));
  String spaces;
  EXPECT_TRUE(scanner.scanCharactersFromSet(CharacterSet::whitespaceCharacterSet(), &spaces));
  EXPECT_EQ(spaces, u"  ");
  EXPECT_TRUE(scanner.scanString(u"AB"));
  EXPECT_TRUE(scanner.isAtEnd());
}

TEST(ScannerTest, ScanUpToStopsBeforeTheTarget) {
  Scanner scanner(u"key = value");
  String key, value;
  EXPECT_TRUE(scanner.scanUpToString(u"=", &key));
  EXPECT_EQ(key, u"key ");
  EXPECT_FALSE(scanner.scanUpToString(u"="));  // the target is right here
  EXPECT_TRUE(scanner.scanString(u"="));
  EXPECT_TRUE(scanner.scanUpToString(u";", &value));  // missing target: to the end
  EXPECT_EQ(value, u"value");
  EXPECT_FALSE(scanner.scanUpToString(u";"));

  Scanner sets(u"abc123");
  String letters;
  EXPECT_TRUE(sets.scanUpToCharactersFromSet(CharacterSet::decimalDigitCharacterSet(), &letters));
  EXPECT_EQ(letters, u"abc");
  EXPECT_EQ(sets.scanLocation(), 3u);
}

TEST(ScannerTest, SetScansKeepSurrogatePairsWhole) {
  Scanner scanner(u"😀😀x");
  String run;
  EXPECT_TRUE(scanner.scanUpToCharactersFromSet(CharacterSet::letterCharacterSet(), &run));
  EXPECT_EQ(run, u"😀😀");
  EXPECT_EQ(scanner.scanLocation(), 4u);
}

TEST(ScannerTest, IntegersSaturateAndNeedADigit) {
  struct Case {
    const char16_t* text;
    bool ok;
    long long value;
    std::size_t location;
  } cases[] = {
      {u"42abc", true, 42, 2},
      {u"  -7", true, -7, 4},
      {u"+15", true, 15, 3},
      {u"-", false, 0, 0},
      {u"x1", false, 0, 0},
      {u"9223372036854775807", true, LLONG_MAX, 19},
      {u"9223372036854775808", true, LLONG_MAX, 19},
      {u"-9223372036854775808", true, LLONG_MIN, 20},
      {u"-99999999999999999999", true, LLONG_MIN, 21},
  };
  for (const auto& c : cases) {
    SCOPED_TRACE(toUTF8(c.text));
    Scanner scanner(c.text);
    long long value = 0;
    EXPECT_EQ(scanner.scanLongLong(&value), c.ok);
    EXPECT_EQ(value, c.value);
    EXPECT_EQ(scanner.scanLocation(), c.location);
  }
  int small = 0;
  Scanner big(u"99999999999 -99999999999");
  EXPECT_TRUE(big.scanInt(&small));
  EXPECT_EQ(small, INT_MAX);
  EXPECT_TRUE(big.scanInt(&small));
  EXPECT_EQ(small, INT_MIN);
  std::int64_t integer = 0;
  EXPECT_TRUE(Scanner(u"-12").scanInteger(&integer));
  EXPECT_EQ(integer, -12);
  EXPECT_TRUE(Scanner(u"5").scanInt(nullptr));  // a null slot is fine
}

TEST(ScannerTest, DoublesReadOnlyWellFormedParts) {
  struct Case {
    const char16_t* text;
    bool ok;
    double value;
    std::size_t location;
  } cases[] = {
      {u"3.25", true, 3.25, 4}, {u".5", true, 0.5, 2}, {u"-1.5e3x", true, -1500, 6},
      {u"2e", true, 2, 1},      {u"2e+", true, 2, 1},  {u"7.", true, 7, 2},
      {u"1E-2", true, 0.01, 4}, {u"e5", false, 0, 0},  {u".", false, 0, 0},
      {u"-", false, 0, 0},      {u"1,5", true, 1, 1},
  };
  for (const auto& c : cases) {
    SCOPED_TRACE(toUTF8(c.text));
    Scanner scanner(c.text);
    double value = 0;
    EXPECT_EQ(scanner.scanDouble(&value), c.ok);
    EXPECT_DOUBLE_EQ(value, c.value);
    EXPECT_EQ(scanner.scanLocation(), c.location);
  }
  double huge = 0;
  EXPECT_TRUE(Scanner(u"1e999").scanDouble(&huge));
  EXPECT_EQ(huge, HUGE_VAL);
}

TEST(ScannerTest, HexIntegersTakeAnOptionalPrefix) {
  struct Case {
    const char16_t* text;
    bool ok;
    unsigned value;
    std::size_t location;
  } cases[] = {
      {u"ff", true, 255, 2},
      {u"0x1A", true, 26, 4},
      {u"0Xb!", true, 11, 3},
      {u"0xg", true, 0, 1},
      {u"g", false, 0, 0},
      {u"", false, 0, 0},
      {u"fffffffff", true, UINT_MAX, 9},
  };
  for (const auto& c : cases) {
    SCOPED_TRACE(toUTF8(c.text));
    Scanner scanner(c.text);
    unsigned value = 0;
    EXPECT_EQ(scanner.scanHexInt(&value), c.ok);
    EXPECT_EQ(value, c.value);
    EXPECT_EQ(scanner.scanLocation(), c.location);
  }
}

TEST(ScannerTest, LocationPastTheEndIsARangeError) {
  Scanner scanner(u"abc");
  scanner.setScanLocation(3);
  EXPECT_TRUE(scanner.isAtEnd());
  EXPECT_THROW(scanner.setScanLocation(4), RangeException);
  EXPECT_EQ(scanner.scanLocation(), 3u);
}

}  // namespace
}  // namespace lx
