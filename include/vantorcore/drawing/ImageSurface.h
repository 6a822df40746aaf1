// `ImageSurface`: a shared, reference-counted Cairo ARGB32 image surface,
// the pixel type decoded icons arrive in. Copies share the pixels (Cairo's
// own reference count), so handing one to another thread or keeping it in
// a list costs nothing; a host paints it with `cairo_set_source_surface`.
#pragma once

#include "vantorcore/Export.h"

#include <cairo.h>

#include <cstdint>
#include <optional>
#include <string>

#include "vantorcore/platform/Error.h"

namespace LX_API lx {

/// A Cairo ARGB32 image surface held by reference count: copies share the
/// pixels.
class ImageSurface {
 public:
  /// A transparent image of `width` × `height` pixels; absent when either
  /// side is not positive or Cairo cannot allocate it.
  static std::optional<ImageSurface> make(int width, int height);
  /// Takes over one reference to `surface`, an image surface in ARGB32.
  explicit ImageSurface(cairo_surface_t* surface) noexcept : surface_(surface) {}
  /// Shares `other`'s surface (one more Cairo reference).
  ImageSurface(const ImageSurface& other) noexcept;
  /// Shares `other`'s surface and drops this one's.
  ImageSurface& operator=(const ImageSurface& other) noexcept;
  ~ImageSurface();

  /// The width in pixels.
  [[nodiscard]] int width() const noexcept;
  /// The height in pixels.
  [[nodiscard]] int height() const noexcept;
  /// The surface, owned by this object (reference it to keep it longer).
  [[nodiscard]] cairo_surface_t* cairoSurface() const noexcept { return surface_; }
  /// Premultiplied ARGB of the pixel at (`x`, `y`), 0 outside the image.
  [[nodiscard]] std::uint32_t pixel(int x, int y) const noexcept;
  /// Sets the pixel from straight (not premultiplied) components.
  void setPixel(int x, int y, std::uint8_t red, std::uint8_t green, std::uint8_t blue,
                std::uint8_t alpha) noexcept;

  /// A `side` × `side` copy: the image scaled to fit, aspect kept and
  /// centred on transparency, with Cairo's best filter. Absent for a side
  /// that is not positive or above `kMaximumImageSide`.
  [[nodiscard]] std::optional<ImageSurface> scaledToFit(int side) const;
  /// Writes the image as a PNG file (see `lx_drawToFile` for errors).
  bool writePNG(const std::string& path, ErrorPtr* error = nullptr) const;

 private:
  cairo_surface_t* surface_;
};

}  // namespace lx
