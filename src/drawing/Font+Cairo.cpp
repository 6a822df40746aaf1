#include "vantorcore/drawing/Font+Cairo.h"

#include "drawing/CairoLibrary.h"
#include "platform/FontconfigLibrary.h"

namespace lx {

using detail::cairo;

void CairoFontFaceDeleter::operator()(cairo_font_face_t* face) const noexcept {
  cairo().font_face_destroy(face);
}

CairoFontFacePtr lx_cairoFontFace(const FontMatch& match) {
  const detail::FontconfigLibrary& fc = detail::fontconfig();
  if (!cairo().library.isLoaded() || !fc.library.isLoaded()) return nullptr;
  FcPattern* pattern = fc.PatternCreate();
  fc.PatternAddString(pattern, FC_FILE, reinterpret_cast<const FcChar8*>(match.file.c_str()));
  fc.PatternAddInteger(pattern, FC_INDEX, match.faceIndex);
  // Cairo keeps its own reference to the pattern.
  CairoFontFacePtr face(cairo().ft_font_face_create_for_pattern(pattern));
  fc.PatternDestroy(pattern);
  return face;
}

void lx_setCairoFont(cairo_t* cr, const FontMatch& match) {
  const CairoFontFacePtr face = lx_cairoFontFace(match);
  cairo().set_font_face(cr, face.get());
  cairo().set_font_size(cr, match.font.pointSize() * kUserUnitsPerPoint);
}

}  // namespace lx
