#include "vantorcore/drawing/ImageSurface.h"

#include <algorithm>

#include "drawing/CairoLibrary.h"
#include "vantorcore/drawing/DrawingFile.h"

namespace lx {

using detail::cairo;

std::optional<ImageSurface> ImageSurface::make(int width, int height) {
  if (width <= 0 || height <= 0 || !cairo().library.isLoaded()) return std::nullopt;
  cairo_surface_t* surface = cairo().image_surface_create(CAIRO_FORMAT_ARGB32, width, height);
  if (cairo().surface_status(surface) != CAIRO_STATUS_SUCCESS) {
    cairo().surface_destroy(surface);
    return std::nullopt;
  }
  return ImageSurface(surface);
}

ImageSurface::ImageSurface(const ImageSurface& other) noexcept
    : surface_(cairo().surface_reference(other.surface_)) {}

ImageSurface& ImageSurface::operator=(const ImageSurface& other) noexcept {
  cairo_surface_t* kept = cairo().surface_reference(other.surface_);
  cairo().surface_destroy(surface_);
  surface_ = kept;
  return *this;
}

ImageSurface::~ImageSurface() { cairo().surface_destroy(surface_); }

int ImageSurface::width() const noexcept { return cairo().image_surface_get_width(surface_); }

int ImageSurface::height() const noexcept { return cairo().image_surface_get_height(surface_); }

std::uint32_t ImageSurface::pixel(int x, int y) const noexcept {
  if (x < 0 || y < 0 || x >= width() || y >= height()) return 0;
  cairo().surface_flush(surface_);
  const unsigned char* row =
      cairo().image_surface_get_data(surface_) + y * cairo().image_surface_get_stride(surface_);
  return reinterpret_cast<const std::uint32_t*>(row)[x];
}

void ImageSurface::setPixel(int x, int y, std::uint8_t red, std::uint8_t green, std::uint8_t blue,
                            std::uint8_t alpha) noexcept {
  if (x < 0 || y < 0 || x >= width() || y >= height()) return;
  // Cairo keeps colour premultiplied by alpha.
  auto premultiplied = [alpha](std::uint8_t c) -> std::uint32_t { return (c * alpha + 127) / 255; };
  unsigned char* row =
      cairo().image_surface_get_data(surface_) + y * cairo().image_surface_get_stride(surface_);
  reinterpret_cast<std::uint32_t*>(row)[x] = (std::uint32_t{alpha} << 24) |
                                             (premultiplied(red) << 16) |
                                             (premultiplied(green) << 8) | premultiplied(blue);
  cairo().surface_mark_dirty(surface_);
}

std::optional<ImageSurface> ImageSurface::scaledToFit(int side) const {
  if (side <= 0 || side > kMaximumImageSide) return std::nullopt;
  auto result = make(side, side);
  if (!result) return std::nullopt;
  const double scale =
      std::min(static_cast<double>(side) / width(), static_cast<double>(side) / height());
  cairo_t* cr = cairo().create(result->cairoSurface());
  cairo().translate(cr, (side - width() * scale) / 2, (side - height() * scale) / 2);
  cairo().scale(cr, scale, scale);
  cairo().set_source_surface(cr, surface_, 0, 0);
  cairo().pattern_set_filter(cairo().get_source(cr), CAIRO_FILTER_BEST);
  // Padding keeps the filter from blending the edges with transparency;
  // the clip keeps the padding out of the margins.
  cairo().pattern_set_extend(cairo().get_source(cr), CAIRO_EXTEND_PAD);
  cairo().rectangle(cr, 0, 0, width(), height());
  cairo().clip(cr);
  cairo().paint(cr);
  cairo().destroy(cr);
  return result;
}

bool ImageSurface::writePNG(const std::string& path, ErrorPtr* error) const {
  return lx_drawToFile(
      path, Size{static_cast<double>(width()), static_cast<double>(height())}, 1,
      [this](cairo_t* cr) {
        cairo().set_source_surface(cr, surface_, 0, 0);
        cairo().paint(cr);
      },
      error);
}

}  // namespace lx
