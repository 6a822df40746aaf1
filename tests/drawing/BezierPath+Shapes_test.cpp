#include "vantorcore/drawing/BezierPath+Shapes.h"

#include <gtest/gtest.h>

#include <algorithm>
#include <cmath>
#include <limits>

#include "drawing/DrawingTestSupport.h"
#include "vantorcore/drawing/BezierPath+Cairo.h"

namespace lx {
namespace {

using test::kInf;
using test::kNaN;

using test::expectRect;

TEST(Shapes, EmptyAndInvalidRectanglesGiveEmptyPaths) {
  const Rect rects[] = {{{0, 0}, {0, 10}},
                        {{0, 0}, {10, 0}},
                        {{kNaN, 0}, {10, 10}},
                        {{0, 0}, {kInf, 10}},
                        {{0, 0}, {10, -kInf}}};
  for (const Rect& r : rects) {
    EXPECT_TRUE(lx_roundedRectPath(r, 2).isEmpty());
    EXPECT_TRUE(lx_capsulePath(r).isEmpty());
    EXPECT_TRUE(lx_speechBubblePath(r, 2, {}).isEmpty());
  }
}

TEST(Shapes, RoundedRectRadiiAreClamped) {
  // The point on the corner's diagonal tells the radius actually used:
  // with radius r the curve passes r·(1 - 1/√2) in from the corner.
  const Rect rect{{0, 0}, {100, 40}};
  auto insetAtCorner = [](double r) { return r * (1 - std::sqrt(0.5)); };
  const struct {
    double radius, used;
  } cases[] = {{0, 0}, {-5, 0}, {kNaN, 0}, {10, 10}, {20, 20}, {20.001, 20}, {1e9, 20}, {kInf, 20}};
  for (const auto& c : cases) {
    SCOPED_TRACE(c.radius);
    const BezierPath path = lx_roundedRectPath(rect, c.radius);
    const double d = insetAtCorner(c.used);
    EXPECT_TRUE(path.containsPoint({d + 0.05, d + 0.05}));
    if (c.used > 0) {
      EXPECT_FALSE(path.containsPoint({d - 0.05, d - 0.05}));
    }
    expectRect(path.bounds(), rect);
  }
  // A negative width is read the other way.
  expectRect(lx_roundedRectPath({{100, 0}, {-100, 40}}, 5).bounds(), rect);
}

TEST(Shapes, FourRadiiRoundOnlyTheirCorners) {
  const BezierPath path = lx_roundedRectPath({{0, 0}, {100, 100}}, CornerRadii{40, 0, -3, 80});
  EXPECT_FALSE(path.containsPoint({2, 2}));   // top-left rounded
  EXPECT_TRUE(path.containsPoint({99, 1}));   // top-right sharp
  EXPECT_TRUE(path.containsPoint({99, 99}));  // bottom-right: negative is sharp
  EXPECT_FALSE(path.containsPoint({8, 92}));  // bottom-left clamped to 50, rounded
  EXPECT_TRUE(path.containsPoint({15, 85}));  // still inside a radius-50 corner
}

TEST(Shapes, CapsuleEndsAreRoundWhicheverWayItLies) {
  const struct {
    Rect rect;
    Point centreA, centreB;
    double radius;
  } cases[] = {{{{10, 10}, {80, 20}}, {20, 20}, {80, 20}, 10},
               {{{10, 10}, {20, 80}}, {20, 20}, {20, 80}, 10},
               {{{0, 0}, {30, 30}}, {15, 15}, {15, 15}, 15}};
  for (const auto& c : cases) {
    test::Canvas canvas(100, 100);
    lx_fill(lx_capsulePath(c.rect), canvas.context());
    // Every pixel inside is the distance from the segment between the two
    // end centres: within the radius painted, beyond it clear.
    for (int y = 0; y < 100; ++y) {
      for (int x = 0; x < 100; ++x) {
        const Point p{x + 0.5, y + 0.5};
        const double vx = c.centreB.x - c.centreA.x, vy = c.centreB.y - c.centreA.y;
        const double length2 = vx * vx + vy * vy;
        const double t =
            length2 == 0
                ? 0
                : std::clamp(((p.x - c.centreA.x) * vx + (p.y - c.centreA.y) * vy) / length2, 0.0,
                             1.0);
        const double d = std::hypot(p.x - c.centreA.x - t * vx, p.y - c.centreA.y - t * vy);
        if (d < c.radius - 0.8) {
          ASSERT_EQ(canvas.alpha(x, y), 255) << x << "," << y;
        }
        if (d > c.radius + 0.8) {
          ASSERT_EQ(canvas.alpha(x, y), 0) << x << "," << y;
        }
      }
    }
  }
}

TEST(Shapes, SpeechBubblePointerStaysBetweenTheCorners) {
  const Rect body{{0, 0}, {100, 50}};
  const struct {
    const char* name;
    BubblePointer pointer;
    Point tip;
    Rect bounds;
  } cases[] = {
      {"bottom middle", {RectEdge::Bottom, 0.5, 12, 8}, {50, 58}, {{0, 0}, {100, 58}}},
      {"top, 0 kept off the corner", {RectEdge::Top, 0, 12, 8}, {16, -8}, {{0, -8}, {100, 58}}},
      {"right past the end", {RectEdge::Right, 2, 12, 8}, {108, 34}, {{0, 0}, {108, 50}}},
      {"left, NaN is the middle", {RectEdge::Left, kNaN, 12, 8}, {-8, 25}, {{-8, 0}, {108, 50}}},
      {"too wide is narrowed", {RectEdge::Bottom, 0.5, 500, 8}, {50, 58}, {{0, 0}, {100, 58}}},
  };
  for (const auto& c : cases) {
    SCOPED_TRACE(c.name);
    const BezierPath path = lx_speechBubblePath(body, 10, c.pointer);
    expectRect(path.bounds(), c.bounds);
    // Just inside the tip is inside the bubble; the body's corner stays round.
    const Point inward{c.tip.x + (c.tip.x < 0     ? 0.5
                                  : c.tip.x > 100 ? -0.5
                                                  : 0),
                       c.tip.y + (c.tip.y < 0    ? 0.5
                                  : c.tip.y > 50 ? -0.5
                                                 : 0)};
    EXPECT_TRUE(path.containsPoint(inward));
    EXPECT_FALSE(path.containsPoint({0.5, 0.5}));
    EXPECT_FALSE(path.containsPoint({99.5, 49.5}));
  }
  // No pointer for a zero or NaN size.
  for (const BubblePointer p :
       {BubblePointer{RectEdge::Top, 0.5, 0, 8}, BubblePointer{RectEdge::Top, 0.5, 12, -1},
        BubblePointer{RectEdge::Top, 0.5, kNaN, 8}}) {
    EXPECT_EQ(lx_speechBubblePath(body, 10, p), lx_roundedRectPath(body, 10));
  }
}

}  // namespace
}  // namespace lx
