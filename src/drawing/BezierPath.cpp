#include "vantorcore/drawing/BezierPath.h"

#include <algorithm>
#include <cmath>
#include <numbers>

#include "drawing/CubicCurve.h"
#include "vantorcore/platform/Exception.h"

namespace lx {
namespace {

using drawing::CubicCurve;

bool isFinite(Point p) { return std::isfinite(p.x) && std::isfinite(p.y); }

constexpr int pointCount(BezierPath::ElementType type) {
  switch (type) {
    case BezierPath::ElementType::MoveTo:
    case BezierPath::ElementType::LineTo:
      return 1;
    case BezierPath::ElementType::CurveTo:
      return 3;
    case BezierPath::ElementType::ClosePath:
      return 0;
  }
  return 0;
}

// Grows a min/max box from nothing.
struct BoxBuilder {
  double x0 = 0, y0 = 0, x1 = 0, y1 = 0;
  bool any = false;
  void add(Point p) {
    if (!any) {
      x0 = x1 = p.x;
      y0 = y1 = p.y;
      any = true;
      return;
    }
    x0 = std::min(x0, p.x);
    x1 = std::max(x1, p.x);
    y0 = std::min(y0, p.y);
    y1 = std::max(y1, p.y);
  }
  [[nodiscard]] bool contains(Point p) const {
    return any && p.x >= x0 && p.x <= x1 && p.y >= y0 && p.y <= y1;
  }
  [[nodiscard]] Rect rect() const { return {{x0, y0}, {x1 - x0, y1 - y0}}; }
};

// Signed crossings of the ray from `p` towards +x by the segment a→b, with
// the half-open rule that counts a vertex once.
int lineWinding(Point p, Point a, Point b) {
  const double side = (b.x - a.x) * (p.y - a.y) - (p.x - a.x) * (b.y - a.y);
  if (a.y <= p.y) return (b.y > p.y && side > 0) ? 1 : 0;
  return (b.y <= p.y && side < 0) ? -1 : 0;
}

int curveWinding(Point p, const CubicCurve& c, int depth) {
  const double minY = std::min({c.p0.y, c.p1.y, c.p2.y, c.p3.y});
  const double maxY = std::max({c.p0.y, c.p1.y, c.p2.y, c.p3.y});
  if (p.y < minY || p.y >= maxY) return 0;
  const double minX = std::min({c.p0.x, c.p1.x, c.p2.x, c.p3.x});
  const double maxX = std::max({c.p0.x, c.p1.x, c.p2.x, c.p3.x});
  if (maxX <= p.x) return 0;
  // Wholly right of the point, the curve crosses the ray as often (signed)
  // as its chord does.
  if (minX > p.x || depth >= 30 || c.flatness() < 1e-3) return lineWinding(p, c.p0, c.p3);
  const auto [first, second] = c.split();
  return curveWinding(p, first, depth + 1) + curveWinding(p, second, depth + 1);
}

}  // namespace

BezierPath::Element BezierPath::Iterator::operator*() const {
  if (!path_ || index_ >= path_->types_.size()) {
    throw RangeException(u"BezierPath iterator read past the last element");
  }
  Element element{path_->types_[index_], {}};
  const int n = pointCount(element.type);
  for (int i = 0; i < n; ++i) element.points[i] = path_->points_[point_ + i];
  return element;
}

BezierPath::Iterator& BezierPath::Iterator::operator++() {
  point_ += pointCount(path_->types_[index_]);
  ++index_;
  return *this;
}

BezierPath::Iterator BezierPath::Iterator::operator++(int) {
  Iterator before = *this;
  ++*this;
  return before;
}

void BezierPath::add(ElementType type, std::initializer_list<Point> points) {
  types_.push_back(type);
  points_.insert(points_.end(), points);
}

// Elements after a close continue from the closed subpath's first point.
void BezierPath::ensureSubpath() {
  if (!types_.empty() && types_.back() == ElementType::ClosePath) {
    const Point start = points_[subpathStart_];
    subpathStart_ = points_.size();
    add(ElementType::MoveTo, {start});
  }
}

void BezierPath::moveTo(Point point) {
  if (!isFinite(point)) return;
  if (!types_.empty() && types_.back() == ElementType::MoveTo) {
    points_.back() = point;
    return;
  }
  subpathStart_ = points_.size();
  add(ElementType::MoveTo, {point});
}

void BezierPath::lineTo(Point point) {
  if (!isFinite(point)) return;
  if (types_.empty()) return moveTo(point);
  ensureSubpath();
  add(ElementType::LineTo, {point});
}

void BezierPath::curveTo(Point end, Point control1, Point control2) {
  if (!isFinite(end) || !isFinite(control1) || !isFinite(control2)) return;
  if (types_.empty()) moveTo(control1);
  ensureSubpath();
  add(ElementType::CurveTo, {control1, control2, end});
}

void BezierPath::quadTo(Point end, Point control) {
  if (!isFinite(end) || !isFinite(control)) return;
  if (types_.empty()) moveTo(control);
  const Point start = currentPoint();
  curveTo(end,
          {start.x + 2.0 / 3 * (control.x - start.x), start.y + 2.0 / 3 * (control.y - start.y)},
          {end.x + 2.0 / 3 * (control.x - end.x), end.y + 2.0 / 3 * (control.y - end.y)});
}

void BezierPath::arc(Point center, double radius, double startAngle, double endAngle,
                     bool clockwise) {
  if (!isFinite(center) || !std::isfinite(radius) || radius < 0 || !std::isfinite(startAngle) ||
      !std::isfinite(endAngle)) {
    return;
  }
  constexpr double kTurn = 2 * std::numbers::pi;
  double sweep = clockwise ? endAngle - startAngle : startAngle - endAngle;
  if (sweep < 0) sweep = std::fmod(sweep, kTurn) + kTurn;
  sweep = std::min(sweep, kTurn);
  if (!clockwise) sweep = -sweep;

  auto at = [&](double angle) {
    return Point{center.x + radius * std::cos(angle), center.y + radius * std::sin(angle)};
  };
  const Point start = at(startAngle);
  if (types_.empty()) {
    moveTo(start);
  } else {
    lineTo(start);
  }
  if (radius == 0 || sweep == 0) return;
  // Quarter turns or less keep the cubic within 0.03% of the circle.
  const int pieces =
      std::max(1, static_cast<int>(std::ceil(std::fabs(sweep) / (kTurn / 4) - 1e-9)));
  const double step = sweep / pieces;
  const double k = 4.0 / 3 * std::tan(step / 4) * radius;
  for (int i = 0; i < pieces; ++i) {
    const double a0 = startAngle + step * i, a1 = a0 + step;
    const Point p0 = at(a0), p3 = at(a1);
    curveTo(p3, {p0.x - k * std::sin(a0), p0.y + k * std::cos(a0)},
            {p3.x + k * std::sin(a1), p3.y - k * std::cos(a1)});
  }
}

void BezierPath::closePath() {
  if (types_.empty() || types_.back() == ElementType::ClosePath) return;
  add(ElementType::ClosePath, {});
}

void BezierPath::append(const BezierPath& other) {
  for (const Element& e : other) {
    switch (e.type) {
      case ElementType::MoveTo:
        moveTo(e.points[0]);
        break;
      case ElementType::LineTo:
        lineTo(e.points[0]);
        break;
      case ElementType::CurveTo:
        curveTo(e.points[2], e.points[0], e.points[1]);
        break;
      case ElementType::ClosePath:
        closePath();
        break;
    }
  }
}

void BezierPath::removeAllPoints() noexcept {
  types_.clear();
  points_.clear();
  subpathStart_ = 0;
}

Point BezierPath::currentPoint() const noexcept {
  if (types_.empty()) return {};
  if (types_.back() == ElementType::ClosePath) return points_[subpathStart_];
  return points_.back();
}

Rect BezierPath::bounds() const noexcept {
  BoxBuilder box;
  Point current;
  for (std::size_t i = 0, p = 0; i < types_.size(); p += pointCount(types_[i]), ++i) {
    if (types_[i] == ElementType::CurveTo) {
      // A curve stays within its control points' hull, so control points
      // already inside the box leave only the end point to add.
      if (!box.contains(points_[p]) || !box.contains(points_[p + 1])) {
        const CubicCurve curve{current, points_[p], points_[p + 1], points_[p + 2]};
        std::array<double, 4> ts;
        const int n = curve.extremaParameters(ts);
        for (int k = 0; k < n; ++k) box.add(curve.pointAt(ts[k]));
      }
      current = points_[p + 2];
      box.add(current);
    } else if (types_[i] != ElementType::ClosePath) {
      current = points_[p];
      box.add(current);
    }
  }
  return box.rect();
}

Rect BezierPath::controlPointBounds() const noexcept {
  BoxBuilder box;
  for (Point p : points_) box.add(p);
  return box.rect();
}

bool BezierPath::containsPoint(Point point, FillRule rule) const noexcept {
  if (!isFinite(point)) return false;
  int winding = 0;
  Point start, current;
  auto closeSubpath = [&] { winding += lineWinding(point, current, start); };
  for (std::size_t i = 0, p = 0; i < types_.size(); p += pointCount(types_[i]), ++i) {
    switch (types_[i]) {
      case ElementType::MoveTo:
        closeSubpath();
        start = current = points_[p];
        break;
      case ElementType::LineTo:
        winding += lineWinding(point, current, points_[p]);
        current = points_[p];
        break;
      case ElementType::CurveTo:
        winding += curveWinding(point, {current, points_[p], points_[p + 1], points_[p + 2]}, 0);
        current = points_[p + 2];
        break;
      case ElementType::ClosePath:
        closeSubpath();
        current = start;
        break;
    }
  }
  closeSubpath();
  return rule == FillRule::NonZero ? winding != 0 : (winding & 1) != 0;
}

bool BezierPath::transform(const AffineTransform& t) noexcept {
  const double entries[] = {t.a, t.b, t.c, t.d, t.tx, t.ty};
  if (!std::all_of(std::begin(entries), std::end(entries),
                   [](double v) { return std::isfinite(v); })) {
    return false;
  }
  for (Point& p : points_) p = t.apply(p);
  return true;
}

BezierPath BezierPath::transformed(const AffineTransform& t) const {
  BezierPath copy = *this;
  copy.transform(t);
  return copy;
}

BezierPath BezierPath::withStyleOnly() const {
  BezierPath result;
  result.lineWidth_ = lineWidth_;
  result.lineCap_ = lineCap_;
  result.lineJoin_ = lineJoin_;
  result.miterLimit_ = miterLimit_;
  result.dash_ = dash_;
  result.dashPhase_ = dashPhase_;
  result.fillRule_ = fillRule_;
  return result;
}

BezierPath BezierPath::reversed() const {
  struct Subpath {
    std::size_t firstElement, endElement, firstPoint;
  };
  std::vector<Subpath> subpaths;
  for (std::size_t i = 0, p = 0; i < types_.size(); p += pointCount(types_[i]), ++i) {
    if (types_[i] == ElementType::MoveTo) subpaths.push_back({i, i + 1, p});
    subpaths.back().endElement = i + 1;
  }
  BezierPath result = withStyleOnly();
  for (auto s = subpaths.rbegin(); s != subpaths.rend(); ++s) {
    const bool closed = types_[s->endElement - 1] == ElementType::ClosePath;
    const std::size_t lastSegment = s->endElement - (closed ? 1 : 0);
    // Walk forward once to find each segment's first point index.
    std::vector<std::size_t> pointIndex;
    std::size_t p = s->firstPoint;
    for (std::size_t i = s->firstElement; i < lastSegment; ++i) {
      pointIndex.push_back(p);
      p += pointCount(types_[i]);
    }
    result.moveTo(points_[p - 1]);
    for (std::size_t i = lastSegment; i-- > s->firstElement + 1;) {
      const std::size_t at = pointIndex[i - s->firstElement];
      const Point previousEnd = points_[at - 1];
      if (types_[i] == ElementType::LineTo) {
        result.lineTo(previousEnd);
      } else {
        result.curveTo(previousEnd, points_[at + 1], points_[at]);
      }
    }
    if (closed) result.closePath();
  }
  return result;
}

BezierPath BezierPath::flattened(double tolerance) const {
  if (!(tolerance >= kMinimumFlatness)) tolerance = kMinimumFlatness;
  BezierPath result = withStyleOnly();
  // Sized up front: the result is often many times the path, and growing
  // it step by step costs more than the flattening itself.
  std::size_t lines = 0;
  Point current;
  for (const Element& e : *this) {
    if (e.type == ElementType::CurveTo) {
      lines += CubicCurve{current, e.points[0], e.points[1], e.points[2]}.segmentsForTolerance(
          tolerance);
    }
    current = e.type == ElementType::CurveTo ? e.points[2] : e.points[0];
  }
  result.types_.reserve(types_.size() + lines);
  result.points_.reserve(points_.size() + lines);
  current = {};
  for (const Element& e : *this) {
    switch (e.type) {
      case ElementType::MoveTo:
        result.moveTo(current = e.points[0]);
        break;
      case ElementType::LineTo:
        result.lineTo(current = e.points[0]);
        break;
      case ElementType::CurveTo: {
        const CubicCurve curve{current, e.points[0], e.points[1], e.points[2]};
        const int n = curve.segmentsForTolerance(tolerance);
        for (int k = 1; k < n; ++k) result.lineTo(curve.pointAt(static_cast<double>(k) / n));
        result.lineTo(current = e.points[2]);
        break;
      }
      case ElementType::ClosePath:
        result.closePath();
        current = result.currentPoint();
        break;
    }
  }
  return result;
}

void BezierPath::setLineWidth(double width) noexcept {
  lineWidth_ = std::isfinite(width) && width > 0 ? width : 0;
}

void BezierPath::setMiterLimit(double limit) noexcept {
  miterLimit_ = std::isfinite(limit) && limit > 1 ? limit : 1;
}

void BezierPath::setDash(std::vector<double> pattern, double phase) {
  const bool valid = std::all_of(pattern.begin(), pattern.end(),
                                 [](double v) { return std::isfinite(v) && v >= 0; }) &&
                     std::any_of(pattern.begin(), pattern.end(), [](double v) { return v > 0; });
  dash_ = valid ? std::move(pattern) : std::vector<double>{};
  dashPhase_ = valid && std::isfinite(phase) ? phase : 0;
}

}  // namespace lx
