#include "vantorcore/drawing/DrawingFile.h"

#include <algorithm>
#include <cctype>
#include <cmath>
#include <cstdio>

#include "drawing/CairoLibrary.h"
#include "vantorcore/drawing/DrawingError.h"

namespace lx {
namespace {

enum class Format { PNG, SVG, PDF };

bool formatOf(const std::string& path, Format& format) {
  const std::size_t dot = path.rfind('.');
  if (dot == std::string::npos || path.find('/', dot) != std::string::npos) return false;
  std::string extension = path.substr(dot + 1);
  std::transform(extension.begin(), extension.end(), extension.begin(),
                 [](unsigned char c) { return static_cast<char>(std::tolower(c)); });
  if (extension == "png")
    format = Format::PNG;
  else if (extension == "svg")
    format = Format::SVG;
  else if (extension == "pdf")
    format = Format::PDF;
  else
    return false;
  return true;
}

bool fail(ErrorPtr* error, DrawingErrorCode code, const std::string& text) {
  setError(error, makeDrawingError(code, fromUTF8(text)));
  return false;
}

bool writeFailed(ErrorPtr* error, const std::string& path, cairo_status_t status) {
  std::remove(path.c_str());
  return fail(error, DrawingErrorCode::WriteFailed,
              "Cannot write " + path + ": " + detail::cairo().status_to_string(status));
}

}  // namespace

bool lx_drawToFile(const std::string& path, Size size, double scale,
                   const std::function<void(cairo_t*)>& draw, ErrorPtr* error) {
  Format format;
  if (!formatOf(path, format)) {
    return fail(error, DrawingErrorCode::UnsupportedFormat,
                "Cannot tell the format of " + path + ": use .png, .svg or .pdf");
  }
  const double pixelScale = format == Format::PNG ? scale : 1;
  const double pixelWidth = std::ceil(size.width * pixelScale);
  const double pixelHeight = std::ceil(size.height * pixelScale);
  const bool valid = std::isfinite(size.width) && std::isfinite(size.height) && size.width > 0 &&
                     size.height > 0 && std::isfinite(pixelScale) && pixelScale > 0 &&
                     pixelWidth <= kMaximumImageSide && pixelHeight <= kMaximumImageSide;
  if (!valid) {
    return fail(error, DrawingErrorCode::InvalidSize,
                "Invalid drawing size " + std::to_string(size.width) + "x" +
                    std::to_string(size.height) + " at scale " + std::to_string(scale));
  }
  const detail::CairoLibrary& cairo = detail::cairo();
  if (!cairo.library.isLoaded()) {
    return fail(error, DrawingErrorCode::WriteFailed,
                "Cannot write " + path + ": " + cairo.library.error());
  }
  cairo_surface_t* surface = nullptr;
  switch (format) {
    case Format::PNG:
      surface = cairo.image_surface_create(CAIRO_FORMAT_ARGB32, static_cast<int>(pixelWidth),
                                           static_cast<int>(pixelHeight));
      cairo.surface_set_device_scale(surface, pixelScale, pixelScale);
      break;
    case Format::SVG:
      surface = cairo.svg_surface_create(path.c_str(), size.width, size.height);
      break;
    case Format::PDF:
      surface = cairo.pdf_surface_create(path.c_str(), size.width, size.height);
      break;
  }
  cairo_t* cr = cairo.create(surface);
  draw(cr);
  cairo_status_t status = cairo.status(cr);
  cairo.destroy(cr);
  if (status == CAIRO_STATUS_SUCCESS && format == Format::PNG) {
    status = cairo.surface_write_to_png(surface, path.c_str());
  }
  cairo.surface_finish(surface);
  if (status == CAIRO_STATUS_SUCCESS) status = cairo.surface_status(surface);
  cairo.surface_destroy(surface);
  return status == CAIRO_STATUS_SUCCESS || writeFailed(error, path, status);
}

}  // namespace lx
