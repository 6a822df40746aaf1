#include "vantorcore/drawing/Font+Cairo.h"

#include <cairo-ft.h>
#include <fontconfig/fontconfig.h>

namespace lx {

CairoFontFacePtr lx_cairoFontFace(const FontMatch& match) {
  FcPattern* pattern = FcPatternCreate();
  FcPatternAddString(pattern, FC_FILE, reinterpret_cast<const FcChar8*>(match.file.c_str()));
  FcPatternAddInteger(pattern, FC_INDEX, match.faceIndex);
  // Cairo keeps its own reference to the pattern.
  CairoFontFacePtr face(cairo_ft_font_face_create_for_pattern(pattern));
  FcPatternDestroy(pattern);
  return face;
}

void lx_setCairoFont(cairo_t* cr, const FontMatch& match) {
  const CairoFontFacePtr face = lx_cairoFontFace(match);
  cairo_set_font_face(cr, face.get());
  cairo_set_font_size(cr, match.font.pointSize() * kUserUnitsPerPoint);
}

}  // namespace lx
