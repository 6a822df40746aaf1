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
  X(Init) \
  X(NameParse) \
  X(ConfigSubstitute) \
  X(DefaultSubstitute) \
  X(FontMatch) \
  X(PatternCreate) \
  X(PatternDestroy) \
  X(PatternAddString) \
  X(PatternAddInteger) \
  X(PatternAddDouble) \
  X(PatternGetString) \
  X(PatternGetInteger) \
  X(WeightFromOpenType) \
  X(WeightToOpenType)
// clang-format on

struct FontconfigLibrary {
  FontconfigLibrary();

  /// Whether fontconfig opened; `library.error()` says why not. Without it
  /// no font matches.
  SharedLibrary library;
#define LX_FONTCONFIG_MEMBER(name) decltype(&::Fc##name) name = nullptr;
  LX_FONTCONFIG_FUNCTIONS(LX_FONTCONFIG_MEMBER)
#undef LX_FONTCONFIG_MEMBER
};

/// The process's fontconfig, opened on the first call from any thread. Its functions may be called
/// only when `library` is loaded.
const FontconfigLibrary& fontconfig();

}  // namespace lx::detail
