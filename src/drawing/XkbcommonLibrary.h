// libxkbcommon's keysym functions, the library opened on first use (see
// platform/SharedLibrary.h). Key combinations call
// `xkbcommon().keysym_from_name(...)` where they would call
// `xkb_keysym_from_name(...)`; only <xkbcommon/xkbcommon.h>'s declarations are
// compiled in.
#pragma once

#include <xkbcommon/xkbcommon.h>

#include "platform/SharedLibrary.h"

namespace lx::detail {

// clang-format off
#define LX_XKBCOMMON_FUNCTIONS(X) \
  X(xkb_, keysym_from_name) \
  X(xkb_, keysym_get_name) \
  X(xkb_, keysym_to_lower) \
  X(xkb_, keysym_to_upper) \
  X(xkb_, keysym_to_utf32) \
  X(xkb_, utf32_to_keysym)
// clang-format on

struct XkbcommonLibrary {
  XkbcommonLibrary();

  /// Whether libxkbcommon opened; `library.error()` says why not.
  SharedLibrary library;
  LX_XKBCOMMON_FUNCTIONS(LX_LIBRARY_FUNCTION)
};

/// The process's libxkbcommon, opened on the first call from any thread.
/// Its functions can always be called: without the library they answer as
/// libxkbcommon does for a keysym it does not know (no keysym for a name or
/// a character, no name, no character, case unchanged).
const XkbcommonLibrary& xkbcommon();

}  // namespace lx::detail
