#include "vantorcore/drawing/Gradient.h"

#include <gtest/gtest.h>

#include <limits>

#include "drawing/DrawingTestSupport.h"
#include "vantorcore/drawing/BezierPath+Shapes.h"

namespace lx {
namespace {

using test::kNaN;

void expectColor(const Color& c, double r, double g, double b, double a = 1) {
  EXPECT_NEAR(c.red(), r, 1e-9);
  EXPECT_NEAR(c.green(), g, 1e-9);
  EXPECT_NEAR(c.blue(), b, 1e-9);
  EXPECT_NEAR(c.alpha(), a, 1e-9);
}

TEST(Gradient, StopsAreSortedClampedAndNaNDropped) {
  const Color red = Color::fromRGBA(1, 0, 0), blue = Color::fromRGBA(0, 0, 1);
  const Gradient g({{0.8, red}, {kNaN, red}, {-3, blue}, {0.8, blue}, {7, red}});
  ASSERT_EQ(g.stops().size(), 4u);
  EXPECT_EQ(g.stops()[0].location, 0);
  EXPECT_EQ(g.stops()[1].color, red);  // equal locations keep their order
  EXPECT_EQ(g.stops()[2].color, blue);
  EXPECT_EQ(g.stops()[3].location, 1);
}

TEST(Gradient, ColorAtByStopCount) {
  const Color black = Color::fromRGBA(0, 0, 0), white = Color::fromRGBA(1, 1, 1);
  const Color clearRed = Color::fromRGBA(1, 0, 0, 0);
  const struct {
    const char* name;
    Gradient gradient;
    double location;
    double r, g, b, a;
  } cases[] = {
      {"no stops", Gradient(), 0.5, 0, 0, 0, 0},
      {"one stop before", Gradient(std::vector<Gradient::Stop>{{0.5, white}}), 0, 1, 1, 1, 1},
      {"one stop after", Gradient(std::vector<Gradient::Stop>{{0.5, white}}), 1, 1, 1, 1, 1},
      {"two stops start", Gradient(black, white), 0, 0, 0, 0, 1},
      {"two stops quarter", Gradient(black, white), 0.25, 0.25, 0.25, 0.25, 1},
      {"two stops end", Gradient(black, white), 1, 1, 1, 1, 1},
      {"below range", Gradient(black, white), -1, 0, 0, 0, 1},
      {"above range", Gradient(black, white), 2, 1, 1, 1, 1},
      {"NaN is 0", Gradient(black, white), kNaN, 0, 0, 0, 1},
      {"alpha interpolates", Gradient(white, clearRed), 0.5, 1, 0.5, 0.5, 0.5},
      {"jump at equal stops", Gradient({{0, black}, {0.5, black}, {0.5, white}, {1, white}}), 0.5,
       1, 1, 1, 1},
      {"three evenly", Gradient(std::vector{black, white, black}), 0.75, 0.5, 0.5, 0.5, 1},
  };
  for (const auto& c : cases) {
    SCOPED_TRACE(c.name);
    expectColor(c.gradient.colorAt(c.location), c.r, c.g, c.b, c.a);
  }
}

TEST(Gradient, LinearDrawingFollowsTheAngle) {
  const Gradient g(Color::fromRGBA(0, 0, 0), Color::fromRGBA(1, 1, 1));
  const struct {
    double angle;
    Point dark, light;
  } cases[] = {{0, {1, 50}, {98, 50}},   {90, {50, 1}, {50, 98}}, {180, {98, 50}, {1, 50}},
               {-90, {50, 98}, {50, 1}}, {45, {1, 1}, {98, 98}},  {kNaN, {1, 50}, {98, 50}}};
  for (const auto& c : cases) {
    SCOPED_TRACE(c.angle);
    test::Canvas canvas(100, 100);
    g.drawLinear(canvas.context(), Rect{{0, 0}, {100, 100}}, c.angle);
    EXPECT_LT(canvas.red(c.dark.x, c.dark.y), 10);
    EXPECT_GT(canvas.red(c.light.x, c.light.y), 245);
    EXPECT_NEAR(canvas.red(50, 50), 128, 3);
  }
}

TEST(Gradient, RadialCentreAndPathClip) {
  const Gradient g(Color::fromRGBA(1, 1, 1), Color::fromRGBA(0, 0, 0));
  test::Canvas canvas(100, 100);
  g.drawRadial(canvas.context(), Rect{{0, 0}, {100, 100}}, {1, -1});  // top-right corner
  EXPECT_GT(canvas.red(98, 1), 245);
  EXPECT_LT(canvas.red(1, 98), 10);

  test::Canvas clipped(100, 100);
  g.drawRadial(clipped.context(), lx_capsulePath({{10, 40}, {80, 20}}));
  EXPECT_EQ(clipped.alpha(5, 5), 0);
  EXPECT_EQ(clipped.alpha(50, 50), 255);
  EXPECT_GT(clipped.red(50, 50), 245);

  test::Canvas nothing(10, 10);
  Gradient().drawLinear(nothing.context(), Rect{{0, 0}, {10, 10}}, 0);
  g.drawLinear(nothing.context(), Rect{{0, 0}, {0, 10}}, 0);
  EXPECT_EQ(nothing.paintedCount(), 0);
}

}  // namespace
}  // namespace lx
