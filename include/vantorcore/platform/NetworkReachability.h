// `NetworkReachability`: whether packets for a host or for "the internet"
// have a way out of this machine, and a change callback when links,
// addresses or routes change.
//
// "Reachable" means "has a route", as on the platform we follow: a UDP
// socket is `connect`ed to the target (which sends nothing) and succeeds
// exactly when the kernel has a route and a source address for it. For the
// general route (the IPv4 zero address) the targets are the documentation
// addresses 192.0.2.1 and 2001:db8::1, which no network answers but every
// default route carries. No network manager or D-Bus is involved; changes
// come from an rtnetlink socket watched as a run-loop source.
#pragma once

#include "vantorcore/Export.h"

#include <sys/socket.h>

#include <cstdint>
#include <functional>
#include <memory>
#include <mutex>
#include <optional>
#include <vector>

#include "vantorcore/platform/RunLoop.h"
#include "vantorcore/platform/String.h"

namespace LX_API lx {

/// Reachability flags, with the platform's bit values; this layer sets
/// `Reachable` and, for a target on this machine, `IsLocalAddress`.
enum NetworkReachabilityFlags : std::uint32_t {
  NetworkReachabilityTransientConnection = 1u << 0,
  NetworkReachabilityReachable = 1u << 1,
  NetworkReachabilityConnectionRequired = 1u << 2,
  NetworkReachabilityIsLocalAddress = 1u << 16,
  NetworkReachabilityIsDirect = 1u << 17,
};

class NetworkReachability : public std::enable_shared_from_this<NetworkReachability> {
 public:
  /// Called with the new reachability flags after each change.
  using Callback = std::function<void(std::uint32_t flags)>;

  /// A target given by a socket address (IPv4 or IPv6; the port is
  /// ignored). The IPv4 zero address stands for the general route. Null for
  /// another family.
  static std::shared_ptr<NetworkReachability> withAddress(const sockaddr* address);
  /// A target given by a host name or address text, resolved on each check.
  static std::shared_ptr<NetworkReachability> withName(StringView host);
  ~NetworkReachability();
  NetworkReachability(const NetworkReachability&) = delete;
  NetworkReachability& operator=(const NetworkReachability&) = delete;

  /// The target's flags now. A name is resolved first (which blocks for as
  /// long as the resolver takes); one that does not resolve has no flags.
  [[nodiscard]] std::uint32_t flags() const;

  /// Watches routing changes on `loop` in `mode`: after each change, and
  /// once soon after scheduling, `callback` runs on the loop's thread with
  /// the flags when they differ from the ones last reported. Replaces an
  /// earlier schedule. False when no rtnetlink socket can be opened.
  bool scheduleWithRunLoop(const std::shared_ptr<RunLoop>& loop, StringView mode,
                           Callback callback);
  /// Stops watching; the callback is not called afterwards. Any thread.
  void unschedule();

  NetworkReachability();  // use withAddress / withName

 private:
  void routingChanged();
  void report();

  std::vector<sockaddr_storage> addresses_;  // fixed targets
  std::optional<String> host_;               // or a name to resolve
  std::mutex mutex_;
  int netlinkFd_ = -1;
  RunLoop::SourceToken source_;
  Callback callback_;
  std::optional<std::uint32_t> lastReported_;
};

}  // namespace lx
