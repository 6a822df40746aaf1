// `URLOpener`: opening a URL in the application that handles its scheme,
// behind an interface so that tests can record what would be opened.
//
// The default opener is `GIOURLOpener` (GIOURLOpener.h).
#pragma once

#include "vantorcore/Export.h"

#include <memory>

#include "vantorcore/platform/Error.h"
#include "vantorcore/platform/String.h"
#include "vantorcore/platform/URL.h"

namespace LX_API lx {

/// The domain of the errors of opening and receiving URLs:
/// "URLOpenerErrorDomain".
inline constexpr StringView URLOpenerErrorDomain = u"URLOpenerErrorDomain";

/// Codes of the opener's error domain.
enum URLOpenerErrorCode : std::int64_t {
  /// No application is registered for the URL's scheme.
  URLOpenerErrorNoHandler = 1,
  /// The handler needs the session bus and there is none.
  URLOpenerErrorNoSessionBus = 2,
  /// The handler was found but could not be started or reached.
  URLOpenerErrorLaunchFailed = 3,
  /// The bus name is taken by another process.
  URLOpenerErrorNameTaken = 4,
};

class URLOpener {
 public:
  virtual ~URLOpener() = default;

  /// Hands `url` to the default application of its scheme. True once the
  /// application has been sent the URL (not when it has acted on it); false
  /// with an error in `URLOpenerErrorDomain` otherwise. Never blocks for
  /// longer than the bus's call timeout.
  virtual bool openURL(const URL& url, ErrorPtr* error) = 0;

  /// The process-wide opener: a `GIOURLOpener` unless replaced. Thread-safe.
  static std::shared_ptr<URLOpener> shared();
  /// Replaces the process-wide opener; null restores the default.
  static void setShared(std::shared_ptr<URLOpener> opener);
};

}  // namespace lx
