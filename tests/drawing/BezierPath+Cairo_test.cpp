#include "vantorcore/drawing/BezierPath+Cairo.h"

#include <gtest/gtest.h>

#include <cmath>
#include <numbers>

#include "drawing/DrawingTestSupport.h"
#include "vantorcore/drawing/BezierPath+Shapes.h"

namespace lx {
namespace {

BezierPath sample() {
  BezierPath path;
  path.moveTo({1, 2});
  path.lineTo({30, 2});
  path.curveTo({30, 30}, {40, 10}, {40, 20});
  path.closePath();
  path.moveTo({5, 5});
  path.quadTo({9, 9}, {9, 5});
  return path;
}

TEST(BezierPathCairo, RoundTripsThroughCairoPathData) {
  const BezierPath path = sample();
  CairoPathPtr data = lx_cairoPath(path);
  EXPECT_EQ(lx_bezierPathFromCairo(data.get()), path);
  // Cairo's own copy reads back the same elements, its points rounded to
  // Cairo's 24.8 fixed point.
  test::Canvas canvas(1, 1);
  lx_appendToCairo(path, canvas.context());
  CairoPathPtr copied(cairo_copy_path(canvas.context()));
  const BezierPath back = lx_bezierPathFromCairo(copied.get());
  ASSERT_EQ(back.elementCount(), path.elementCount());
  for (auto a = back.begin(), b = path.begin(); a != back.end(); ++a, ++b) {
    EXPECT_EQ((*a).type, (*b).type);
    for (int i = 0; i < 3; ++i) {
      EXPECT_NEAR((*a).points[i].x, (*b).points[i].x, 1.0 / 256);
      EXPECT_NEAR((*a).points[i].y, (*b).points[i].y, 1.0 / 256);
    }
  }
  EXPECT_TRUE(lx_bezierPathFromCairo(lx_cairoPath(BezierPath()).get()).isEmpty());
}

TEST(BezierPathCairo, MalformedCairoDataEndsTheReading) {
  EXPECT_TRUE(lx_bezierPathFromCairo(nullptr).isEmpty());
  cairo_path_data_t data[4];
  data[0].header = {CAIRO_PATH_MOVE_TO, 2};
  data[1].point = {1, 1};
  data[2].header = {CAIRO_PATH_CURVE_TO, 4};  // claims more points than remain
  data[3].point = {2, 2};
  cairo_path_t path{CAIRO_STATUS_SUCCESS, data, 4};
  EXPECT_EQ(lx_bezierPathFromCairo(&path).elementCount(), 1u);
  data[2].header = {CAIRO_PATH_LINE_TO, 0};  // a zero length would never advance
  EXPECT_EQ(lx_bezierPathFromCairo(&path).elementCount(), 1u);
  data[2].header = {CAIRO_PATH_CURVE_TO, 2};  // too short for its type
  EXPECT_EQ(lx_bezierPathFromCairo(&path).elementCount(), 1u);
  path.status = CAIRO_STATUS_NO_MEMORY;
  EXPECT_TRUE(lx_bezierPathFromCairo(&path).isEmpty());
}

TEST(BezierPathCairo, BoundsAgreeWithCairoExtents) {
  BezierPath path;
  path.moveTo({0, 0});
  path.curveTo({10, 0}, {0, 10}, {10, 10});
  test::Canvas canvas(1, 1);
  lx_appendToCairo(path, canvas.context());
  double x0, y0, x1, y1;
  cairo_path_extents(canvas.context(), &x0, &y0, &x1, &y1);
  const Rect b = path.bounds();
  EXPECT_NEAR(b.maxY(), y1, 0.05);  // Cairo flattens, so it is only close
  EXPECT_NEAR(b.maxX(), x1, 0.05);
}

TEST(BezierPathCairo, ClipLeavesNothingOutsideThePath) {
  test::Canvas canvas(40, 40);
  BezierPath circle;
  circle.arc({20, 20}, 10, 0, 2 * std::numbers::pi);
  cairo_t* cr = canvas.context();
  cairo_save(cr);
  lx_addClip(circle, cr);
  cairo_set_source_rgb(cr, 1, 0, 0);
  cairo_paint(cr);
  cairo_restore(cr);
  for (int y = 0; y < 40; ++y) {
    for (int x = 0; x < 40; ++x) {
      const double d = std::hypot(x + 0.5 - 20, y + 0.5 - 20);
      if (d > 11) {
        ASSERT_EQ(canvas.alpha(x, y), 0) << x << "," << y;
      }
      if (d < 9) {
        ASSERT_EQ(canvas.alpha(x, y), 255) << x << "," << y;
      }
    }
  }
}

TEST(BezierPathCairo, FillRuleAndStrokeStyleReachCairo) {
  BezierPath rings = lx_roundedRectPath({{0, 0}, {40, 40}}, 0);
  rings.append(lx_roundedRectPath({{10, 10}, {20, 20}}, 0));
  const struct {
    FillRule rule;
    int holeAlpha;
  } cases[] = {{FillRule::NonZero, 255}, {FillRule::EvenOdd, 0}};
  for (const auto& c : cases) {
    test::Canvas canvas(40, 40);
    rings.setFillRule(c.rule);
    lx_fill(rings, canvas.context());
    EXPECT_EQ(canvas.alpha(20, 20), c.holeAlpha);
    EXPECT_EQ(canvas.alpha(5, 5), 255);
  }
  test::Canvas canvas(40, 10);
  BezierPath line;
  line.moveTo({0, 5});
  line.lineTo({40, 5});
  line.setLineWidth(4);
  line.setDash({10, 10});
  lx_stroke(line, canvas.context());
  EXPECT_EQ(canvas.alpha(5, 5), 255);  // in a dash
  EXPECT_EQ(canvas.alpha(15, 5), 0);   // in a gap
  EXPECT_EQ(canvas.alpha(5, 8), 0);    // beyond half the width
}

}  // namespace
}  // namespace lx
