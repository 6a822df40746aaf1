#include "vantorcore/drawing/Geometry.h"

#include <algorithm>
#include <cmath>

namespace lx {

Rect Rect::standardized() const noexcept {
  Rect r = *this;
  if (r.size.width < 0) {
    r.origin.x += r.size.width;
    r.size.width = -r.size.width;
  }
  if (r.size.height < 0) {
    r.origin.y += r.size.height;
    r.size.height = -r.size.height;
  }
  return r;
}

bool Rect::isInvalid() const noexcept {
  return !std::isfinite(origin.x) || !std::isfinite(origin.y) || !std::isfinite(size.width) ||
         !std::isfinite(size.height);
}

bool Rect::isEmpty() const noexcept { return isInvalid() || size.width == 0 || size.height == 0; }

Rect Rect::insetBy(double dx, double dy) const noexcept {
  const Rect r = standardized();
  return {{r.origin.x + dx, r.origin.y + dy}, {r.size.width - 2 * dx, r.size.height - 2 * dy}};
}

Rect Rect::unionWith(const Rect& other) const noexcept {
  if (isInvalid()) return other;
  if (other.isInvalid()) return *this;
  const Rect p = standardized(), q = other.standardized();
  const double x0 = std::min(p.minX(), q.minX()), y0 = std::min(p.minY(), q.minY());
  const double x1 = std::max(p.maxX(), q.maxX()), y1 = std::max(p.maxY(), q.maxY());
  return {{x0, y0}, {x1 - x0, y1 - y0}};
}

AffineTransform AffineTransform::rotation(double radians) noexcept {
  const double c = std::cos(radians), s = std::sin(radians);
  return {c, s, -s, c, 0, 0};
}

AffineTransform AffineTransform::concatenating(const AffineTransform& t) const noexcept {
  return {a * t.a + b * t.c, a * t.b + b * t.d,          c * t.a + d * t.c,
          c * t.b + d * t.d, tx * t.a + ty * t.c + t.tx, tx * t.b + ty * t.d + t.ty};
}

AffineTransform AffineTransform::inverted(bool* invertible) const noexcept {
  const double det = a * d - b * c;
  const bool ok = det != 0 && std::isfinite(det);
  if (invertible) *invertible = ok;
  if (!ok) return identity();
  return {d / det, -b / det, -c / det, a / det, (c * ty - d * tx) / det, (b * tx - a * ty) / det};
}

Point AffineTransform::apply(Point p) const noexcept {
  return {a * p.x + c * p.y + tx, b * p.x + d * p.y + ty};
}

Point AffineTransform::applyToVector(Point v) const noexcept {
  return {a * v.x + c * v.y, b * v.x + d * v.y};
}

}  // namespace lx
