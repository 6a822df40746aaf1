#include "vantorcore/drawing/DrawingFile.h"

#include <gtest/gtest.h>

#include <filesystem>
#include <limits>

#include "drawing/DrawingTestSupport.h"
#include "support/TestSupport.h"
#include "vantorcore/drawing/DrawingError.h"

namespace lx {
namespace {

using test::kNaN;

void paintRed(cairo_t* cr) {
  cairo_set_source_rgb(cr, 1, 0, 0);
  cairo_rectangle(cr, 0, 0, 5, 5);
  cairo_fill(cr);
}

TEST(DrawingFile, WritesEachFormat) {
  const auto folder = test::makeTemporaryFolder("draw");
  const std::string png = folder / "a.PNG";
  ASSERT_TRUE(lx_drawToFile(png, {10, 6}, 2, paintRed));
  cairo_surface_t* image = cairo_image_surface_create_from_png(png.c_str());
  EXPECT_EQ(cairo_image_surface_get_width(image), 20);
  EXPECT_EQ(cairo_image_surface_get_height(image), 12);
  cairo_surface_destroy(image);
  const std::string svg = folder / "a.svg", pdf = folder / "a.pdf";
  ASSERT_TRUE(lx_drawToFile(svg, {10, 6}, 2, paintRed));
  ASSERT_TRUE(lx_drawToFile(pdf, {10, 6}, 2, paintRed));
  EXPECT_NE(test::readFile(svg).find("<svg"), std::string::npos);
  EXPECT_EQ(test::readFile(pdf).rfind("%PDF", 0), 0u);
}

TEST(DrawingFile, RefusesBadSizesFormatsAndPaths) {
  const auto folder = test::makeTemporaryFolder("draw");
  const struct {
    std::string name;
    Size size;
    double scale;
    DrawingErrorCode code;  // InvalidSize 0 means success
    bool ok;
  } cases[] = {
      {"edge.png", {16384, 1}, 1, {}, true},
      {"past.png", {16385, 1}, 1, DrawingErrorCode::InvalidSize, false},
      {"scaled.png", {8193, 1}, 2, DrawingErrorCode::InvalidSize, false},
      {"vector-ignores-scale.pdf", {8193, 1}, 2, {}, true},
      {"zero.png", {0, 5}, 1, DrawingErrorCode::InvalidSize, false},
      {"negative.png", {5, -5}, 1, DrawingErrorCode::InvalidSize, false},
      {"nan.png", {kNaN, 5}, 1, DrawingErrorCode::InvalidSize, false},
      {"noscale.png", {5, 5}, 0, DrawingErrorCode::InvalidSize, false},
      {"picture.jpeg", {5, 5}, 1, DrawingErrorCode::UnsupportedFormat, false},
      {"no-extension", {5, 5}, 1, DrawingErrorCode::UnsupportedFormat, false},
      {"dot.dir/file", {5, 5}, 1, DrawingErrorCode::UnsupportedFormat, false},
      {"missing/folder/a.png", {5, 5}, 1, DrawingErrorCode::WriteFailed, false},
      {"missing/folder/a.svg", {5, 5}, 1, DrawingErrorCode::WriteFailed, false},
  };
  for (const auto& c : cases) {
    SCOPED_TRACE(c.name);
    ErrorPtr error;
    const std::string path = folder / c.name;
    EXPECT_EQ(lx_drawToFile(path, c.size, c.scale, paintRed, &error), c.ok);
    if (c.ok) continue;
    ASSERT_TRUE(error);
    EXPECT_EQ(error->domain(), LXDrawingErrorDomain);
    EXPECT_EQ(error->code(), static_cast<std::int64_t>(c.code));
    EXPECT_FALSE(std::filesystem::exists(path));
  }
}

}  // namespace
}  // namespace lx
