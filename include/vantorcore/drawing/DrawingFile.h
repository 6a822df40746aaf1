// Rendering a drawing into a PNG, SVG or PDF file, for tools, previews and
// tests that want something a person can open.
#pragma once

#include "vantorcore/Export.h"

#include <cairo.h>

#include <functional>
#include <string>

#include "vantorcore/drawing/Geometry.h"
#include "vantorcore/platform/Error.h"

namespace LX_API lx {

/// The largest PNG side in pixels `lx_drawToFile` makes (a 16384² image is
/// already 1 GiB of pixels).
inline constexpr int kMaximumImageSide = 16384;

/// Calls `draw` with a context whose user space is `size` units from the
/// top-left corner, and writes the result to `path` in the format its
/// extension names (case-insensitively):
///   .png  an ARGB image of size × `scale` pixels (rounded up), drawn
///         through a device scale of `scale` (2 for a high-density image);
///   .svg, .pdf  vector output of `size` points; `scale` is not used.
/// The drawing starts transparent. Returns false, with an error in
/// `LXDrawingErrorDomain`, for a size or scale that is not finite and
/// positive or makes a side larger than `kMaximumImageSide`
/// (`InvalidSize`), another extension (`UnsupportedFormat`), or a file
/// Cairo cannot write (`WriteFailed`, the description naming Cairo's
/// status, or the loader's message when Cairo cannot be loaded; `draw` is
/// then not called); a failed write leaves no partial file behind.
bool lx_drawToFile(const std::string& path, Size size, double scale,
                   const std::function<void(cairo_t*)>& draw, ErrorPtr* error = nullptr);

}  // namespace lx
