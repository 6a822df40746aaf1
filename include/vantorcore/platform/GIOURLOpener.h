// `GIOURLOpener`: opens URLs the freedesktop way, through GIO.
//
// The handler of a scheme is the default application for the MIME type
// "x-scheme-handler/<scheme>" (desktop files and mimeapps.list under the XDG
// data and configuration folders). A handler whose desktop file says
// `DBusActivatable=true` is sent the URL with `org.freedesktop.Application.Open`
// on the session bus, which starts it when it is not running; any other
// handler is started with the URL as its argument.
#pragma once

#include "vantorcore/Export.h"

#include "vantorcore/platform/URLOpener.h"

namespace LX_API lx {

class GIOURLOpener : public URLOpener {
 public:
  /// Fails with `URLOpenerErrorNoHandler` for a scheme nobody handles and
  /// with `URLOpenerErrorNoSessionBus` when a D-Bus-activated handler has no
  /// bus to be reached on. The D-Bus message is flushed before returning, so
  /// the caller may exit right away. Thread-safe.
  bool openURL(const URL& url, ErrorPtr* error) override;
};

}  // namespace lx
