// `ProgressPie`: determinate progress as a filled wedge of a circle, from
// 12 o'clock clockwise, over a background disc and inside an outline.
//
// A value type; `draw` only touches the context passed in.
#pragma once

#include "vantorcore/Export.h"

#include <cairo.h>

#include "vantorcore/drawing/BezierPath.h"
#include "vantorcore/drawing/Geometry.h"
#include "vantorcore/platform/Color.h"

namespace LX_API lx {

class ProgressPie {
 public:
  /// A control-text-coloured wedge and a 1-unit outline of the same colour
  /// over a background of that colour at 15% opacity.
  ProgressPie();

  /// `progress` clamped to 0...1, NaN read as 0.
  ///   -0.5 => 0    0.25 => 0.25    7 => 1    NaN => 0
  [[nodiscard]] static double clampedProgress(double progress) noexcept;

  /// The wedge for `progress` in `rect`: centred, with a radius of half the
  /// shorter side less half the outline width. Empty at 0 (or for an empty
  /// rectangle), the whole disc at 1.
  [[nodiscard]] BezierPath wedgePath(Rect rect, double progress) const;

  /// Draws background disc, wedge and outline, in that order. Sizes are in
  /// user space (a 2× screen draws through a context scaled by 2). The
  /// context's state is restored before returning.
  void draw(cairo_t* cr, Rect rect, double progress) const;

  /// The colour of the done part.
  ///@{
  [[nodiscard]] const Color& fillColor() const noexcept { return fill_; }
  void setFillColor(const Color& color) { fill_ = color; }
  ///@}
  /// The colour of the part still to do.
  [[nodiscard]] const Color& backgroundColor() const noexcept { return background_; }
  /// A colour with alpha 0 draws no background.
  void setBackgroundColor(const Color& color) { background_ = color; }
  /// The colour of the ring around the pie.
  ///@{
  [[nodiscard]] const Color& outlineColor() const noexcept { return outline_; }
  void setOutlineColor(const Color& color) { outline_ = color; }
  ///@}
  /// The ring's width in points; 0 draws no ring.
  [[nodiscard]] double outlineWidth() const noexcept { return outlineWidth_; }
  /// 0 draws no outline; negative and non-finite widths are 0.
  void setOutlineWidth(double width) noexcept;

  /// Equal when progress and every colour and width are.
  friend bool operator==(const ProgressPie&, const ProgressPie&) = default;

 private:
  [[nodiscard]] double radius(Rect rect) const noexcept;

  Color fill_;
  Color background_;
  Color outline_;
  double outlineWidth_ = 1;
};

}  // namespace lx
