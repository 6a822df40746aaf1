#include "vantorcore/drawing/BezierPath+Shapes.h"

#include <algorithm>
#include <cmath>
#include <numbers>
#include <optional>

namespace lx {
namespace {

constexpr double kPi = std::numbers::pi;

double clampedRadius(double radius, const Rect& rect) {
  const double limit = std::min(rect.width(), rect.height()) / 2;
  return std::isnan(radius) ? 0 : std::clamp(radius, 0.0, limit);
}

// Adds the pointer's three points to an edge being traced from `from` to
// `to` (both on the edge's straight part, between its corners).
void addPointer(BezierPath& path, Point from, Point to, Point outward, const BubblePointer& pointer,
                const Rect& body) {
  const bool horizontal = from.y == to.y;
  const double lo = horizontal ? std::min(from.x, to.x) : std::min(from.y, to.y);
  const double hi = horizontal ? std::max(from.x, to.x) : std::max(from.y, to.y);
  const double edgeStart = horizontal ? body.minX() : body.minY();
  const double edgeLength = horizontal ? body.width() : body.height();
  const double position = std::isnan(pointer.position) ? 0.5 : pointer.position;
  double half = std::min(pointer.width, hi - lo) / 2;
  double centre = std::clamp(edgeStart + position * edgeLength, lo + half, hi - half);
  const double direction = (horizontal ? to.x - from.x : to.y - from.y) >= 0 ? 1 : -1;
  auto along = [&](double s) { return horizontal ? Point{s, from.y} : Point{from.x, s}; };
  const Point base = along(centre);
  path.lineTo(along(centre - direction * half));
  path.lineTo({base.x + outward.x * pointer.length, base.y + outward.y * pointer.length});
  path.lineTo(along(centre + direction * half));
}

BezierPath bodyPath(Rect rect, CornerRadii radii, std::optional<BubblePointer> pointer) {
  BezierPath path;
  if (rect.isEmpty()) return path;
  rect = rect.standardized();
  const double tl = clampedRadius(radii.topLeft, rect), tr = clampedRadius(radii.topRight, rect);
  const double br = clampedRadius(radii.bottomRight, rect);
  const double bl = clampedRadius(radii.bottomLeft, rect);
  const double x0 = rect.minX(), y0 = rect.minY(), x1 = rect.maxX(), y1 = rect.maxY();
  auto edge = [&](RectEdge which, Point from, Point to, Point outward) {
    if (pointer && pointer->edge == which) addPointer(path, from, to, outward, *pointer, rect);
    path.lineTo(to);
  };
  path.moveTo({x0 + tl, y0});
  edge(RectEdge::Top, {x0 + tl, y0}, {x1 - tr, y0}, {0, -1});
  path.arc({x1 - tr, y0 + tr}, tr, -kPi / 2, 0);
  edge(RectEdge::Right, {x1, y0 + tr}, {x1, y1 - br}, {1, 0});
  path.arc({x1 - br, y1 - br}, br, 0, kPi / 2);
  edge(RectEdge::Bottom, {x1 - br, y1}, {x0 + bl, y1}, {0, 1});
  path.arc({x0 + bl, y1 - bl}, bl, kPi / 2, kPi);
  edge(RectEdge::Left, {x0, y1 - bl}, {x0, y0 + tl}, {-1, 0});
  path.arc({x0 + tl, y0 + tl}, tl, kPi, 3 * kPi / 2);
  path.closePath();
  return path;
}

}  // namespace

BezierPath lx_roundedRectPath(Rect rect, double radius) {
  return bodyPath(rect, {radius, radius, radius, radius}, std::nullopt);
}

BezierPath lx_roundedRectPath(Rect rect, CornerRadii radii) {
  return bodyPath(rect, radii, std::nullopt);
}

BezierPath lx_capsulePath(Rect rect) {
  const double radius = std::min(std::fabs(rect.width()), std::fabs(rect.height())) / 2;
  return lx_roundedRectPath(rect, radius);
}

BezierPath lx_speechBubblePath(Rect rect, double cornerRadius, BubblePointer pointer) {
  const bool hasPointer = pointer.width > 0 && pointer.length > 0 && std::isfinite(pointer.width) &&
                          std::isfinite(pointer.length);
  const CornerRadii radii{cornerRadius, cornerRadius, cornerRadius, cornerRadius};
  return bodyPath(rect, radii, hasPointer ? std::optional(pointer) : std::nullopt);
}

}  // namespace lx
