// The error domain of the drawing area: files that cannot be written and
// key combinations that cannot be read. Every error carries an English
// `NSLocalizedDescriptionKey` that names the offending input.
#pragma once

#include "vantorcore/Export.h"

#include <cstdint>

#include "vantorcore/platform/Error.h"

namespace LX_API lx {

inline constexpr StringView LXDrawingErrorDomain = u"LXDrawingErrorDomain";

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
};

/// A new error in `LXDrawingErrorDomain` with `description`.
[[nodiscard]] ErrorPtr makeDrawingError(DrawingErrorCode code, String description);

}  // namespace lx
