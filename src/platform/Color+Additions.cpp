#include "vantorcore/platform/Color+Additions.h"

#include <array>
#include <cmath>

namespace lx {

namespace {

constexpr double kGreyTolerance = 0.001;

Color fromHex(unsigned rgb) noexcept {
  return Color::fromRGBA(((rgb >> 16) & 0xff) / 255.0, ((rgb >> 8) & 0xff) / 255.0,
                         (rgb & 0xff) / 255.0);
}

}  // namespace

Color lx_colorByAdjustingBrightness(const Color& color, double delta) noexcept {
  return color.adjustedHSB({0, 0, delta});
}

Color lx_colorByAdjustingSaturation(const Color& color, double delta) noexcept {
  return color.adjustedHSB({0, delta, 0});
}

Color lx_colorByAdjustingLightness(const Color& color, double delta) noexcept {
  return color.adjustedHSL({0, 0, delta});
}

bool lx_isGrayscaleColor(const Color& color) noexcept {
  return std::fabs(color.red() - color.green()) <= kGreyTolerance &&
         std::fabs(color.green() - color.blue()) <= kGreyTolerance &&
         std::fabs(color.red() - color.blue()) <= kGreyTolerance;
}

std::span<const Color> LXFileLabelColors() noexcept {
  static const std::array<Color, 8> colors{
      fromHex(0xFFFFFF), fromHex(0x9A9A9A), fromHex(0x33D17A), fromHex(0x9141AC),
      fromHex(0x3584E4), fromHex(0xF6D32D), fromHex(0xE01B24), fromHex(0xFF7800),
  };
  return colors;
}

}  // namespace lx
