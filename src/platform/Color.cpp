#include "vantorcore/platform/Color.h"

#include <algorithm>
#include <cmath>

namespace lx {
namespace {

double unit(double v) noexcept { return std::isnan(v) ? 0 : std::clamp(v, 0.0, 1.0); }

double wrappedHue(double h) noexcept {
  if (std::isnan(h)) return 0;
  h = std::fmod(h, 1.0);
  return h < 0 ? h + 1 : h;
}

// The hue of the largest component, in 0...1, shared by HSB and HSL.
double hueOf(double r, double g, double b, double max, double delta) noexcept {
  if (delta <= 0) return 0;
  double h;
  if (max == r) {
    h = (g - b) / delta;
  } else if (max == g) {
    h = (b - r) / delta + 2;
  } else {
    h = (r - g) / delta + 4;
  }
  return wrappedHue(h / 6);
}

// Red, green and blue from hue and the chroma laid on a base level.
Color fromHueChroma(double hue, double chroma, double base, double alpha) noexcept {
  const double h6 = wrappedHue(hue) * 6;
  const double x = chroma * (1 - std::fabs(std::fmod(h6, 2.0) - 1));
  double r = 0, g = 0, b = 0;
  switch (static_cast<int>(h6)) {
    case 0:
      r = chroma, g = x;
      break;
    case 1:
      r = x, g = chroma;
      break;
    case 2:
      g = chroma, b = x;
      break;
    case 3:
      g = x, b = chroma;
      break;
    case 4:
      r = x, b = chroma;
      break;
    default:
      r = chroma, b = x;
      break;
  }
  return Color::fromRGBA(r + base, g + base, b + base, alpha);
}

Color::HueComponents sum(Color::HueComponents a, Color::HueComponents b) noexcept {
  return {wrappedHue(a.hue + b.hue), unit(a.saturation + b.saturation), unit(a.value + b.value)};
}

}  // namespace

Color Color::fromRGBA(double red, double green, double blue, double alpha) noexcept {
  Color c;
  c.red_ = unit(red);
  c.green_ = unit(green);
  c.blue_ = unit(blue);
  c.alpha_ = unit(alpha);
  return c;
}

Color Color::fromHSB(HueComponents hsb, double alpha) noexcept {
  const double v = unit(hsb.value);
  const double chroma = v * unit(hsb.saturation);
  return fromHueChroma(hsb.hue, chroma, v - chroma, alpha);
}

Color Color::fromHSL(HueComponents hsl, double alpha) noexcept {
  const double l = unit(hsl.value);
  const double chroma = (1 - std::fabs(2 * l - 1)) * unit(hsl.saturation);
  return fromHueChroma(hsl.hue, chroma, l - chroma / 2, alpha);
}

Color Color::controlTextColor() noexcept {
  Color c = fromRGBA(0, 0, 0, 0.85);
  c.name_ = "controlTextColor";
  return c;
}

Color Color::secondaryLabelColor() noexcept {
  Color c = fromRGBA(0, 0, 0, 0.5);
  c.name_ = "secondaryLabelColor";
  return c;
}

Color::HueComponents Color::hsb() const noexcept {
  const double max = std::max({red_, green_, blue_});
  const double delta = max - std::min({red_, green_, blue_});
  return {hueOf(red_, green_, blue_, max, delta), max > 0 ? delta / max : 0, max};
}

Color::HueComponents Color::hsl() const noexcept {
  const double max = std::max({red_, green_, blue_});
  const double min = std::min({red_, green_, blue_});
  const double delta = max - min;
  const double l = (max + min) / 2;
  const double s = delta <= 0 ? 0 : delta / (1 - std::fabs(2 * l - 1));
  return {hueOf(red_, green_, blue_, max, delta), unit(s), l};
}

Color Color::adjustedHSB(HueComponents delta) const noexcept {
  return fromHSB(sum(hsb(), delta), alpha_);
}

Color Color::adjustedHSL(HueComponents delta) const noexcept {
  return fromHSL(sum(hsl(), delta), alpha_);
}

Color Color::withAlpha(double alpha) const noexcept { return fromRGBA(red_, green_, blue_, alpha); }

}  // namespace lx
