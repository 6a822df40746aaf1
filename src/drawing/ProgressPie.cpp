#include "vantorcore/drawing/ProgressPie.h"

#include <algorithm>
#include <cmath>
#include <numbers>

#include "drawing/CairoLibrary.h"
#include "vantorcore/drawing/BezierPath+Cairo.h"
#include "vantorcore/drawing/Color+Cairo.h"

namespace lx {

using detail::cairo;

ProgressPie::ProgressPie()
    : fill_(Color::controlTextColor()),
      background_(Color::controlTextColor().withAlpha(0.15)),
      outline_(Color::controlTextColor()) {}

double ProgressPie::clampedProgress(double progress) noexcept {
  return std::isnan(progress) ? 0 : std::clamp(progress, 0.0, 1.0);
}

void ProgressPie::setOutlineWidth(double width) noexcept {
  outlineWidth_ = std::isfinite(width) && width > 0 ? width : 0;
}

double ProgressPie::radius(Rect rect) const noexcept {
  rect = rect.standardized();
  return std::max(0.0, std::min(rect.width(), rect.height()) / 2 - outlineWidth_ / 2);
}

BezierPath ProgressPie::wedgePath(Rect rect, double progress) const {
  BezierPath path;
  progress = clampedProgress(progress);
  if (rect.isEmpty() || progress == 0) return path;
  const Rect r = rect.standardized();
  const Point centre{r.midX(), r.midY()};
  constexpr double kTop = -std::numbers::pi / 2;
  if (progress < 1) path.moveTo(centre);
  path.arc(centre, radius(r), kTop, kTop + 2 * std::numbers::pi * progress);
  path.closePath();
  return path;
}

void ProgressPie::draw(cairo_t* cr, Rect rect, double progress) const {
  if (rect.isEmpty()) return;
  const Rect r = rect.standardized();
  BezierPath disc;
  disc.arc({r.midX(), r.midY()}, radius(r), 0, 2 * std::numbers::pi);
  disc.closePath();
  cairo().save(cr);
  if (background_.alpha() > 0) {
    lx_setSourceColor(cr, background_);
    lx_fill(disc, cr);
  }
  lx_setSourceColor(cr, fill_);
  lx_fill(wedgePath(r, progress), cr);
  if (outlineWidth_ > 0) {
    disc.setLineWidth(outlineWidth_);
    lx_setSourceColor(cr, outline_);
    lx_stroke(disc, cr);
  }
  cairo().restore(cr);
}

}  // namespace lx
