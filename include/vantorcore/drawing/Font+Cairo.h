// Drawing text with Cairo in a font fontconfig matched.
#pragma once

#include "vantorcore/Export.h"

#include <cairo.h>

#include <memory>

#include "vantorcore/platform/Font+Matching.h"

namespace LX_API lx {

/// Cairo works in user-space units; a point is 4/3 of one at the
/// desktop's 96 dots per inch, the scale GTK and Qt draw at.
inline constexpr double kUserUnitsPerPoint = 96.0 / 72.0;

/// Releases a `cairo_font_face_t` with `cairo_font_face_destroy`.
struct CairoFontFaceDeleter {
  /// Frees the face with `cairo_font_face_destroy`.
  void operator()(cairo_font_face_t* face) const noexcept;
};
/// A Cairo font face that frees itself.
using CairoFontFacePtr = std::unique_ptr<cairo_font_face_t, CairoFontFaceDeleter>;

/// A Cairo face for the matched file and face index, owned by the caller;
/// null when Cairo or fontconfig cannot be loaded.
[[nodiscard]] CairoFontFacePtr lx_cairoFontFace(const FontMatch& match);
/// Makes the matched face, at its point size in user units, the context's
/// font, for `cairo_show_text` and `cairo_text_extents`.
void lx_setCairoFont(cairo_t* cr, const FontMatch& match);

}  // namespace lx
