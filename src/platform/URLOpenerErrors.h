// Errors in `URLOpenerErrorDomain`, shared by the opener, the receiver and
// the handler registration.
#pragma once

#include <string>

#include "platform/GLibLibrary.h"
#include "vantorcore/platform/URLOpener.h"

namespace lx {

/// An error in `URLOpenerErrorDomain` with `description` (UTF-8).
inline ErrorPtr URLOpenerError(URLOpenerErrorCode code, const std::string& description) {
  return Error::make(String(URLOpenerErrorDomain), code,
                     Dictionary{{String(NSLocalizedDescriptionKey), fromUTF8(description)}});
}

/// The message of a GLib error, which it frees.
inline std::string takeGErrorMessage(GError* error) {
  std::string message = error ? error->message : "unknown error";
  detail::glib().clear_error(&error);
  return message;
}

}  // namespace lx
