// `VantorCore`: the library as a whole, as the host finds it at run time.
//
// A host compiled against one version of the headers may run with another
// build of the shared library; these calls let it check before relying on it:
//   if (!lx::VantorCore::isCompatibleWith(VANTORCORE_VERSION_MAJOR,
//                                         VANTORCORE_VERSION_MINOR)) { ... }
#pragma once

#include "vantorcore/Export.h"

#include "vantorcore/Version.h"
#include "vantorcore/platform/String.h"

namespace LX_API lx {

/// The library's version as built, for hosts to compare with the headers.
class VantorCore {
 public:
  /// Not constructible: every member is static.
  VantorCore() = delete;

  /// The version the linked library was built as, "major.minor.patch".
  static String version();
  /// The linked library's major version number.
  static int majorVersion();
  /// The linked library's minor version number.
  static int minorVersion();
  /// The linked library's patch version number.
  static int patchVersion();
  /// Whether a host built against headers `major.minor` can run with the
  /// linked library: before 1.0 every minor version may break the ABI, so the
  /// minor versions must match; from 1.0 on the major versions must match and
  /// the library may be newer.
  static bool isCompatibleWith(int major, int minor);
};

}  // namespace lx
