#include <gtest/gtest.h>

#include <cmath>

#include "vantorcore/text/String+NumericValueAdditions.h"

namespace lx {
namespace {

TEST(NumericValueAdditionsTest, UnsignedValuesReadLikeStrtoull) {
  struct Case {
    const char16_t* text;
    unsigned long long value;
  } cases[] = {
      {u"42abc", 42},
      {u"  \t7", 7},
      {u"+8", 8},
      {u"x", 0},
      {u"", 0},
      {u"0x1f", 0},  // base 10 only
      {u"-1", 18446744073709551615ull},
      {u"18446744073709551615", 18446744073709551615ull},
      {u"99999999999999999999", 18446744073709551615ull},  // saturates
      {u"١٢", 0},                                          // ASCII digits only
  };
  for (const auto& c : cases) {
    SCOPED_TRACE(toUTF8(c.text));
    EXPECT_EQ(lx_unsignedLongLongValue(c.text), c.value);
    EXPECT_EQ(lx_unsignedLongValue(c.text), static_cast<unsigned long>(c.value));
  }
}

TEST(NumericValueAdditionsTest, FloatsRoundToNearestInPOSIXStyle) {
  struct Case {
    double value;
    unsigned digits;
    const char16_t* text;
  } cases[] = {
      {3.14159, 2, u"3.14"},   {2.5, 0, u"3"},
      {-2.5, 0, u"-3"},        {0.125, 2, u"0.13"},
      {2.675, 2, u"2.68"},  // the decimal 2.675, not the binary 2.67499…
      {1.0, 3, u"1"},          {1234567.5, 1, u"1234567.5"},  // no grouping
      {0.1 + 0.2, 10, u"0.3"}, {1e-7, 3, u"0"},
      {42, 0, u"42"},          {INFINITY, 2, u"INF"},
      {NAN, 2, u"NaN"},        {1.5, 100000, u"1.5"},
  };
  for (const auto& c : cases) {
    SCOPED_TRACE(c.value);
    EXPECT_EQ(lx_stringWithFloat(c.value, c.digits), c.text);
  }
}

}  // namespace
}  // namespace lx
