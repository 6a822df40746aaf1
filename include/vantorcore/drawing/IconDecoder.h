// Decoding the images a web site offers as its icon — PNG, ICO (PNG and
// bitmap entries) and SVG — into an `ImageSurface` of a requested size.
//
// PNG goes through Cairo's own reader and SVG through librsvg; ICO through
// our `ICOFile`. Every image's declared size is checked against
// `kMaximumIconSide` before a pixel is decoded, so a 100000 × 100000
// header costs nothing. Safe to call on any thread.
#pragma once

#include "vantorcore/Export.h"

#include <cstddef>
#include <optional>

#include "vantorcore/drawing/ImageSurface.h"
#include "vantorcore/platform/Data.h"
#include "vantorcore/platform/Error.h"

namespace LX_API lx {

/// The largest side, in pixels, of an image the decoder accepts.
inline constexpr int kMaximumIconSide = 2048;
/// The largest icon file the decoder (and the favicon loader) accepts.
inline constexpr std::size_t kMaximumIconBytes = 4 << 20;

/// The image formats the decoder reads.
enum class IconFormat { Unknown, PNG, ICO, SVG };

/// The format `data` starts like (PNG and ICO by their first bytes, SVG by
/// an `<svg` element within its first kilobyte).
[[nodiscard]] IconFormat lx_iconFormat(DataView data) noexcept;

/// Decodes a PNG at its own size. Absent with `ImageTooLarge` for a side
/// beyond `kMaximumIconSide`, else `MalformedImage` when Cairo cannot read it
/// (`UnsupportedImage`, with the loader's message, when Cairo cannot be loaded).
std::optional<ImageSurface> lx_decodePNG(DataView data, ErrorPtr* error = nullptr);

/// Decodes `data` in any of the formats and returns a `side` × `side`
/// image, the icon scaled to fit (ICO: from its best entry for `side`; SVG
/// rendered at that size). Absent with `InvalidSize` for a side outside
/// 1…`kMaximumIconSide`, `ImageTooLarge` for bytes beyond
/// `kMaximumIconBytes` or a larger image, `UnsupportedImage` for another
/// format, `MalformedImage` for a damaged one.
std::optional<ImageSurface> lx_decodeIcon(DataView data, int side, ErrorPtr* error = nullptr);

}  // namespace lx
