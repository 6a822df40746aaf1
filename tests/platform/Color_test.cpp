#include "vantorcore/platform/Color.h"

#include <gtest/gtest.h>

#include <cmath>

#include "platform/ColorTestSupport.h"

namespace lx {
namespace {

using test::expectNear;

TEST(ColorTest, HueModelsRoundTrip) {
  const struct {
    const char* name;
    Color rgb;
    Color::HueComponents hsb;
    Color::HueComponents hsl;
  } cases[] = {
      {"black", Color::fromRGBA(0, 0, 0), {0, 0, 0}, {0, 0, 0}},
      {"white", Color::fromRGBA(1, 1, 1), {0, 0, 1}, {0, 0, 1}},
      {"red", Color::fromRGBA(1, 0, 0), {0, 1, 1}, {0, 1, 0.5}},
      {"green", Color::fromRGBA(0, 1, 0), {1.0 / 3, 1, 1}, {1.0 / 3, 1, 0.5}},
      {"blue", Color::fromRGBA(0, 0, 1), {2.0 / 3, 1, 1}, {2.0 / 3, 1, 0.5}},
      {"magenta, the last sector", Color::fromRGBA(1, 0, 1), {5.0 / 6, 1, 1}, {5.0 / 6, 1, 0.5}},
      {"grey", Color::fromRGBA(0.5, 0.5, 0.5), {0, 0, 0.5}, {0, 0, 0.5}},
      {"dark red", Color::fromRGBA(0.5, 0, 0), {0, 1, 0.5}, {0, 1, 0.25}},
  };
  for (const auto& c : cases) {
    SCOPED_TRACE(c.name);
    const Color::HueComponents hsb = c.rgb.hsb(), hsl = c.rgb.hsl();
    EXPECT_NEAR(hsb.hue, c.hsb.hue, 1e-9);
    EXPECT_NEAR(hsb.saturation, c.hsb.saturation, 1e-9);
    EXPECT_NEAR(hsb.value, c.hsb.value, 1e-9);
    EXPECT_NEAR(hsl.hue, c.hsl.hue, 1e-9);
    EXPECT_NEAR(hsl.saturation, c.hsl.saturation, 1e-9);
    EXPECT_NEAR(hsl.value, c.hsl.value, 1e-9);
    expectNear(Color::fromHSB(c.hsb), c.rgb);
    expectNear(Color::fromHSL(c.hsl), c.rgb);
  }
}

TEST(ColorTest, AdjustmentsWrapHueAndClampTheRest) {
  const Color red = Color::fromRGBA(1, 0, 0, 0.5);
  const struct {
    const char* name;
    Color actual;
    Color expected;
  } cases[] = {
      {"brightness -0.5", red.adjustedHSB({0, 0, -0.5}), Color::fromRGBA(0.5, 0, 0, 0.5)},
      {"hue +0.5 is cyan", red.adjustedHSB({0.5, 0, 0}), Color::fromRGBA(0, 1, 1, 0.5)},
      {"hue +1.5 wraps to cyan", red.adjustedHSB({1.5, 0, 0}), Color::fromRGBA(0, 1, 1, 0.5)},
      {"hue -0.5 wraps to cyan", red.adjustedHSB({-0.5, 0, 0}), Color::fromRGBA(0, 1, 1, 0.5)},
      {"brightness +1 stays at 1", red.adjustedHSB({0, 0, 1}), red},
      {"saturation -2 stops at grey", red.adjustedHSB({0, -2, 0}), Color::fromRGBA(1, 1, 1, 0.5)},
      {"lightness +0.25", red.adjustedHSL({0, 0, 0.25}), Color::fromRGBA(1, 0.5, 0.5, 0.5)},
      {"lightness +0.5 is white", red.adjustedHSL({0, 0, 0.5}), Color::fromRGBA(1, 1, 1, 0.5)},
      {"lightness -0.5 is black", red.adjustedHSL({0, 0, -0.5}), Color::fromRGBA(0, 0, 0, 0.5)},
  };
  for (const auto& c : cases) {
    SCOPED_TRACE(c.name);
    expectNear(c.actual, c.expected);
    EXPECT_TRUE(c.actual.name().empty());
  }
}

TEST(ColorTest, ComponentsAreClampedToTheUnitRange) {
  const struct {
    double in;
    double out;
  } cases[] = {{0, 0}, {1, 1}, {-0.0001, 0}, {1.0001, 1}, {0.25, 0.25}, {std::nan(""), 0}};
  for (const auto& c : cases) {
    SCOPED_TRACE(c.in);
    const Color color = Color::fromRGBA(c.in, c.in, c.in, c.in);
    EXPECT_EQ(color.red(), c.out);
    EXPECT_EQ(color.alpha(), c.out);
  }
}

TEST(ColorTest, NamedColoursKeepTheirNameUntilChanged) {
  EXPECT_EQ(Color::controlTextColor().name(), "controlTextColor");
  EXPECT_EQ(Color::secondaryLabelColor().name(), "secondaryLabelColor");
  EXPECT_NE(Color::controlTextColor(), Color::secondaryLabelColor());
  EXPECT_TRUE(Color::secondaryLabelColor().withAlpha(1).name().empty());
}

}  // namespace
}  // namespace lx
