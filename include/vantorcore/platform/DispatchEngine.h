// The Boost.Asio engine under dispatch queues and timers, for transports
// (sockets, file handles) that want their I/O served by the same threads.
#pragma once

#include "vantorcore/Export.h"

namespace boost::asio {
class io_context;
}

namespace LX_API lx {

/// The process-wide I/O context whose thread pool runs every global and
/// serial dispatch queue. Made on first use and never destroyed. Handlers
/// posted to it run on pool threads, concurrently; use a strand (or post to a
/// serial `DispatchQueue`) to keep related work in order.
boost::asio::io_context& dispatchEngineContext();

}  // namespace lx
