#include "CairoLibrary.h"

namespace lx::detail {

CairoLibrary::CairoLibrary() : library(VANTOR_CAIRO_SONAME) {
  LX_CAIRO_FUNCTIONS(LX_LIBRARY_RESOLVE)
}

const CairoLibrary& cairo() { return loadedOnce<CairoLibrary>(); }

}  // namespace lx::detail
