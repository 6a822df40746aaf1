#include "vantorcore/drawing/BezierPath.h"

#include <gtest/gtest.h>

#include <cmath>
#include <limits>
#include <numbers>
#include <vector>

#include "drawing/DrawingTestSupport.h"
#include "vantorcore/platform/Exception.h"

namespace lx {
namespace {

using Type = BezierPath::ElementType;
using test::kInf;
using test::kNaN;

using test::expectRect;

std::vector<Type> types(const BezierPath& path) {
  std::vector<Type> result;
  for (const auto& e : path) result.push_back(e.type);
  return result;
}

BezierPath square(double x, double y, double side) {
  BezierPath p;
  p.moveTo({x, y});
  p.lineTo({x + side, y});
  p.lineTo({x + side, y + side});
  p.lineTo({x, y + side});
  p.closePath();
  return p;
}

TEST(BezierPathBuilding, NonFiniteCoordinatesAreNotAdded) {
  const Point bad[] = {{kNaN, 0}, {0, kNaN}, {kInf, 0}, {0, -kInf}};
  for (const Point p : bad) {
    BezierPath path;
    path.moveTo(p);
    path.lineTo(p);
    path.curveTo(p, {0, 0}, {1, 1});
    path.quadTo({1, 1}, p);
    path.arc(p, 5, 0, 1);
    EXPECT_TRUE(path.isEmpty());
  }
  BezierPath path;
  path.arc({0, 0}, kNaN, 0, 1);
  path.arc({0, 0}, -1, 0, 1);
  path.arc({0, 0}, 1, kInf, 1);
  EXPECT_TRUE(path.isEmpty());
}

TEST(BezierPathBuilding, ImplicitSubpathsFollowCairo) {
  BezierPath path;
  path.lineTo({1, 2});  // no current point: a move
  path.moveTo({3, 4});  // replaces the lone move
  path.lineTo({5, 6});
  path.closePath();
  path.closePath();     // no second close
  path.lineTo({7, 8});  // restarts at the subpath's first point
  EXPECT_EQ(types(path),
            (std::vector{Type::MoveTo, Type::LineTo, Type::ClosePath, Type::MoveTo, Type::LineTo}));
  auto it = path.begin();
  EXPECT_EQ((*it).points[0], (Point{3, 4}));
  std::advance(it, 3);
  EXPECT_EQ((*it).points[0], (Point{3, 4}));
  EXPECT_EQ(path.currentPoint(), (Point{7, 8}));
  EXPECT_THROW(*path.end(), RangeException);
}

TEST(BezierPathBuilding, QuadraticIsTheExactCubic) {
  BezierPath path;
  path.moveTo({0, 0});
  path.quadTo({6, 0}, {3, 3});
  const auto curve = *std::next(path.begin());
  EXPECT_EQ(curve.type, Type::CurveTo);
  EXPECT_EQ(curve.points[0], (Point{2, 2}));
  EXPECT_EQ(curve.points[1], (Point{4, 2}));
  // The quadratic's peak is at y = 1.5 (half the control's height).
  expectRect(path.bounds(), {{0, 0}, {6, 1.5}});
}

TEST(BezierPathBuilding, ArcSweeps) {
  struct Case {
    const char* name;
    double start, end;
    bool clockwise;
    int curves;
    Rect bounds;
  } cases[] = {
      {"quarter clockwise", 0, std::numbers::pi / 2, true, 1, {{0, 0}, {10, 10}}},
      {"quarter the other way", 0, std::numbers::pi / 2, false, 3, {{-10, -10}, {20, 20}}},
      {"end before start wraps", std::numbers::pi / 2, 0, true, 3, {{-10, -10}, {20, 20}}},
      {"full turn", 0, 2 * std::numbers::pi, true, 4, {{-10, -10}, {20, 20}}},
      {"ten turns draw one", 0, 20 * std::numbers::pi, true, 4, {{-10, -10}, {20, 20}}},
      {"zero sweep", 1, 1, true, 0, {{10 * std::cos(1.0), 10 * std::sin(1.0)}, {0, 0}}},
  };
  for (const Case& c : cases) {
    SCOPED_TRACE(c.name);
    BezierPath path;
    path.arc({0, 0}, 10, c.start, c.end, c.clockwise);
    EXPECT_EQ(static_cast<int>(path.elementCount()) - 1, c.curves);
    expectRect(path.bounds(), c.bounds, 1e-6);
  }
  BezierPath point;
  point.moveTo({1, 1});
  point.arc({5, 5}, 0, 0, 1);
  EXPECT_EQ(point.currentPoint(), (Point{5, 5}));
}

TEST(BezierPathBounds, CurvesCountByExtremaNotControlPoints) {
  BezierPath path;
  path.moveTo({0, 0});
  path.curveTo({10, 0}, {0, 10}, {10, 10});  // peaks at y = 7.5
  expectRect(path.bounds(), {{0, 0}, {10, 7.5}});
  expectRect(path.controlPointBounds(), {{0, 0}, {10, 10}});
  // An S curve bulges beyond its end points on both sides in x.
  BezierPath s;
  s.moveTo({0, 0});
  s.curveTo({0, 30}, {30, 10}, {-30, 20});
  const Rect b = s.bounds();
  EXPECT_GT(b.maxX(), 0);
  EXPECT_LT(b.minX(), 0);
  EXPECT_LT(b.maxX(), 30);
  expectRect(BezierPath().bounds(), {});
  BezierPath lone;
  lone.moveTo({4, 5});
  expectRect(lone.bounds(), {{4, 5}, {0, 0}});
}

TEST(BezierPathContains, FillRules) {
  // Two nested squares traced the same way: non-zero fills the hole,
  // even-odd leaves it empty; traced opposite ways both leave it empty.
  BezierPath same = square(0, 0, 10);
  same.append(square(3, 3, 4));
  BezierPath opposite = square(0, 0, 10);
  opposite.append(square(3, 3, 4).reversed());
  struct Case {
    const BezierPath* path;
    Point point;
    bool nonZero, evenOdd;
  } cases[] = {
      {&same, {1, 1}, true, true},       {&same, {5, 5}, true, false},
      {&opposite, {5, 5}, false, false}, {&opposite, {1, 1}, true, true},
      {&same, {11, 5}, false, false},    {&same, {-0.001, 5}, false, false},
      {&same, {kNaN, 5}, false, false},  {&same, {5, kInf}, false, false},
  };
  for (const Case& c : cases) {
    SCOPED_TRACE(testing::Message() << c.point.x << "," << c.point.y);
    EXPECT_EQ(c.path->containsPoint(c.point, FillRule::NonZero), c.nonZero);
    EXPECT_EQ(c.path->containsPoint(c.point, FillRule::EvenOdd), c.evenOdd);
  }
  EXPECT_FALSE(BezierPath().containsPoint({0, 0}));
}

TEST(BezierPathContains, CurvesAndOpenSubpaths) {
  BezierPath circle;
  circle.arc({0, 0}, 10, 0, 2 * std::numbers::pi);
  circle.closePath();
  const struct {
    Point point;
    bool inside;
  } cases[] = {{{0, 0}, true},      {{9.99, 0}, true},  {{10.01, 0}, false}, {{7, 7}, true},
               {{7.1, 7.1}, false}, {{0, -9.99}, true}, {{0, 10.01}, false}};
  for (const auto& c : cases) {
    SCOPED_TRACE(testing::Message() << c.point.x << "," << c.point.y);
    EXPECT_EQ(circle.containsPoint(c.point), c.inside);
  }
  BezierPath open;  // a triangle left open still fills
  open.moveTo({0, 0});
  open.lineTo({10, 0});
  open.lineTo({0, 10});
  EXPECT_TRUE(open.containsPoint({2, 2}));
  EXPECT_FALSE(open.containsPoint({6, 6}));
}

TEST(BezierPathTransform, MapsPointsAndRefusesNonFinite) {
  BezierPath path = square(0, 0, 10);
  const BezierPath before = path;
  EXPECT_FALSE(path.transform({kNaN, 0, 0, 1, 0, 0}));
  EXPECT_EQ(path, before);
  EXPECT_TRUE(path.transform(
      AffineTransform::scale(2, 3).concatenating(AffineTransform::translation(5, -5))));
  expectRect(path.bounds(), {{5, -5}, {20, 30}});
  const BezierPath turned =
      square(0, 0, 10).transformed(AffineTransform::rotation(std::numbers::pi / 2));
  expectRect(turned.bounds(), {{-10, 0}, {10, 10}}, 1e-9);
}

TEST(BezierPathReversal, SameShapeBackwards) {
  BezierPath path;
  path.moveTo({0, 0});
  path.lineTo({10, 0});
  path.curveTo({10, 10}, {12, 3}, {12, 7});
  path.closePath();
  path.moveTo({20, 20});
  path.lineTo({30, 20});
  const BezierPath r = path.reversed();
  EXPECT_EQ(types(r), (std::vector{Type::MoveTo, Type::LineTo, Type::MoveTo, Type::CurveTo,
                                   Type::LineTo, Type::ClosePath}));
  auto it = r.begin();
  EXPECT_EQ((*it).points[0], (Point{30, 20}));
  std::advance(it, 3);
  EXPECT_EQ((*it).points[0], (Point{12, 7}));
  EXPECT_EQ((*it).points[1], (Point{12, 3}));
  EXPECT_EQ((*it).points[2], (Point{10, 0}));
  expectRect(r.bounds(), path.bounds());
  EXPECT_EQ(r.reversed(), path);
  EXPECT_TRUE(BezierPath().reversed().isEmpty());
}

TEST(BezierPathFlattening, StaysWithinTolerance) {
  BezierPath circle;
  circle.arc({0, 0}, 100, 0, 2 * std::numbers::pi);
  for (const double tolerance : {10.0, 0.6, 0.01, BezierPath::kMinimumFlatness, 0.0, -1.0, kNaN}) {
    SCOPED_TRACE(tolerance);
    const BezierPath flat = circle.flattened(tolerance);
    const double effective = std::max(tolerance, BezierPath::kMinimumFlatness);
    for (const auto& e : flat) {
      ASSERT_NE(e.type, Type::CurveTo);
      // Vertices lie on the curve; the arc's own error is well below 0.03.
      EXPECT_NEAR(std::hypot(e.points[0].x, e.points[0].y), 100, 0.03);
    }
    // A chord's midpoint is the farthest from the circle: 100 - mid distance.
    Point previous = (*flat.begin()).points[0];
    for (auto it = std::next(flat.begin()); it != flat.end(); ++it) {
      const Point p = (*it).points[0];
      const double sagitta = 100 - std::hypot((p.x + previous.x) / 2, (p.y + previous.y) / 2);
      EXPECT_LE(sagitta, (std::isnan(effective) ? BezierPath::kMinimumFlatness : effective) + 0.03);
      previous = p;
    }
  }
  EXPECT_GT(circle.flattened(0.01).elementCount(), circle.flattened(1).elementCount());
  EXPECT_TRUE(BezierPath().flattened().isEmpty());
}

TEST(BezierPathStyle, SettersSanitize) {
  BezierPath path;
  const struct {
    double in, width, miter;
  } numbers[] = {{2, 2, 2}, {0, 0, 1}, {-1, 0, 1}, {kNaN, 0, 1}, {kInf, 0, 1}, {0.5, 0.5, 1}};
  for (const auto& n : numbers) {
    path.setLineWidth(n.in);
    path.setMiterLimit(n.in);
    EXPECT_EQ(path.lineWidth(), n.width) << n.in;
    EXPECT_EQ(path.miterLimit(), n.miter) << n.in;
  }
  const struct {
    std::vector<double> pattern;
    double phase;
    std::vector<double> kept;
    double keptPhase;
  } dashes[] = {
      {{4, 2}, 1, {4, 2}, 1}, {{4, 0}, kNaN, {4, 0}, 0}, {{0, 0}, 1, {}, 0},
      {{4, -1}, 1, {}, 0},    {{4, kInf}, 1, {}, 0},     {{}, 3, {}, 0},
  };
  for (const auto& d : dashes) {
    path.setDash(d.pattern, d.phase);
    EXPECT_EQ(path.dashPattern(), d.kept);
    EXPECT_EQ(path.dashPhase(), d.keptPhase);
  }
}

TEST(BezierPathScale, MillionElements) {
  BezierPath path;
  for (int i = 0; i < 1'000'000; ++i) path.lineTo({static_cast<double>(i % 1000), i / 1000.0});
  expectRect(path.bounds(), {{0, 0}, {999, 999.999}});
  EXPECT_EQ(path.elementCount(), 1'000'000u);
  EXPECT_EQ(path.reversed().elementCount(), 1'000'000u);
}

}  // namespace
}  // namespace lx
