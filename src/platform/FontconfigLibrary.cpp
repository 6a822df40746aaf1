#include "FontconfigLibrary.h"

namespace lx::detail {

FontconfigLibrary::FontconfigLibrary() : library(VANTOR_FONTCONFIG_SONAME) {
#define LX_FONTCONFIG_RESOLVE(name) library.resolve(name, "Fc" #name);
  LX_FONTCONFIG_FUNCTIONS(LX_FONTCONFIG_RESOLVE)
#undef LX_FONTCONFIG_RESOLVE
}

const FontconfigLibrary& fontconfig() { return loadedOnce<FontconfigLibrary>(); }

}  // namespace lx::detail
