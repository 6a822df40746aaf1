#include "vantorcore/platform/VantorCore.h"

namespace lx {

// Compiled into the library, so these report the library's build even when the
// host was compiled against other headers.
String VantorCore::version() { return u"" VANTORCORE_VERSION; }

int VantorCore::majorVersion() { return VANTORCORE_VERSION_MAJOR; }

int VantorCore::minorVersion() { return VANTORCORE_VERSION_MINOR; }

int VantorCore::patchVersion() { return VANTORCORE_VERSION_PATCH; }

bool VantorCore::isCompatibleWith(int major, int minor) {
  if (major != majorVersion() || minor < 0) return false;
  if (major == 0) return minor == minorVersion();
  return minor <= minorVersion();
}

}  // namespace lx
