#include "XkbcommonLibrary.h"

namespace lx::detail {
namespace {

// Stand-ins for a process without libxkbcommon: every keysym is unknown, so
// every key name fails to parse the way a misspelt one does.
xkb_keysym_t unknownName(const char*, xkb_keysym_flags) { return XKB_KEY_NoSymbol; }

int noName(xkb_keysym_t, char* buffer, size_t size) {
  if (size > 0) buffer[0] = '\0';
  return -1;
}

xkb_keysym_t sameCase(xkb_keysym_t keysym) { return keysym; }

uint32_t noCharacter(xkb_keysym_t) { return 0; }

xkb_keysym_t noKeysym(uint32_t) { return XKB_KEY_NoSymbol; }

}  // namespace

XkbcommonLibrary::XkbcommonLibrary() : library(VANTOR_XKBCOMMON_SONAME) {
  LX_XKBCOMMON_FUNCTIONS(LX_LIBRARY_RESOLVE)
  if (library.isLoaded()) return;
  keysym_from_name = unknownName;
  keysym_get_name = noName;
  keysym_to_lower = sameCase;
  keysym_to_upper = sameCase;
  keysym_to_utf32 = noCharacter;
  utf32_to_keysym = noKeysym;
}

const XkbcommonLibrary& xkbcommon() { return loadedOnce<XkbcommonLibrary>(); }

}  // namespace lx::detail
