// The error domain of the drawing area: files that cannot be written, key
// combinations that cannot be read and images that cannot be decoded. Every
// error carries an English `NSLocalizedDescriptionKey` that names the
// offending input.
#pragma once

#include "vantorcore/Export.h"

#include <cstdint>

#include "vantorcore/platform/Error.h"

namespace LX_API lx {

/// The error domain of drawing failures (bad input, an unwritable file).
inline constexpr StringView LXDrawingErrorDomain = u"LXDrawingErrorDomain";

/// Codes of `LXDrawingErrorDomain`.
enum class DrawingErrorCode : std::int64_t {
  /// A width, height or scale that is not finite and positive, or a pixel
  /// size beyond `kMaximumImageSide`.
  InvalidSize = 1,
  /// A file name whose extension is not .png, .svg or .pdf.
  UnsupportedFormat = 2,
  /// Cairo could not create or write the file.
  WriteFailed = 3,
  /// Key-combination text that does not follow its form.
  MalformedKeyCombination = 10,
  /// A key name that no form knows.
  UnknownKey = 11,
  /// Image bytes that break their format's rules (a truncated PNG, an ICO
  /// entry outside the file, a bitmap too short for its rows).
  MalformedImage = 20,
  /// Bytes of no format the icon decoder reads, or a variant of one it
  /// does not (a compressed bitmap).
  UnsupportedImage = 21,
  /// An image whose declared side exceeds the decoder's bound, refused
  /// before any pixel is decoded.
  ImageTooLarge = 22,
  /// A site whose page names no icon that loads and which has no
  /// /favicon.ico either.
  NoFavicon = 23,
};

/// A new error in `LXDrawingErrorDomain` with `description`.
[[nodiscard]] ErrorPtr makeDrawingError(DrawingErrorCode code, String description);

}  // namespace lx
