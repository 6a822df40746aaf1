#include "vantorcore/drawing/Font+Cairo.h"

#include <gtest/gtest.h>

#include "drawing/DrawingTestSupport.h"

namespace lx {
namespace {

double advance(const FontMatch& match, const char* text) {
  test::Canvas canvas(1, 1);
  lx_setCairoFont(canvas.context(), match);
  cairo_text_extents_t extents;
  cairo_text_extents(canvas.context(), text, &extents);
  return extents.x_advance;
}

TEST(FontCairo, DrawsTextInTheMatchedFace) {
  const auto mono = lx_matchFont(Font(u"DejaVu Sans Mono", 12));
  const auto sans = lx_matchFont(Font(u"DejaVu Sans", 12));
  ASSERT_TRUE(mono && sans);
  // Fixed pitch: every glyph advances alike; proportional ones do not.
  EXPECT_DOUBLE_EQ(advance(*mono, "iiii"), advance(*mono, "WWWW"));
  EXPECT_LT(advance(*sans, "iiii"), advance(*sans, "WWWW"));
  // The size is in points: 12 pt is 16 user units, and twice the size
  // doubles the advance (give or take the hinting's whole-unit rounding).
  const auto big = lx_matchFont(Font(u"DejaVu Sans Mono", 24));
  EXPECT_NEAR(advance(*big, "WWWW"), 2 * advance(*mono, "WWWW"), 4);

  test::Canvas canvas(80, 30);
  cairo_t* cr = canvas.context();
  lx_setCairoFont(cr, *sans);
  EXPECT_EQ(cairo_status(cr), CAIRO_STATUS_SUCCESS);
  cairo_matrix_t matrix;
  cairo_get_font_matrix(cr, &matrix);
  EXPECT_DOUBLE_EQ(matrix.xx, 16);
  cairo_move_to(cr, 2, 20);
  cairo_show_text(cr, "Hello");
  EXPECT_GT(canvas.paintedCount(), 50);
}

}  // namespace
}  // namespace lx
