#include "vantorcore/drawing/Gradient.h"

#include <algorithm>
#include <cmath>
#include <numbers>

#include "drawing/CairoLibrary.h"
#include "vantorcore/drawing/BezierPath+Cairo.h"

namespace lx {

using detail::cairo;

namespace {

double finiteOr(double value, double fallback) { return std::isfinite(value) ? value : fallback; }

}  // namespace

Gradient::Gradient(std::vector<Stop> stops) {
  for (Stop& stop : stops) {
    if (std::isnan(stop.location)) continue;
    stop.location = std::clamp(stop.location, 0.0, 1.0);
    stops_.push_back(std::move(stop));
  }
  std::stable_sort(stops_.begin(), stops_.end(),
                   [](const Stop& a, const Stop& b) { return a.location < b.location; });
}

Gradient::Gradient(const std::vector<Color>& colors) {
  const std::size_t n = colors.size();
  for (std::size_t i = 0; i < n; ++i) {
    stops_.push_back(
        {n == 1 ? 0.0 : static_cast<double>(i) / static_cast<double>(n - 1), colors[i]});
  }
}

Gradient::Gradient(const Color& start, const Color& end) : Gradient(std::vector{start, end}) {}

Color Gradient::colorAt(double location) const noexcept {
  if (stops_.empty()) return Color::fromRGBA(0, 0, 0, 0);
  if (std::isnan(location)) location = 0;
  if (location <= stops_.front().location) return stops_.front().color;
  if (location >= stops_.back().location) return stops_.back().color;
  // The first stop beyond the location; its predecessor is at or before it.
  const auto after =
      std::upper_bound(stops_.begin(), stops_.end(), location,
                       [](double value, const Stop& stop) { return value < stop.location; });
  const Stop& a = *(after - 1);
  const Stop& b = *after;
  const double t = (location - a.location) / (b.location - a.location);
  auto mix = [t](double x, double y) { return x + (y - x) * t; };
  return Color::fromRGBA(mix(a.color.red(), b.color.red()), mix(a.color.green(), b.color.green()),
                         mix(a.color.blue(), b.color.blue()),
                         mix(a.color.alpha(), b.color.alpha()));
}

void Gradient::addStops(cairo_pattern_t* pattern) const {
  for (const Stop& s : stops_) {
    cairo().pattern_add_color_stop_rgba(pattern, s.location, s.color.red(), s.color.green(),
                                        s.color.blue(), s.color.alpha());
  }
  cairo().pattern_set_extend(pattern, CAIRO_EXTEND_PAD);
}

void CairoPatternDeleter::operator()(cairo_pattern_t* pattern) const noexcept {
  cairo().pattern_destroy(pattern);
}

CairoPatternPtr Gradient::linearPattern(Point start, Point end) const {
  if (!cairo().library.isLoaded()) return nullptr;
  CairoPatternPtr pattern(cairo().pattern_create_linear(start.x, start.y, end.x, end.y));
  addStops(pattern.get());
  return pattern;
}

CairoPatternPtr Gradient::radialPattern(Point startCenter, double startRadius, Point endCenter,
                                        double endRadius) const {
  if (!cairo().library.isLoaded()) return nullptr;
  auto radius = [](double r) { return std::isfinite(r) && r > 0 ? r : 0.0; };
  CairoPatternPtr pattern(cairo().pattern_create_radial(startCenter.x, startCenter.y,
                                                        radius(startRadius), endCenter.x,
                                                        endCenter.y, radius(endRadius)));
  addStops(pattern.get());
  return pattern;
}

void Gradient::paintRect(cairo_t* cr, Rect area, cairo_pattern_t* pattern) {
  cairo().save(cr);
  cairo().new_path(cr);
  cairo().rectangle(cr, area.minX(), area.minY(), area.width(), area.height());
  cairo().set_source(cr, pattern);
  cairo().fill(cr);
  cairo().restore(cr);
}

void Gradient::drawLinear(cairo_t* cr, Rect rect, double angleDegrees) const {
  if (stops_.empty() || rect.isEmpty()) return;
  rect = rect.standardized();
  const double radians = finiteOr(angleDegrees, 0) * std::numbers::pi / 180;
  const double dx = std::cos(radians), dy = std::sin(radians);
  // Half the extent of the rectangle's projection onto the gradient's line.
  const double half = (std::fabs(rect.width() * dx) + std::fabs(rect.height() * dy)) / 2;
  const Point centre{rect.midX(), rect.midY()};
  CairoPatternPtr pattern = linearPattern({centre.x - dx * half, centre.y - dy * half},
                                          {centre.x + dx * half, centre.y + dy * half});
  paintRect(cr, rect, pattern.get());
}

void Gradient::drawLinear(cairo_t* cr, const BezierPath& path, double angleDegrees) const {
  cairo().save(cr);
  lx_addClip(path, cr);
  drawLinear(cr, path.bounds(), angleDegrees);
  cairo().restore(cr);
}

void Gradient::drawRadial(cairo_t* cr, Rect rect, Point relativeCenter) const {
  if (stops_.empty() || rect.isEmpty()) return;
  rect = rect.standardized();
  const double rx = std::clamp(finiteOr(relativeCenter.x, 0), -1.0, 1.0);
  const double ry = std::clamp(finiteOr(relativeCenter.y, 0), -1.0, 1.0);
  const Point centre{rect.midX() + rx * rect.width() / 2, rect.midY() + ry * rect.height() / 2};
  const double farX = std::max(centre.x - rect.minX(), rect.maxX() - centre.x);
  const double farY = std::max(centre.y - rect.minY(), rect.maxY() - centre.y);
  CairoPatternPtr pattern = radialPattern(centre, 0, centre, std::hypot(farX, farY));
  paintRect(cr, rect, pattern.get());
}

void Gradient::drawRadial(cairo_t* cr, const BezierPath& path, Point relativeCenter) const {
  cairo().save(cr);
  lx_addClip(path, cr);
  drawRadial(cr, path.bounds(), relativeCenter);
  cairo().restore(cr);
}

}  // namespace lx
