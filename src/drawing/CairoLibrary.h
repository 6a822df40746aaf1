// Cairo's functions, the library opened on first use (see
// platform/SharedLibrary.h). Drawing code calls `cairo().set_line_width(...)`
// where it would call `cairo_set_line_width(...)`; only Cairo's declarations
// are compiled in. Public headers still name Cairo's types, which cost nothing
// at start-up.
#pragma once

#include <cairo-ft.h>
#include <cairo-pdf.h>
#include <cairo-svg.h>
#include <cairo.h>

#include "platform/SharedLibrary.h"

namespace lx::detail {

// clang-format off
#define LX_CAIRO_FUNCTIONS(X) \
  X(create) \
  X(destroy) \
  X(status) \
  X(status_to_string) \
  X(save) \
  X(restore) \
  X(translate) \
  X(scale) \
  X(new_path) \
  X(move_to) \
  X(line_to) \
  X(curve_to) \
  X(close_path) \
  X(rectangle) \
  X(fill) \
  X(stroke) \
  X(clip) \
  X(paint) \
  X(set_line_width) \
  X(set_line_cap) \
  X(set_line_join) \
  X(set_miter_limit) \
  X(set_dash) \
  X(set_fill_rule) \
  X(set_source) \
  X(set_source_rgba) \
  X(set_source_surface) \
  X(get_source) \
  X(set_font_face) \
  X(set_font_size) \
  X(font_face_destroy) \
  X(ft_font_face_create_for_pattern) \
  X(path_destroy) \
  X(pattern_create_linear) \
  X(pattern_create_radial) \
  X(pattern_add_color_stop_rgba) \
  X(pattern_set_extend) \
  X(pattern_set_filter) \
  X(pattern_destroy) \
  X(image_surface_create) \
  X(image_surface_create_from_png_stream) \
  X(image_surface_get_width) \
  X(image_surface_get_height) \
  X(image_surface_get_data) \
  X(image_surface_get_stride) \
  X(svg_surface_create) \
  X(pdf_surface_create) \
  X(surface_reference) \
  X(surface_destroy) \
  X(surface_status) \
  X(surface_flush) \
  X(surface_mark_dirty) \
  X(surface_set_device_scale) \
  X(surface_write_to_png) \
  X(surface_finish)
// clang-format on

struct CairoLibrary {
  CairoLibrary();

  /// Whether Cairo opened; `library.error()` says why not.
  SharedLibrary library;
#define LX_CAIRO_MEMBER(name) decltype(&::cairo_##name) name = nullptr;
  LX_CAIRO_FUNCTIONS(LX_CAIRO_MEMBER)
#undef LX_CAIRO_MEMBER
};

/// The process's Cairo, opened on the first call from any thread. Its
/// functions may be called only when `library` is loaded; a caller holding a
/// Cairo object (a context, a surface) knows it is, since Cairo made it.
const CairoLibrary& cairo();

}  // namespace lx::detail
