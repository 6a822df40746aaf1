#include "vantorcore/text/URLComponents+URLEncode.h"

namespace lx {

void lx_setAuthorityPath(URLComponents& components, StringView path) {
  const bool hasPort = components.port() && *components.port() != 0;
  if (!components.user() && !components.password() && !hasPort) {
    if (!path.empty() && path.front() != u'/') {
      components.setPath(u"/" + String(path));
      return;
    }
  } else if (path.starts_with(u"//")) {
    components.setPath(path.substr(2));
    return;
  }
  components.setPath(path);
}

}  // namespace lx
