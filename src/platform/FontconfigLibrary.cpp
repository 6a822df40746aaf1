#include "FontconfigLibrary.h"

namespace lx::detail {

FontconfigLibrary::FontconfigLibrary() : library(VANTOR_FONTCONFIG_SONAME) {
#define LX_FONTCONFIG_RESOLVE(name) library.resolve(name, "Fc" #name);
  LX_FONTCONFIG_FUNCTIONS(LX_FONTCONFIG_RESOLVE)
#undef LX_FONTCONFIG_RESOLVE
}

const FontconfigLibrary& fontconfig() {
  // Never destroyed: Cairo's font faces keep fontconfig patterns to the end.
  static const FontconfigLibrary* const loaded = new FontconfigLibrary();
  return *loaded;
}

}  // namespace lx::detail
