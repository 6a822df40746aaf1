// Using a `Color` as a Cairo source.
#pragma once

#include "vantorcore/Export.h"

#include <cairo.h>

#include "vantorcore/platform/Color.h"

namespace LX_API lx {

/// Makes `color`, its alpha multiplied by `opacity` (clamped to 0...1), the
/// context's source.
void lx_setSourceColor(cairo_t* cr, const Color& color, double opacity = 1);

}  // namespace lx
