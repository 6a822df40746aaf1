// Setting a URL path so that it fits the authority of the components.
#pragma once

#include "vantorcore/Export.h"

#include "vantorcore/platform/String.h"
#include "vantorcore/platform/URLComponents.h"

namespace LX_API lx {

/// Sets `path` (decoded text) on `components`. Without user, password and a
/// non-zero port, a non-empty path not beginning with "/" gets one in front;
/// with any of them, a path beginning with "//" loses those two characters.
/// Other paths are set as given.
///   no user/password/port: 'a/b' => '/a/b'    '' => ''    '/a' => '/a'
///   with user 'u':         '//a' => 'a'       'a' => 'a'
void lx_setAuthorityPath(URLComponents& components, StringView path);

}  // namespace lx
