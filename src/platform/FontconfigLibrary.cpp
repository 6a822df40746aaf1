#include "FontconfigLibrary.h"

namespace lx::detail {

FontconfigLibrary::FontconfigLibrary() : library(VANTOR_FONTCONFIG_SONAME) {
  LX_FONTCONFIG_FUNCTIONS(LX_LIBRARY_RESOLVE)
}

const FontconfigLibrary& fontconfig() { return loadedOnce<FontconfigLibrary>(); }

}  // namespace lx::detail
