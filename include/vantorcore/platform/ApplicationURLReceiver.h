// `ApplicationURLReceiver`: the receiving end of `GIOURLOpener`. It owns an
// application's well-known name on the session bus and serves the
// freedesktop `org.freedesktop.Application` interface (`Open` with URIs,
// `Activate`, `ActivateAction`) at the application's object path, so URLs
// opened while the application runs reach it, and the bus can start it (with
// the service file of URLSchemeHandlerRegistration.h) when it does not.
//
// The bus is served on a thread of the receiver's own; the handlers run on
// the dispatch queue given at start (the main queue by default).
#pragma once

#include "vantorcore/Export.h"

#include <functional>
#include <memory>

#include "vantorcore/platform/DispatchQueue.h"
#include "vantorcore/platform/Error.h"
#include "vantorcore/platform/String.h"

namespace LX_API lx {

class ApplicationURLReceiver {
 public:
  /// What to call for each method of the bus interface; an empty function ignores that method.
  struct Handlers {
    /// Each URI of an `Open` call, in order, as sent (not checked).
    std::function<void(const String& uri)> openURI;
    /// An `Activate` call (the application was started or raised without
    /// URIs). May be empty.
    std::function<void()> activate;
    /// The bus connection closed (the session ended). May be empty.
    std::function<void()> busClosed;
  };

  /// Connects to the session bus, exports the interface at the object path
  /// of `applicationID` and takes the name `applicationID`. Null with an
  /// error in `URLOpenerErrorDomain`: `URLOpenerErrorNoSessionBus` when there
  /// is no bus, `URLOpenerErrorNameTaken` when another process owns the name,
  /// `URLOpenerErrorLaunchFailed` for an application ID that is not a bus name.
  static std::unique_ptr<ApplicationURLReceiver> start(
      StringView applicationID, Handlers handlers,
      std::shared_ptr<DispatchQueue> queue = DispatchQueue::main(), ErrorPtr* error = nullptr);

  /// Releases the name and closes the connection; calls already handed to the
  /// queue still run.
  ~ApplicationURLReceiver();
  ApplicationURLReceiver(const ApplicationURLReceiver&) = delete;
  ApplicationURLReceiver& operator=(const ApplicationURLReceiver&) = delete;

 private:
  struct State;
  explicit ApplicationURLReceiver(std::unique_ptr<State> state);
  std::unique_ptr<State> state_;
};

}  // namespace lx
