// The library's colour operations beyond `Color` itself: additive
// adjustments in HSB and HSL, a grey test, and the file-label colours.
//
// Every function may be called from any thread.
#pragma once

#include "vantorcore/Export.h"

#include <span>

#include "vantorcore/platform/Color.h"

namespace LX_API lx {

/// The colour with `delta` added to its HSB brightness, clamped to 0...1;
/// hue, saturation and alpha kept.
///   (0.5, 0, 0), +0.25  => (0.75, 0, 0)     white, +0.05 => white
[[nodiscard]] Color lx_colorByAdjustingBrightness(const Color& color, double delta) noexcept;
/// The colour with `delta` added to its HSB saturation, clamped to 0...1.
/// A grey has hue 0, so raising its saturation tints it red.
[[nodiscard]] Color lx_colorByAdjustingSaturation(const Color& color, double delta) noexcept;
/// The colour with `delta` added to its HSL lightness, clamped to 0...1.
///   (1, 0, 0), -0.25 => (0.5, 0, 0)
[[nodiscard]] Color lx_colorByAdjustingLightness(const Color& color, double delta) noexcept;

/// True when red, green and blue lie within 0.001 of each other.
[[nodiscard]] bool lx_isGrayscaleColor(const Color& color) noexcept;

/// The eight file-label colours by label index. Linux desktops have no
/// label colours of their own, so these are the GNOME palette's shades 3
/// (opaque, in sRGB):
///   0 none   #FFFFFF     4 blue    #3584E4
///   1 gray   #9A9A9A     5 yellow  #F6D32D
///   2 green  #33D17A     6 red     #E01B24
///   3 purple #9141AC     7 orange  #FF7800
/// (the gray is the palette's Light 5, #9A9996, made neutral).
[[nodiscard]] std::span<const Color> LXFileLabelColors() noexcept;

}  // namespace lx
