// Helpers of the drawing tests: an image surface to check pixels in, and
// rectangle comparison with a tolerance.
#pragma once

#include <cairo.h>

#include <gtest/gtest.h>

#include <cstdint>
#include <limits>

#include "vantorcore/drawing/Geometry.h"

namespace lx::test {

/// Numbers that drawing calls must refuse or clamp.
///@{
inline constexpr double kNaN = std::numeric_limits<double>::quiet_NaN();
inline constexpr double kInf = std::numeric_limits<double>::infinity();
///@}

class Canvas {
 public:
  Canvas(int width, int height)
      : surface_(cairo_image_surface_create(CAIRO_FORMAT_ARGB32, width, height)),
        cr_(cairo_create(surface_)) {}
  ~Canvas() {
    cairo_destroy(cr_);
    cairo_surface_destroy(surface_);
  }
  Canvas(const Canvas&) = delete;
  Canvas& operator=(const Canvas&) = delete;

  [[nodiscard]] cairo_t* context() const { return cr_; }
  [[nodiscard]] int width() const { return cairo_image_surface_get_width(surface_); }
  [[nodiscard]] int height() const { return cairo_image_surface_get_height(surface_); }

  /// The premultiplied ARGB word of one pixel.
  [[nodiscard]] std::uint32_t pixel(int x, int y) const {
    cairo_surface_flush(surface_);
    const auto* row =
        cairo_image_surface_get_data(surface_) + y * cairo_image_surface_get_stride(surface_);
    return reinterpret_cast<const std::uint32_t*>(row)[x];
  }
  [[nodiscard]] int alpha(int x, int y) const { return static_cast<int>(pixel(x, y) >> 24); }
  [[nodiscard]] int red(int x, int y) const { return static_cast<int>((pixel(x, y) >> 16) & 0xFF); }
  [[nodiscard]] int green(int x, int y) const {
    return static_cast<int>((pixel(x, y) >> 8) & 0xFF);
  }
  [[nodiscard]] int blue(int x, int y) const { return static_cast<int>(pixel(x, y) & 0xFF); }

  /// How many pixels have any paint.
  [[nodiscard]] int paintedCount() const {
    int count = 0;
    for (int y = 0; y < height(); ++y) {
      for (int x = 0; x < width(); ++x) count += alpha(x, y) > 0;
    }
    return count;
  }

 private:
  cairo_surface_t* surface_;
  cairo_t* cr_;
};

inline void expectRect(const Rect& actual, const Rect& expected, double tolerance = 1e-9) {
  EXPECT_NEAR(actual.minX(), expected.minX(), tolerance);
  EXPECT_NEAR(actual.minY(), expected.minY(), tolerance);
  EXPECT_NEAR(actual.width(), expected.width(), tolerance);
  EXPECT_NEAR(actual.height(), expected.height(), tolerance);
}

}  // namespace lx::test
