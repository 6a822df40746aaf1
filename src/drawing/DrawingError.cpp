#include "vantorcore/drawing/DrawingError.h"

namespace lx {

ErrorPtr makeDrawingError(DrawingErrorCode code, String description) {
  return Error::make(
      String(LXDrawingErrorDomain), static_cast<std::int64_t>(code),
      Dictionary{{SharedString(NSLocalizedDescriptionKey), Value(std::move(description))}});
}

}  // namespace lx
