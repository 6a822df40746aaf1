#include "vantorcore/drawing/IconDecoder.h"

#include <librsvg/rsvg.h>

#include <algorithm>
#include <cstring>
#include <string>
#include <string_view>

#include "drawing/CairoLibrary.h"
#include "drawing/DrawingFailure.h"
#include "platform/GLibLibrary.h"
#include "platform/SharedLibrary.h"
#include "vantorcore/drawing/DrawingError.h"
#include "vantorcore/drawing/ICOFile.h"

namespace lx {
namespace {

constexpr std::size_t kSVGSniffBytes = 4096;

using detail::cairo;
using drawing::fail;

std::uint32_t readBigEndian32(DataView d, std::size_t at) {
  return static_cast<std::uint32_t>(d[at]) << 24 | static_cast<std::uint32_t>(d[at + 1]) << 16 |
         static_cast<std::uint32_t>(d[at + 2]) << 8 | d[at + 3];
}

std::string tooLarge(std::uint64_t width, std::uint64_t height) {
  return "The image is " + std::to_string(width) + " x " + std::to_string(height) +
         " pixels, more than " + std::to_string(kMaximumIconSide);
}

struct PNGCursor {
  DataView data;
  std::size_t at = 0;
};

cairo_status_t readPNGBytes(void* closure, unsigned char* out, unsigned int length) {
  auto* cursor = static_cast<PNGCursor*>(closure);
  if (cursor->data.size() - cursor->at < length) return CAIRO_STATUS_READ_ERROR;
  std::memcpy(out, cursor->data.data() + cursor->at, length);
  cursor->at += length;
  return CAIRO_STATUS_SUCCESS;
}

// Cairo hands opaque PNGs back as RGB24; callers expect ARGB32 throughout.
std::optional<ImageSurface> asARGB(cairo_surface_t* decoded) {
  auto image = ImageSurface::make(cairo().image_surface_get_width(decoded),
                                  cairo().image_surface_get_height(decoded));
  if (image) {
    cairo_t* cr = cairo().create(image->cairoSurface());
    cairo().set_source_surface(cr, decoded, 0, 0);
    cairo().paint(cr);
    cairo().destroy(cr);
  }
  cairo().surface_destroy(decoded);
  return image;
}

// librsvg, opened for the first SVG icon (see platform/SharedLibrary.h).
#define LX_RSVG_FUNCTIONS(X) X(rsvg_, handle_new_from_data) X(rsvg_, handle_render_document)

struct RsvgLibrary {
  RsvgLibrary();
  detail::SharedLibrary library;
  LX_RSVG_FUNCTIONS(LX_LIBRARY_FUNCTION)
};

RsvgLibrary::RsvgLibrary() : library(VANTOR_RSVG_SONAME) { LX_RSVG_FUNCTIONS(LX_LIBRARY_RESOLVE) }

const RsvgLibrary& rsvg() { return detail::loadedOnce<RsvgLibrary>(); }

std::optional<ImageSurface> renderSVG(DataView data, int side, ErrorPtr* error) {
  const RsvgLibrary& svg = rsvg();
  if (!svg.library.isLoaded()) {
    return fail<ImageSurface>(error, DrawingErrorCode::UnsupportedImage,
                              "SVG images cannot be drawn here: " + svg.library.error());
  }
  GError* gerror = nullptr;
  // Without a base file librsvg loads no external resource.
  RsvgHandle* handle = svg.handle_new_from_data(data.data(), data.size(), &gerror);
  if (!handle) {
    std::string reason = gerror ? gerror->message : "unknown error";
    detail::glib().clear_error(&gerror);
    return fail<ImageSurface>(error, DrawingErrorCode::MalformedImage,
                              "The SVG image cannot be read: " + reason);
  }
  auto image = ImageSurface::make(side, side);
  if (!image) {
    detail::gobject().object_unref(handle);
    return fail<ImageSurface>(error, DrawingErrorCode::ImageTooLarge,
                              "No memory for the icon's pixels");
  }
  cairo_t* cr = cairo().create(image->cairoSurface());
  const RsvgRectangle viewport{0, 0, static_cast<double>(side), static_cast<double>(side)};
  const bool drawn = svg.handle_render_document(handle, cr, &viewport, &gerror);
  cairo().destroy(cr);
  detail::gobject().object_unref(handle);
  if (!drawn) {
    std::string reason = gerror ? gerror->message : "unknown error";
    detail::glib().clear_error(&gerror);
    return fail<ImageSurface>(error, DrawingErrorCode::MalformedImage,
                              "The SVG image cannot be drawn: " + reason);
  }
  return image;
}

std::optional<ImageSurface> decodeICO(DataView data, int side, ErrorPtr* error) {
  auto file = ICOFile::read(data, error);
  if (!file) return std::nullopt;
  return file->decodeEntry(file->bestEntryIndex(side), error);
}

}  // namespace

IconFormat lx_iconFormat(DataView data) noexcept {
  static constexpr std::uint8_t kPNG[] = {0x89, 'P', 'N', 'G', 0x0D, 0x0A, 0x1A, 0x0A};
  if (data.size() >= sizeof kPNG && std::equal(kPNG, kPNG + sizeof kPNG, data.begin())) {
    return IconFormat::PNG;
  }
  if (data.size() >= 4 && data[0] == 0 && data[1] == 0 && (data[2] == 1 || data[2] == 2) &&
      data[3] == 0) {
    return IconFormat::ICO;
  }
  const std::string_view head = asStringView(data.first(std::min(data.size(), kSVGSniffBytes)));
  return head.find("<svg") != std::string_view::npos ? IconFormat::SVG : IconFormat::Unknown;
}

std::optional<ImageSurface> lx_decodePNG(DataView data, ErrorPtr* error) {
  // The header chunk must come first, so the size is known before decoding.
  constexpr std::size_t kHeaderEnd = 24;
  if (lx_iconFormat(data) != IconFormat::PNG || data.size() < kHeaderEnd ||
      std::string_view(reinterpret_cast<const char*>(data.data()) + 12, 4) != "IHDR") {
    return fail<ImageSurface>(error, DrawingErrorCode::MalformedImage, "Not a PNG image");
  }
  const std::uint32_t width = readBigEndian32(data, 16), height = readBigEndian32(data, 20);
  if (width > kMaximumIconSide || height > kMaximumIconSide) {
    return fail<ImageSurface>(error, DrawingErrorCode::ImageTooLarge, tooLarge(width, height));
  }
  if (!cairo().library.isLoaded()) {
    return fail<ImageSurface>(error, DrawingErrorCode::UnsupportedImage,
                              "PNG images cannot be read here: " + cairo().library.error());
  }
  PNGCursor cursor{data};
  cairo_surface_t* decoded = cairo().image_surface_create_from_png_stream(readPNGBytes, &cursor);
  if (cairo().surface_status(decoded) != CAIRO_STATUS_SUCCESS) {
    const std::string reason = cairo().status_to_string(cairo().surface_status(decoded));
    cairo().surface_destroy(decoded);
    return fail<ImageSurface>(error, DrawingErrorCode::MalformedImage,
                              "The PNG image cannot be read: " + reason);
  }
  return asARGB(decoded);
}

std::optional<ImageSurface> lx_decodeIcon(DataView data, int side, ErrorPtr* error) {
  if (side <= 0 || side > kMaximumIconSide) {
    return fail<ImageSurface>(error, DrawingErrorCode::InvalidSize,
                              "Invalid icon size " + std::to_string(side));
  }
  if (data.size() > kMaximumIconBytes) {
    return fail<ImageSurface>(error, DrawingErrorCode::ImageTooLarge,
                              "The icon file has " + std::to_string(data.size()) +
                                  " bytes, more than " + std::to_string(kMaximumIconBytes));
  }
  std::optional<ImageSurface> image;
  switch (lx_iconFormat(data)) {
    case IconFormat::PNG:
      image = lx_decodePNG(data, error);
      break;
    case IconFormat::ICO:
      image = decodeICO(data, side, error);
      break;
    case IconFormat::SVG:
      return renderSVG(data, side, error);
    case IconFormat::Unknown:
      return fail<ImageSurface>(error, DrawingErrorCode::UnsupportedImage,
                                "The data is not a PNG, ICO or SVG image");
  }
  if (!image) return std::nullopt;
  if (image->width() == side && image->height() == side) return image;
  return image->scaledToFit(side);
}

}  // namespace lx
