// Drawing a `BezierPath` with Cairo, and converting between it and Cairo's
// own path data.
//
// The context is the caller's: these functions change its path, source-free
// state (line style, fill rule, clip) as Cairo's own calls would, and the
// calling thread must be the one allowed to use that context.
#pragma once

#include "vantorcore/Export.h"

#include <cairo.h>

#include <memory>

#include "vantorcore/drawing/BezierPath.h"

namespace LX_API lx {

/// Releases a `cairo_path_t` with `cairo_path_destroy`.
struct CairoPathDeleter {
  /// Frees the path with `cairo_path_destroy`.
  void operator()(cairo_path_t* path) const noexcept;
};
/// A Cairo path that frees itself.
using CairoPathPtr = std::unique_ptr<cairo_path_t, CairoPathDeleter>;

/// Appends the path's elements to the context's current path.
void lx_appendToCairo(const BezierPath& path, cairo_t* cr);
/// Sets the context's line width, cap, join, miter limit, dash and fill
/// rule from the path's style.
void lx_applyStyleToCairo(const BezierPath& path, cairo_t* cr);

/// Fills the path with the context's source under the path's fill rule.
/// The context's current path is replaced by nothing.
void lx_fill(const BezierPath& path, cairo_t* cr);
/// Strokes the path with the context's source and the path's line style.
void lx_stroke(const BezierPath& path, cairo_t* cr);
/// Intersects the context's clip with the path's inside (fill rule
/// honoured); restore with `cairo_save`/`cairo_restore` around it.
void lx_addClip(const BezierPath& path, cairo_t* cr);

/// Cairo path data holding the same elements, owned by the caller.
[[nodiscard]] CairoPathPtr lx_cairoPath(const BezierPath& path);
/// The path described by Cairo path data (as from `cairo_copy_path`), with
/// the default style. A null pointer, or data with an error status, gives
/// an empty path; an element whose header claims more points than remain
/// ends the reading.
[[nodiscard]] BezierPath lx_bezierPathFromCairo(const cairo_path_t* cairoPath);

}  // namespace lx
