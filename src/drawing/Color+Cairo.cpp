#include "vantorcore/drawing/Color+Cairo.h"

#include <algorithm>
#include <cmath>

#include "drawing/CairoLibrary.h"

namespace lx {

using detail::cairo;

void lx_setSourceColor(cairo_t* cr, const Color& color, double opacity) {
  opacity = std::isnan(opacity) ? 0 : std::clamp(opacity, 0.0, 1.0);
  cairo().set_source_rgba(cr, color.red(), color.green(), color.blue(), color.alpha() * opacity);
}

}  // namespace lx
