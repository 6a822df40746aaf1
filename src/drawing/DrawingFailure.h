// The decoders' early return: set the caller's error, give no result.
#pragma once

#include <optional>
#include <string>

#include "vantorcore/drawing/DrawingError.h"

namespace lx::drawing {

template <typename T>
std::optional<T> fail(ErrorPtr* error, DrawingErrorCode code, const std::string& text) {
  setError(error, makeDrawingError(code, fromUTF8(text)));
  return std::nullopt;
}

}  // namespace lx::drawing
