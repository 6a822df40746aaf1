// Icons made in the tests: PNGs drawn with Cairo, bitmap entries and ICO
// containers laid out byte by byte, and small SVGs.
#pragma once

#include <cairo.h>

#include <cstdint>
#include <optional>
#include <string>
#include <utility>
#include <vector>

#include "vantorcore/platform/Data.h"

namespace lx::test {

inline void put16(std::string& out, std::uint32_t v) {
  out += static_cast<char>(v & 0xFF);
  out += static_cast<char>(v >> 8 & 0xFF);
}
inline void put32(std::string& out, std::uint32_t v) {
  put16(out, v & 0xFFFF);
  put16(out, v >> 16);
}

/// A `width` × `height` PNG filled with one opaque colour (0xRRGGBB).
inline std::string pngOf(int width, int height, std::uint32_t rgb) {
  cairo_surface_t* surface = cairo_image_surface_create(CAIRO_FORMAT_ARGB32, width, height);
  cairo_t* cr = cairo_create(surface);
  cairo_set_source_rgb(cr, (rgb >> 16 & 0xFF) / 255.0, (rgb >> 8 & 0xFF) / 255.0,
                       (rgb & 0xFF) / 255.0);
  cairo_paint(cr);
  cairo_destroy(cr);
  std::string png;
  cairo_surface_write_to_png_stream(
      surface,
      [](void* closure, const unsigned char* data, unsigned int length) {
        static_cast<std::string*>(closure)->append(reinterpret_cast<const char*>(data), length);
        return CAIRO_STATUS_SUCCESS;
      },
      &png);
  cairo_surface_destroy(surface);
  return png;
}

/// The first 24 bytes of a PNG (signature and header chunk) announcing
/// `width` × `height`, with no pixels after them.
inline std::string pngHeaderClaiming(std::uint32_t width, std::uint32_t height) {
  std::string png = pngOf(1, 1, 0).substr(0, 16);
  for (std::uint32_t v : {width, height}) {
    for (int shift = 24; shift >= 0; shift -= 8) png += static_cast<char>(v >> shift & 0xFF);
  }
  return png;
}

/// A bitmap entry: header, palette of `palette` BGRA words, then
/// `colourRows` (bottom-up rows, already padded) and `maskRows`.
inline std::string bitmapEntry(int width, int height, int bits, std::uint32_t compression,
                               const std::vector<std::uint32_t>& palette,
                               const std::string& colourRows, const std::string& maskRows) {
  std::string out;
  put32(out, 40);
  put32(out, static_cast<std::uint32_t>(width));
  put32(out, static_cast<std::uint32_t>(height * 2));
  put16(out, 1);
  put16(out, static_cast<std::uint32_t>(bits));
  put32(out, compression);
  put32(out, 0);
  put32(out, 0);
  put32(out, 0);
  put32(out, static_cast<std::uint32_t>(palette.size()));
  put32(out, 0);
  for (std::uint32_t colour : palette) put32(out, colour);
  return out + colourRows + maskRows;
}

/// A 32-bit bitmap entry of one BGRA colour and an all-clear mask.
inline std::string solidBitmap(int side, std::uint32_t bgra) {
  std::string rows;
  for (int i = 0; i < side * side; ++i) put32(rows, bgra);
  return bitmapEntry(side, side, 32, 0, {}, rows,
                     std::string(static_cast<std::size_t>((side + 31) / 32 * 4 * side), '\0'));
}

/// One directory entry; absent offset and size come from the payload.
struct ICOImage {
  ICOImage(std::string payload, int side = 16, int bits = 32,
           std::optional<std::uint32_t> offset = std::nullopt,
           std::optional<std::uint32_t> size = std::nullopt)
      : payload(std::move(payload)), side(side), bits(bits), offset(offset), size(size) {}
  std::string payload;
  int side;  ///< written as 0 for 256
  int bits;
  std::optional<std::uint32_t> offset;
  std::optional<std::uint32_t> size;
};

/// An ICO file of `images` with their payloads after the directory.
inline std::string icoOf(const std::vector<ICOImage>& images, int type = 1) {
  std::string out;
  put16(out, 0);
  put16(out, static_cast<std::uint32_t>(type));
  put16(out, static_cast<std::uint32_t>(images.size()));
  std::uint32_t at = 6 + 16 * static_cast<std::uint32_t>(images.size());
  std::string payloads;
  for (const ICOImage& image : images) {
    out += static_cast<char>(image.side >= 256 ? 0 : image.side);
    out += static_cast<char>(image.side >= 256 ? 0 : image.side);
    out += std::string(2, '\0');
    put16(out, 1);
    put16(out, static_cast<std::uint32_t>(image.bits));
    put32(out, image.size.value_or(static_cast<std::uint32_t>(image.payload.size())));
    put32(out, image.offset.value_or(at));
    at += static_cast<std::uint32_t>(image.payload.size());
    payloads += image.payload;
  }
  return out + payloads;
}

/// A square SVG filled with one colour ("#rrggbb").
inline std::string svgOf(const std::string& colour) {
  return "<svg xmlns=\"http://www.w3.org/2000/svg\" viewBox=\"0 0 10 10\"><rect width=\"10\" "
         "height=\"10\" fill=\"" +
         colour + "\"/></svg>";
}

inline DataView bytes(const std::string& s) {
  return {reinterpret_cast<const std::uint8_t*>(s.data()), s.size()};
}

}  // namespace lx::test
