#include "vantorcore/drawing/Spinner.h"

#include <gtest/gtest.h>

#include <cmath>
#include <limits>

#include "drawing/DrawingTestSupport.h"

namespace lx {
namespace {

using test::kInf;
using test::kNaN;

TEST(Spinner, LeadingSpokeFollowsTheClock) {
  const Spinner spinner;  // 12 spokes, one turn a second
  const struct {
    double seconds;
    int spoke;
  } cases[] = {{0, 0},      {0.08, 0}, {0.09, 1}, {0.5, 6},  {0.999, 11}, {1, 0},
               {-0.01, 11}, {-1, 0},   {kNaN, 0}, {kInf, 0}, {-kInf, 0},  {1e9 + 0.25, 3}};
  for (const auto& c : cases) {
    EXPECT_EQ(spinner.leadingSpoke(c.seconds), c.spoke) << c.seconds;
  }
  Spinner slow;
  slow.setPeriod(2);
  slow.setSpokeCount(4);
  EXPECT_EQ(slow.leadingSpoke(1.1), 2);
}

TEST(Spinner, TrailingSpokesFade) {
  Spinner spinner;
  spinner.setTrailingOpacity(0.12);
  const struct {
    int spoke, leading;
    double opacity;
  } cases[] = {{3, 3, 1},     {2, 3, 0.92}, {4, 3, 0.12}, {0, 11, 0.12},
               {11, 0, 0.92}, {15, 3, 1},   {-9, 3, 1}};
  for (const auto& c : cases) {
    EXPECT_NEAR(spinner.spokeOpacity(c.spoke, c.leading), c.opacity, 1e-12)
        << c.spoke << " behind " << c.leading;
  }
}

TEST(Spinner, SettersClamp) {
  Spinner s;
  const struct { int in, count; } counts[] = {{2, 3}, {3, 3}, {360, 360}, {361, 360}, {-5, 3}};
  for (const auto& c : counts) {
    s.setSpokeCount(c.in);
    EXPECT_EQ(s.spokeCount(), c.count) << c.in;
  }
  s.setPeriod(0);
  s.setPeriod(-1);
  s.setPeriod(kInf);
  EXPECT_EQ(s.period(), 1);
  s.setSpokeWidth(0);
  EXPECT_EQ(s.spokeWidth(), 0.01);
  s.setSpokeWidth(kNaN);
  EXPECT_EQ(s.spokeWidth(), 0.01);
  s.setInnerRadius(2);
  EXPECT_EQ(s.innerRadius(), 0.9);
  s.setTrailingOpacity(-1);
  EXPECT_EQ(s.trailingOpacity(), 0);
}

TEST(Spinner, DrawsSpokesAtTwiceTheScale) {
  test::Canvas canvas(64, 64);
  cairo_surface_set_device_scale(cairo_get_target(canvas.context()), 2, 2);
  Spinner spinner;
  spinner.setColor(Color::fromRGBA(0, 0, 0));
  spinner.draw(canvas.context(), Rect{{0, 0}, {32, 32}}, 0);
  // Device pixels: centre (32, 32), outer radius 32, spokes from 16 out.
  const int leader = canvas.alpha(32, 6);       // 12 o'clock
  const int behind = canvas.alpha(32 - 13, 9);  // 11 o'clock
  const int ahead = canvas.alpha(32 + 13, 9);   // 1 o'clock, faded most
  EXPECT_GT(leader, 240);
  EXPECT_GT(behind, ahead);
  EXPECT_NEAR(ahead, 0.15 * 255, 12);
  EXPECT_EQ(canvas.alpha(32, 32), 0);  // the hub stays empty
  EXPECT_EQ(canvas.alpha(2, 2), 0);    // nothing beyond the radius
}

TEST(Spinner, NothingForEmptyRectangles) {
  const Spinner spinner;
  for (const Rect r : {Rect{{0, 0}, {0, 10}}, Rect{{kNaN, 0}, {10, 10}}, Rect{{0, 0}, {kInf, 5}}}) {
    test::Canvas canvas(16, 16);
    spinner.draw(canvas.context(), r, 0.3);
    EXPECT_EQ(canvas.paintedCount(), 0);
  }
  test::Canvas tiny(4, 4);  // any size draws, however small
  spinner.draw(tiny.context(), Rect{{0, 0}, {1, 1}});
  EXPECT_GT(tiny.paintedCount(), 0);
}

}  // namespace
}  // namespace lx
