// `Color`: an RGBA colour with components in 0...1, and the few named
// colours of the desktop's text system that the library styles text with.
#pragma once

#include "vantorcore/Export.h"

#include <compare>
#include <string>

#include "vantorcore/platform/String.h"

namespace LX_API lx {

class Color {
 public:
  /// Hue, saturation and a third component, all in 0...1 (hue 1 is red
  /// again). The third is brightness for HSB and lightness for HSL.
  struct HueComponents {
    /// The components, each in 0...1.
    ///@{
    double hue = 0;
    double saturation = 0;
    double value = 0;
    ///@}
    /// Equal when all three are.
    friend constexpr bool operator==(const HueComponents&, const HueComponents&) = default;
  };

  /// Opaque black.
  constexpr Color() noexcept = default;
  /// Components are clamped to 0...1; NaN becomes 0.
  static Color fromRGBA(double red, double green, double blue, double alpha = 1) noexcept;
  /// From hue, saturation and brightness (HSB, also called HSV).
  static Color fromHSB(HueComponents hsb, double alpha = 1) noexcept;
  /// From hue, saturation and lightness (HSL).
  static Color fromHSL(HueComponents hsl, double alpha = 1) noexcept;

  /// The colour of text in controls: near black, drawn in the terminal's or
  /// theme's own text colour by hosts that follow the theme (`name()` is
  /// "controlTextColor").
  static Color controlTextColor() noexcept;
  /// The colour of secondary labels: mid grey ("secondaryLabelColor").
  static Color secondaryLabelColor() noexcept;

  /// The sRGB components and opacity, each in 0...1.
  ///@{
  [[nodiscard]] constexpr double red() const noexcept { return red_; }
  [[nodiscard]] constexpr double green() const noexcept { return green_; }
  [[nodiscard]] constexpr double blue() const noexcept { return blue_; }
  [[nodiscard]] constexpr double alpha() const noexcept { return alpha_; }
  ///@}
  /// The catalogue name of a named colour; empty for a plain colour.
  [[nodiscard]] const std::string& name() const noexcept { return name_; }

  /// Hue, saturation and brightness.
  [[nodiscard]] HueComponents hsb() const noexcept;
  /// Hue, saturation and lightness.
  [[nodiscard]] HueComponents hsl() const noexcept;

  /// The colour with `delta` added to each of hue (wrapping around),
  /// saturation and brightness (both clamped); alpha kept, name dropped.
  ///   red,  brightness -0.5   => dark red (0.5, 0, 0)
  ///   red,  hue +0.5          => cyan
  [[nodiscard]] Color adjustedHSB(HueComponents delta) const noexcept;
  /// The same in HSL: lightness +0.25 of pure red is (1, 0.5, 0.5).
  [[nodiscard]] Color adjustedHSL(HueComponents delta) const noexcept;
  /// The colour with another alpha; name dropped.
  [[nodiscard]] Color withAlpha(double alpha) const noexcept;

  /// Equal when all four components are.
  friend bool operator==(const Color&, const Color&) = default;

 private:
  double red_ = 0, green_ = 0, blue_ = 0, alpha_ = 1;
  std::string name_;
};

}  // namespace lx
