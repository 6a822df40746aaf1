// fontconfig's functions, the library opened on first use (see
// SharedLibrary.h). Font matching calls `fontconfig().FontMatch(...)` where it
// would call `FcFontMatch(...)`; only <fontconfig/fontconfig.h>'s declarations
// are compiled in.
#pragma once

#include <fontconfig/fontconfig.h>

#include "SharedLibrary.h"

namespace lx::detail {

// clang-format off
#define LX_FONTCONFIG_FUNCTIONS(X) \
  X(Fc, Init) \
  X(Fc, NameParse) \
  X(Fc, ConfigSubstitute) \
  X(Fc, DefaultSubstitute) \
  X(Fc, FontMatch) \
  X(Fc, PatternCreate) \
  X(Fc, PatternDestroy) \
  X(Fc, PatternAddString) \
  X(Fc, PatternAddInteger) \
  X(Fc, PatternAddDouble) \
  X(Fc, PatternGetString) \
  X(Fc, PatternGetInteger) \
  X(Fc, WeightFromOpenType) \
  X(Fc, WeightToOpenType)
// clang-format on

struct FontconfigLibrary {
  FontconfigLibrary();

  /// Whether fontconfig opened; `library.error()` says why not. Without it
  /// no font matches.
  SharedLibrary library;
  LX_FONTCONFIG_FUNCTIONS(LX_LIBRARY_FUNCTION)
};

/// The process's fontconfig, opened on the first call from any thread. Its functions may be called
/// only when `library` is loaded.
const FontconfigLibrary& fontconfig();

}  // namespace lx::detail
