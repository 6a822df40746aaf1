// `Spinner`: the indeterminate progress indicator, a ring of spokes whose
// brightest spoke walks clockwise while the ones behind it fade. Hosts
// call `draw` once per frame (GTK from a tick callback, Qt from a timer
// into an image) and the spoke shown follows the clock, not the frame count,
// so a dropped frame never slows the turn.
//
// A value type; `draw` only touches the context passed in.
#pragma once

#include "vantorcore/Export.h"

#include <cairo.h>

#include "vantorcore/drawing/Geometry.h"
#include "vantorcore/platform/Color.h"

namespace LX_API lx {

class Spinner {
 public:
  /// The range of spoke counts; `setSpokeCount` clamps to it.
  ///@{
  static constexpr int kMinimumSpokeCount = 3;
  static constexpr int kMaximumSpokeCount = 360;
  ///@}

  /// Twelve spokes in the control text colour, one turn a second, trailing
  /// spokes fading to 15% opacity, spokes from half the radius outwards and
  /// a sixth of the radius wide.
  Spinner() = default;

  /// The number of spokes, 12 unless set.
  [[nodiscard]] int spokeCount() const noexcept { return spokeCount_; }
  /// Clamped to `kMinimumSpokeCount`...`kMaximumSpokeCount`.
  void setSpokeCount(int count) noexcept;
  /// The spoke width as a fraction of the outer radius.
  [[nodiscard]] double spokeWidth() const noexcept { return spokeWidth_; }
  /// Clamped to 0.01...1; NaN keeps the current width.
  void setSpokeWidth(double fractionOfRadius) noexcept;
  /// Where spokes start, as a fraction of the outer radius.
  [[nodiscard]] double innerRadius() const noexcept { return innerRadius_; }
  /// Clamped to 0...0.9; NaN keeps the current value.
  void setInnerRadius(double fractionOfRadius) noexcept;
  /// Seconds for the brightest spoke to go once round.
  [[nodiscard]] double period() const noexcept { return period_; }
  /// Values that are not finite and positive keep the current period.
  void setPeriod(double seconds) noexcept;
  /// The opacity of the spoke furthest behind the brightest one; the ones
  /// between fade linearly from 1 to it.
  [[nodiscard]] double trailingOpacity() const noexcept { return trailingOpacity_; }
  /// Clamped to 0...1; NaN keeps the current value.
  void setTrailingOpacity(double opacity) noexcept;
  /// The colour of the brightest spoke; the others fade from it.
  ///@{
  [[nodiscard]] const Color& color() const noexcept { return color_; }
  void setColor(const Color& color) { color_ = color; }
  ///@}

  /// The brightest spoke at `seconds` on any clock: 0 is at 12 o'clock and
  /// numbers grow clockwise; it advances one spoke every `period() /
  /// spokeCount()` seconds. Negative times count back; NaN or infinite
  /// times give spoke 0.
  [[nodiscard]] int leadingSpoke(double seconds) const noexcept;
  /// The opacity of `spoke` (0-based, taken modulo the count) when
  /// `leading` is the brightest: 1 for the leader, then falling linearly to
  /// `trailingOpacity()` for the spoke just ahead of it.
  [[nodiscard]] double spokeOpacity(int spoke, int leading) const noexcept;

  /// Draws the frame for `seconds` centred in `rect`, with an outer radius
  /// of half the shorter side. Sizes are in the context's user space, so a
  /// 2× screen draws through a context (or a surface device scale) of 2 at
  /// full sharpness. Draws nothing into an empty or non-finite rectangle.
  /// The context's state is restored before returning.
  void draw(cairo_t* cr, Rect rect, double seconds) const;
  /// The same at the current time of `Clock::current()`.
  void draw(cairo_t* cr, Rect rect) const;

  /// Equal when every drawing attribute is.
  friend bool operator==(const Spinner&, const Spinner&) = default;

 private:
  int spokeCount_ = 12;
  double spokeWidth_ = 1.0 / 6;
  double innerRadius_ = 0.5;
  double period_ = 1;
  double trailingOpacity_ = 0.15;
  Color color_ = Color::controlTextColor();
};

}  // namespace lx
