#include "vantorcore/drawing/ProgressPie.h"

#include <gtest/gtest.h>

#include <cmath>
#include <limits>

#include "drawing/DrawingTestSupport.h"

namespace lx {
namespace {

using test::kInf;
using test::kNaN;

TEST(ProgressPie, ProgressIsClamped) {
  const struct {
    double in, out;
  } cases[] = {{-0.5, 0}, {0, 0},    {0.25, 0.25}, {1, 1},    {1.0001, 1},
               {7, 1},    {kNaN, 0}, {kInf, 1},    {-kInf, 0}};
  for (const auto& c : cases) EXPECT_EQ(ProgressPie::clampedProgress(c.in), c.out) << c.in;
}

ProgressPie plainPie() {
  ProgressPie pie;
  pie.setFillColor(Color::fromRGBA(0, 0, 1));
  pie.setBackgroundColor(Color::fromRGBA(0, 0, 0, 0));
  pie.setOutlineWidth(0);
  return pie;
}

// Whether the four quadrants (top-right, bottom-right, bottom-left,
// top-left) of a 100-unit pie drawn at `scale` are filled at their middles.
struct Quadrants {
  bool topRight, bottomRight, bottomLeft, topLeft;
  friend bool operator==(const Quadrants&, const Quadrants&) = default;
};

Quadrants drawnQuadrants(double progress, double scale) {
  const int side = static_cast<int>(100 * scale);
  test::Canvas canvas(side, side);
  cairo_surface_set_device_scale(cairo_get_target(canvas.context()), scale, scale);
  plainPie().draw(canvas.context(), Rect{{0, 0}, {100, 100}}, progress);
  auto filled = [&](double x, double y) {
    return canvas.alpha(static_cast<int>(x * scale), static_cast<int>(y * scale)) == 255;
  };
  return {filled(75, 25), filled(75, 75), filled(25, 75), filled(25, 25)};
}

TEST(ProgressPie, WedgeGrowsClockwiseFromTwelve) {
  const struct {
    double progress;
    Quadrants quadrants;
  } cases[] = {
      {0, {false, false, false, false}},  {0.25, {true, false, false, false}},
      {0.5, {true, true, false, false}},  {0.75, {true, true, true, false}},
      {1, {true, true, true, true}},      {1.5, {true, true, true, true}},
      {-1, {false, false, false, false}}, {kNaN, {false, false, false, false}},
  };
  for (const double scale : {1.0, 2.0}) {
    for (const auto& c : cases) {
      SCOPED_TRACE(testing::Message() << "progress " << c.progress << " at " << scale << "x");
      EXPECT_EQ(drawnQuadrants(c.progress, scale), c.quadrants);
    }
  }
}

TEST(ProgressPie, QuarterFillsExactlyTheTopRight) {
  test::Canvas canvas(100, 100);
  plainPie().draw(canvas.context(), Rect{{0, 0}, {100, 100}}, 0.25);
  for (int y = 0; y < 100; ++y) {
    for (int x = 0; x < 100; ++x) {
      const double dx = x + 0.5 - 50, dy = y + 0.5 - 50;
      const double r = std::hypot(dx, dy);
      const bool inside = dx > 1 && dy < -1 && r < 49;
      const bool outside = dx < -1 || dy > 1 || r > 51;
      if (inside) {
        ASSERT_EQ(canvas.alpha(x, y), 255) << x << "," << y;
      }
      if (outside) {
        ASSERT_EQ(canvas.alpha(x, y), 0) << x << "," << y;
      }
    }
  }
}

TEST(ProgressPie, BackgroundAndOutline) {
  ProgressPie pie;
  pie.setFillColor(Color::fromRGBA(0, 0, 1));
  pie.setBackgroundColor(Color::fromRGBA(0, 1, 0));
  pie.setOutlineColor(Color::fromRGBA(1, 0, 0));
  pie.setOutlineWidth(4);
  test::Canvas canvas(100, 100);
  pie.draw(canvas.context(), Rect{{0, 0}, {100, 100}}, 0.25);
  EXPECT_EQ(canvas.blue(75, 25), 255);   // wedge
  EXPECT_EQ(canvas.green(25, 75), 255);  // background
  EXPECT_EQ(canvas.red(50, 1), 255);     // outline, kept inside the rectangle
  EXPECT_EQ(canvas.alpha(50, 0) > 0, true);
  EXPECT_EQ(canvas.alpha(2, 2), 0);
  pie.setOutlineWidth(kNaN);
  EXPECT_EQ(pie.outlineWidth(), 0);
  EXPECT_TRUE(pie.wedgePath(Rect{{0, 0}, {0, 10}}, 0.5).isEmpty());
}

}  // namespace
}  // namespace lx
