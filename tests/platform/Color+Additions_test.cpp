#include "vantorcore/platform/Color+Additions.h"

#include <gtest/gtest.h>

#include "platform/ColorTestSupport.h"

namespace lx {
namespace {

using test::expectNear;

TEST(ColorAdditionsTest, AdjustmentsAddAndClamp) {
  using Adjust = Color (*)(const Color&, double) noexcept;
  const struct {
    const char* name;
    Adjust adjust;
    Color in;
    double delta;
    Color out;
  } cases[] = {
      {"brightness", lx_colorByAdjustingBrightness, Color::fromRGBA(0.5, 0, 0), 0.25,
       Color::fromRGBA(0.75, 0, 0)},
      {"brightness to the top", lx_colorByAdjustingBrightness, Color::fromRGBA(0.5, 0, 0), 0.5,
       Color::fromRGBA(1, 0, 0)},
      {"brightness past the top", lx_colorByAdjustingBrightness, Color::fromRGBA(0.5, 0, 0), 0.51,
       Color::fromRGBA(1, 0, 0)},
      {"brightness past the bottom", lx_colorByAdjustingBrightness,
       Color::fromRGBA(0.5, 0.5, 0.5, 0.3), -0.6, Color::fromRGBA(0, 0, 0, 0.3)},
      {"saturation", lx_colorByAdjustingSaturation, Color::fromRGBA(1, 0.5, 0.5), 0.25,
       Color::fromRGBA(1, 0.25, 0.25)},
      {"saturation past the top", lx_colorByAdjustingSaturation, Color::fromRGBA(1, 0.5, 0.5), 0.51,
       Color::fromRGBA(1, 0, 0)},
      {"saturation of a grey tints it red", lx_colorByAdjustingSaturation,
       Color::fromRGBA(0.8, 0.8, 0.8), 0.5, Color::fromRGBA(0.8, 0.4, 0.4)},
      {"lightness", lx_colorByAdjustingLightness, Color::fromRGBA(1, 0, 0), -0.25,
       Color::fromRGBA(0.5, 0, 0)},
      {"lightness past the top", lx_colorByAdjustingLightness, Color::fromRGBA(1, 0, 0), 0.51,
       Color::fromRGBA(1, 1, 1)},
  };
  for (const auto& c : cases) {
    SCOPED_TRACE(c.name);
    expectNear(c.adjust(c.in, c.delta), c.out);
  }
}

TEST(ColorAdditionsTest, GreysAllowATolerance) {
  const struct {
    double red, green, blue;
    bool grey;
  } cases[] = {
      {0.5, 0.5, 0.5, true}, {0.001, 0, 0, true},   {0.0011, 0, 0, false},
      {0, 0, 0.001, true},   {0, 0, 0.0011, false}, {1, 1, 1, true},
  };
  for (const auto& c : cases) {
    SCOPED_TRACE(c.green + c.blue);
    EXPECT_EQ(lx_isGrayscaleColor(Color::fromRGBA(c.red, c.green, c.blue)), c.grey);
  }
}

TEST(ColorAdditionsTest, EightLabelColoursWithAGreyAtIndexOne) {
  const auto labels = LXFileLabelColors();
  ASSERT_EQ(labels.size(), 8u);
  expectNear(labels[0], Color::fromRGBA(1, 1, 1));
  EXPECT_TRUE(lx_isGrayscaleColor(labels[1]));
  expectNear(labels[6], Color::fromRGBA(0xE0 / 255.0, 0x1B / 255.0, 0x24 / 255.0));
  for (std::size_t i = 2; i < labels.size(); ++i) EXPECT_FALSE(lx_isGrayscaleColor(labels[i]));
}

}  // namespace
}  // namespace lx
