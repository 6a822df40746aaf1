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
  X(cairo_, create) \
  X(cairo_, destroy) \
  X(cairo_, status) \
  X(cairo_, status_to_string) \
  X(cairo_, save) \
  X(cairo_, restore) \
  X(cairo_, translate) \
  X(cairo_, scale) \
  X(cairo_, new_path) \
  X(cairo_, move_to) \
  X(cairo_, line_to) \
  X(cairo_, curve_to) \
  X(cairo_, close_path) \
  X(cairo_, rectangle) \
  X(cairo_, fill) \
  X(cairo_, stroke) \
  X(cairo_, clip) \
  X(cairo_, paint) \
  X(cairo_, set_line_width) \
  X(cairo_, set_line_cap) \
  X(cairo_, set_line_join) \
  X(cairo_, set_miter_limit) \
  X(cairo_, set_dash) \
  X(cairo_, set_fill_rule) \
  X(cairo_, set_source) \
  X(cairo_, set_source_rgba) \
  X(cairo_, set_source_surface) \
  X(cairo_, get_source) \
  X(cairo_, set_font_face) \
  X(cairo_, set_font_size) \
  X(cairo_, font_face_destroy) \
  X(cairo_, ft_font_face_create_for_pattern) \
  X(cairo_, path_destroy) \
  X(cairo_, pattern_create_linear) \
  X(cairo_, pattern_create_radial) \
  X(cairo_, pattern_add_color_stop_rgba) \
  X(cairo_, pattern_set_extend) \
  X(cairo_, pattern_set_filter) \
  X(cairo_, pattern_destroy) \
  X(cairo_, image_surface_create) \
  X(cairo_, image_surface_create_from_png_stream) \
  X(cairo_, image_surface_get_width) \
  X(cairo_, image_surface_get_height) \
  X(cairo_, image_surface_get_data) \
  X(cairo_, image_surface_get_stride) \
  X(cairo_, svg_surface_create) \
  X(cairo_, pdf_surface_create) \
  X(cairo_, surface_reference) \
  X(cairo_, surface_destroy) \
  X(cairo_, surface_status) \
  X(cairo_, surface_flush) \
  X(cairo_, surface_mark_dirty) \
  X(cairo_, surface_set_device_scale) \
  X(cairo_, surface_write_to_png) \
  X(cairo_, surface_finish)
// clang-format on

struct CairoLibrary {
  CairoLibrary();

  /// Whether Cairo opened; `library.error()` says why not.
  SharedLibrary library;
  LX_CAIRO_FUNCTIONS(LX_LIBRARY_FUNCTION)
};

/// The process's Cairo, opened on the first call from any thread. Its
/// functions may be called only when `library` is loaded; a caller holding a
/// Cairo object (a context, a surface) knows it is, since Cairo made it.
const CairoLibrary& cairo();

}  // namespace lx::detail
