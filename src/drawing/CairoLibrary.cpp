#include "CairoLibrary.h"

namespace lx::detail {

CairoLibrary::CairoLibrary() : library(VANTOR_CAIRO_SONAME) {
#define LX_CAIRO_RESOLVE(name) library.resolve(name, "cairo_" #name);
  LX_CAIRO_FUNCTIONS(LX_CAIRO_RESOLVE)
#undef LX_CAIRO_RESOLVE
}

const CairoLibrary& cairo() { return loadedOnce<CairoLibrary>(); }

}  // namespace lx::detail
