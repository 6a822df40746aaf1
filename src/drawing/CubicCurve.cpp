#include "drawing/CubicCurve.h"

#include <algorithm>
#include <cmath>

namespace lx::drawing {
namespace {

Point mid(Point a, Point b) { return {(a.x + b.x) / 2, (a.y + b.y) / 2}; }

// Roots in (0, 1) of a·t² + b·t + c, appended to out.
void unitQuadraticRoots(double a, double b, double c, std::array<double, 4>& out, int& count) {
  auto keep = [&](double t) {
    if (t > 0 && t < 1) out[count++] = t;
  };
  const double scale = std::max({std::fabs(a), std::fabs(b), std::fabs(c)});
  if (scale == 0) return;
  if (std::fabs(a) <= 1e-12 * scale) {
    if (b != 0) keep(-c / b);
    return;
  }
  const double discriminant = b * b - 4 * a * c;
  if (discriminant < 0) return;
  // The numerically stable pair of roots.
  const double q = -0.5 * (b + std::copysign(std::sqrt(discriminant), b));
  keep(q / a);
  if (q != 0) keep(c / q);
}

}  // namespace

Point CubicCurve::pointAt(double t) const noexcept {
  const double u = 1 - t;
  const double a = u * u * u, b = 3 * u * u * t, c = 3 * u * t * t, d = t * t * t;
  return {a * p0.x + b * p1.x + c * p2.x + d * p3.x, a * p0.y + b * p1.y + c * p2.y + d * p3.y};
}

std::pair<CubicCurve, CubicCurve> CubicCurve::split() const noexcept {
  const Point a = mid(p0, p1), b = mid(p1, p2), c = mid(p2, p3);
  const Point ab = mid(a, b), bc = mid(b, c), m = mid(ab, bc);
  return {{p0, a, ab, m}, {m, bc, c, p3}};
}

int CubicCurve::extremaParameters(std::array<double, 4>& out) const noexcept {
  int count = 0;
  // B'(t)/3 = a·t² + b·t + c per axis.
  auto axis = [&](double q0, double q1, double q2, double q3) {
    const double a = -q0 + 3 * q1 - 3 * q2 + q3;
    const double b = 2 * (q0 - 2 * q1 + q2);
    const double c = q1 - q0;
    unitQuadraticRoots(a, b, c, out, count);
  };
  axis(p0.x, p1.x, p2.x, p3.x);
  axis(p0.y, p1.y, p2.y, p3.y);
  return count;
}

int CubicCurve::segmentsForTolerance(double tolerance) const noexcept {
  const double ddx = std::max(std::fabs(p0.x - 2 * p1.x + p2.x), std::fabs(p1.x - 2 * p2.x + p3.x));
  const double ddy = std::max(std::fabs(p0.y - 2 * p1.y + p2.y), std::fabs(p1.y - 2 * p2.y + p3.y));
  const double n = std::ceil(std::sqrt(0.75 * std::hypot(ddx, ddy) / tolerance));
  if (!(n >= 1)) return 1;
  return static_cast<int>(std::min<double>(n, kMaximumSegments));
}

double CubicCurve::flatness() const noexcept {
  const double dx = p3.x - p0.x, dy = p3.y - p0.y;
  const double length = std::hypot(dx, dy);
  auto distance = [&](Point p) {
    if (length == 0) return std::hypot(p.x - p0.x, p.y - p0.y);
    return std::fabs((p.x - p0.x) * dy - (p.y - p0.y) * dx) / length;
  };
  return std::max(distance(p1), distance(p2));
}

}  // namespace lx::drawing
